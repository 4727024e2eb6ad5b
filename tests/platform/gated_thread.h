#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/thread.h"
#include "tests/support/system.h"

namespace qx {

/// A thread that waits until it is let go, and tells its priority meanwhile.
class GatedThread {
 public:
  GatedThread() {
    thread = Thread::Start("qx gate", [this] {
      std::unique_lock<std::mutex> guard(lock_);
      while (!go_) {
        if (asked_) priority_ = PriorityOfThisThread();
        asked_ = false;
        changed_.notify_all();
        changed_.wait(guard);
      }
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

  /// As the thread itself sees it. It has started once this has returned.
  int Priority() {
    std::unique_lock<std::mutex> guard(lock_);
    asked_ = true;
    changed_.notify_all();
    changed_.wait(guard, [this] { return !asked_; });
    return priority_;
  }

  std::unique_ptr<Thread> thread;

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  bool asked_ = false, go_ = false;
  int priority_ = 0;
};

}  // namespace qx
