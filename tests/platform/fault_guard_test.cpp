#include "platform/fault_guard.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/support/system.h"

namespace qx {
namespace {

// A fault as the processor makes it, which sanitizers would report as one of their own.
void Fault(void*) {
  __builtin_trap();
}

TEST(FaultGuard, TellsFaultsAndLetsTheRestPass) {
  uint32_t code = 0;
  bool called = false;
  EXPECT_TRUE(CallGuarded([](void* context) { *static_cast<bool*>(context) = true; }, &called, &code));
  EXPECT_TRUE(called);
  EXPECT_FALSE(CallGuarded(Fault, nullptr, &code));
  EXPECT_EQ(code, kIllegalInstructionCode);
  EXPECT_THROW(CallGuarded([](void*) { throw std::runtime_error("through"); }, nullptr, &code), std::runtime_error);
  EXPECT_FALSE(CallGuarded(Fault, nullptr, &code)) << "and guards on";
}

// The commonest fault. A sanitizer would stop at the write instead of letting the processor fault.
__attribute__((no_sanitize("undefined", "address", "thread"))) void WriteToNull(void* context) {
  *static_cast<volatile int*>(context) = 1;
}

TEST(FaultGuard, CatchesAWriteToNull) {
  uint32_t code = 0;
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(CallGuarded(WriteToNull, nullptr, &code)) << "the signal is not left blocked";
    EXPECT_EQ(code, kBadAccessCode);
  }
}

TEST(FaultGuard, InnermostGuardCatches) {
  static bool innerReturned;
  innerReturned = false;
  uint32_t code = 0;
  EXPECT_TRUE(CallGuarded(
      [](void*) {
        uint32_t innerCode = 0;
        innerReturned = !CallGuarded(Fault, nullptr, &innerCode);
      },
      nullptr, &code));
  EXPECT_TRUE(innerReturned);
}

TEST(FaultGuard, WorksOnSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 50; ++n) {
        uint32_t code = 0;
        EXPECT_FALSE(CallGuarded(Fault, nullptr, &code));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace qx
