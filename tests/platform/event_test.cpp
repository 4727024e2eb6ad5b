#include "platform/event.h"

#include <gtest/gtest.h>

#include "platform/thread.h"

namespace qx {

TEST(Event, RemembersThatItWasSetAndForgetsItAfterOneWait) {
  Event event;
  EXPECT_FALSE(event.WaitFor(0));
  event.Set();
  event.Set();
  EXPECT_TRUE(event.WaitFor(0));
  EXPECT_FALSE(event.WaitFor(0));
}

TEST(Event, WakesAWaitingThread) {
  Event asked, answered;
  const auto thread = Thread::Start("answers", [&] {
    for (int i = 0; i < 100; ++i) {
      asked.Wait();
      answered.Set();
    }
  });
  ASSERT_NE(thread, nullptr);
  for (int i = 0; i < 100; ++i) {
    asked.Set();
    answered.Wait();
  }
  thread->Join();
}

}  // namespace qx
