#include "platform/thread.h"

#include <process.h>
#include <windows.h>

#include <mutex>
#include <string>
#include <utility>

#include "platform/win32/wide_text.h"

namespace qx {

struct Thread::State {
  HANDLE handle = nullptr;
  ~State() {
    if (handle != nullptr) CloseHandle(handle);
  }
};

namespace {

using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);

// Windows 10 and later show names of threads; earlier systems lack the function.
void NameThread(HANDLE thread, const char* name) {
  static const auto setDescription =
      reinterpret_cast<SetDescription>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription")));
  if (setDescription != nullptr) setDescription(thread, WideFromUtf8(std::string(name).substr(0, 15)).c_str());
}

// A host may unload the plug-in while threads that outlive the pipeline still wait in its code: from the first thread on it stays loaded.
void KeepModuleLoaded() {
  static std::once_flag once;
  std::call_once(once, [] {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&KeepModuleLoaded),
                       &module);
  });
}

unsigned __stdcall RunBody(void* argument) {
  const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(argument));
  (*body)();
  return 0;
}

}  // namespace

std::unique_ptr<Thread> Thread::Start(const char* name, std::function<void()> body, size_t stackBytes) {
  KeepModuleLoaded();
  auto state = std::make_shared<State>();
  auto argument = std::make_unique<std::function<void()>>(std::move(body));
  state->handle = reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, unsigned(stackBytes), RunBody, argument.get(), STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
  if (state->handle == nullptr) return nullptr;
  argument.release();  // owned by the thread now
  NameThread(state->handle, name);
  return std::unique_ptr<Thread>(new Thread(std::move(state)));
}

Thread::Thread(std::shared_ptr<State> state) : state_(std::move(state)) {}

Thread::~Thread() = default;

void Thread::Join() {
  WaitForSingleObject(state_->handle, INFINITE);
}

bool Thread::JoinFor(int milliseconds) {
  return WaitForSingleObject(state_->handle, DWORD(milliseconds)) == WAIT_OBJECT_0;
}

void Thread::SetPriority(ThreadPriority priority) {
  SetThreadPriority(state_->handle, priority == ThreadPriority::kBelowNormal ? THREAD_PRIORITY_BELOW_NORMAL : THREAD_PRIORITY_NORMAL);
}

bool PriorityCanBeRaised() {
  return true;
}

unsigned long CurrentThreadId() {
  return GetCurrentThreadId();
}

}  // namespace qx
