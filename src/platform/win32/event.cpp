#include "platform/event.h"

#include <windows.h>

namespace qx {

struct Event::State {
  HANDLE handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);  // a wait that it ended takes it back
  ~State() { CloseHandle(handle); }
};

Event::Event() : state_(std::make_unique<State>()) {}

Event::~Event() = default;

void Event::Set() {
  SetEvent(state_->handle);
}

bool Event::WaitFor(int milliseconds) {
  return WaitForSingleObject(state_->handle, milliseconds < 0 ? INFINITE : DWORD(milliseconds)) == WAIT_OBJECT_0;
}

void* Event::nativeHandle() const {
  return state_->handle;
}

void SleepMilliseconds(int milliseconds) {
  Sleep(DWORD(milliseconds));
}

}  // namespace qx
