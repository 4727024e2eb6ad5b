#include <gtest/gtest.h>
#include <windows.h>

#include "tests/platform/gated_thread.h"

namespace qx {
namespace {

TEST(Thread, PriorityGoesDownAndComesBack) {
  GatedThread gated;
  EXPECT_EQ(gated.Priority(), THREAD_PRIORITY_NORMAL);
  gated.thread->SetPriority(ThreadPriority::kBelowNormal);
  EXPECT_EQ(gated.Priority(), THREAD_PRIORITY_BELOW_NORMAL);
  gated.thread->SetPriority(ThreadPriority::kNormal);
  EXPECT_EQ(gated.Priority(), THREAD_PRIORITY_NORMAL);
  EXPECT_TRUE(PriorityCanBeRaised());
}

}  // namespace
}  // namespace qx
