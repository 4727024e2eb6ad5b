#include "platform/thread.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

namespace qx {
namespace {

TEST(Thread, JoinForGivesUpOnARunningThread) {
  std::mutex lock;
  std::condition_variable changed;
  bool go = false;
  const auto thread = Thread::Start("qx gate", [&] {
    std::unique_lock<std::mutex> guard(lock);
    changed.wait(guard, [&] { return go; });
  });
  ASSERT_NE(thread, nullptr);
  thread->SetPriority(ThreadPriority::kBelowNormal);
  EXPECT_FALSE(thread->JoinFor(1));
  {
    const std::lock_guard<std::mutex> guard(lock);
    go = true;
    changed.notify_all();
  }
  thread->Join();
  EXPECT_TRUE(thread->JoinFor(0));
}

}  // namespace
}  // namespace qx
