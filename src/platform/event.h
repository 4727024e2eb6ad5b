// One thread tells another that something has happened.
#pragma once

#include <memory>

namespace qx {

/// Stays set until somebody has waited for it: a Set before the wait is not lost, several count as one. Any thread.
class Event {
 public:
  Event();
  ~Event();
  void Set();
  void Wait() { WaitFor(-1); }
  /// Waits at most `milliseconds`, negative: without limit. True when it was set; it no longer is then.
  bool WaitFor(int milliseconds);
  /// On Windows the event's handle, for waits on several things at once; null elsewhere.
  void* nativeHandle() const;

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

/// Sleeps at least that long.
void SleepMilliseconds(int milliseconds);

}  // namespace qx
