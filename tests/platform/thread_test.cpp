#include "platform/thread.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/platform/gated_thread.h"

namespace qx {
namespace {

TEST(Thread, JoinForGivesUpOnARunningThread) {
  GatedThread gated;
  ASSERT_NE(gated.thread, nullptr);
  EXPECT_FALSE(gated.thread->JoinFor(1));
}

TEST(Thread, RunsOnTheStackThatWasAskedFor) {
  for (const size_t stackBytes : {size_t(0), size_t(1) << 20, size_t(8) << 20}) {
    int sum = 0;
    const auto thread = Thread::Start(
        "qx stack",
        [&sum, stackBytes] {
          volatile char use[128 << 10] = {};  // a sanitizer keeps most of a megabyte for itself
          use[stackBytes % sizeof(use)] = 1;
          for (const volatile char& byte : use) sum += byte;
        },
        stackBytes);
    ASSERT_NE(thread, nullptr);
    thread->Join();
    EXPECT_EQ(sum, 1);
  }
}

}  // namespace
}  // namespace qx
