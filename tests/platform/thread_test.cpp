#include "platform/thread.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>

namespace qx {
namespace {

/// A thread that waits until it is let go.
class GatedThread {
 public:
  GatedThread() {
    thread = Thread::Start("qx gate", [this] {
      std::unique_lock<std::mutex> guard(lock_);
      id_ = CurrentThreadId();
      changed_.notify_all();
      changed_.wait(guard, [this] { return go_; });
    });
  }
  ~GatedThread() {
    {
      const std::lock_guard<std::mutex> guard(lock_);
      go_ = true;
      changed_.notify_all();
    }
    thread->Join();
    EXPECT_TRUE(thread->JoinFor(0));
  }

  int Nice() {
    std::unique_lock<std::mutex> guard(lock_);
    changed_.wait(guard, [this] { return id_ != 0; });
    return getpriority(PRIO_PROCESS, id_t(id_));
  }

  std::unique_ptr<Thread> thread;

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  unsigned long id_ = 0;
  bool go_ = false;
};

TEST(Thread, JoinForGivesUpOnARunningThread) {
  GatedThread gated;
  ASSERT_NE(gated.thread, nullptr);
  EXPECT_FALSE(gated.thread->JoinFor(1));
}

TEST(Thread, PriorityCanBeRaisedTellsWhetherNormalComesBack) {
  if (getpriority(PRIO_PROCESS, 0) != 0) GTEST_SKIP() << "these tests run at a priority of their own";
  for (const bool plainUser : {false, true}) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      if (plainUser) {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_NICE, &none);
        if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
      }
      GatedThread gated;
      gated.thread->SetPriority(ThreadPriority::kBelowNormal);
      EXPECT_EQ(gated.Nice(), 5);
      gated.thread->SetPriority(ThreadPriority::kNormal);
      EXPECT_EQ(gated.Nice() == 0, PriorityCanBeRaised());
      if (plainUser) EXPECT_FALSE(PriorityCanBeRaised());
      _exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << (plainUser ? "plain user" : "this user") << ": status " << status;
  }
}

}  // namespace
}  // namespace qx
