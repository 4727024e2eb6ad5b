// A place where threads wait for each other. (std::latch and std::barrier lose wake-ups where the system has no futexes.)
#pragma once

#include <condition_variable>
#include <mutex>

namespace qx {

class Gathering {
 public:
  explicit Gathering(int expected) : missing_(expected) {}

  /// Returns when all have come.
  void ArriveAndWait() {
    std::unique_lock<std::mutex> guard(lock_);
    if (--missing_ == 0) complete_.notify_all();
    complete_.wait(guard, [this] { return missing_ <= 0; });
  }

 private:
  std::mutex lock_;
  std::condition_variable complete_;
  int missing_;
};

}  // namespace qx
