// One thread tells another that something has happened.
#pragma once

#include <condition_variable>
#include <mutex>

namespace qx {

/// Stays set until somebody has waited for it: a Set before the wait is not lost, several count as one. Any thread.
class Event {
 public:
  void Set();
  void Wait() { WaitFor(-1); }
  /// Waits at most `milliseconds`, negative: without limit. True when it was set; it no longer is then.
  bool WaitFor(int milliseconds);

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  bool set_ = false;
};

/// Sleeps at least that long.
void SleepMilliseconds(int milliseconds);

}  // namespace qx
