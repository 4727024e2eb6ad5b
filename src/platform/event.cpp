#include "platform/event.h"

#include <chrono>
#include <thread>

namespace qx {

void Event::Set() {
  const std::lock_guard<std::mutex> guard(lock_);
  set_ = true;
  changed_.notify_one();  // under the lock: the waiter may destroy the event as soon as it sees it set
}

bool Event::WaitFor(int milliseconds) {
  std::unique_lock<std::mutex> guard(lock_);
  const auto isSet = [this] { return set_; };
  if (milliseconds < 0) {
    changed_.wait(guard, isSet);
  } else if (!changed_.wait_for(guard, std::chrono::milliseconds(milliseconds), isSet)) {
    return false;
  }
  set_ = false;
  return true;
}

void SleepMilliseconds(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace qx
