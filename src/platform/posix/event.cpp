#include "platform/event.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace qx {

struct Event::State {
  std::mutex lock;
  std::condition_variable changed;
  bool set = false;  // guarded by lock
};

Event::Event() : state_(std::make_unique<State>()) {}

Event::~Event() = default;

void Event::Set() {
  const std::lock_guard<std::mutex> guard(state_->lock);
  state_->set = true;
  state_->changed.notify_one();  // under the lock: the waiter may destroy the event as soon as it sees it set
}

bool Event::WaitFor(int milliseconds) {
  std::unique_lock<std::mutex> guard(state_->lock);
  const auto isSet = [this] { return state_->set; };
  if (milliseconds < 0) {
    state_->changed.wait(guard, isSet);
  } else if (!state_->changed.wait_for(guard, std::chrono::milliseconds(milliseconds), isSet)) {
    return false;
  }
  state_->set = false;
  return true;
}

void* Event::nativeHandle() const {
  return nullptr;
}

void SleepMilliseconds(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace qx
