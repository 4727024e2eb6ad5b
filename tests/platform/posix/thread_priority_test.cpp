#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/platform/gated_thread.h"

namespace qx {
namespace {

TEST(Thread, PriorityCanBeRaisedTellsWhetherNormalComesBack) {
  if (PriorityOfThisThread() != 0) GTEST_SKIP() << "these tests run at a priority of their own";
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
      EXPECT_EQ(gated.Priority(), 0);
      gated.thread->SetPriority(ThreadPriority::kBelowNormal);
      EXPECT_EQ(gated.Priority(), -5);
      gated.thread->SetPriority(ThreadPriority::kNormal);
      EXPECT_EQ(gated.Priority() == 0, PriorityCanBeRaised());
      if (plainUser) {
        EXPECT_FALSE(PriorityCanBeRaised());
      }
      _exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << (plainUser ? "plain user" : "this user") << ": status " << status;
  }
}

}  // namespace
}  // namespace qx
