#include "platform/fault_guard.h"

#include <setjmp.h>
#include <signal.h>

#include <array>
#include <mutex>

namespace qx {

namespace {

constexpr std::array<int, 4> kFaultSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

thread_local sigjmp_buf* innermostGuard = nullptr;
std::array<struct sigaction, kFaultSignals.size()> previousActions;

void OnFault(int signal, siginfo_t* info, void* context) {
  // A signal that somebody sent (kill) is no fault of the guarded call.
  if (innermostGuard != nullptr && info->si_code > 0) siglongjmp(*innermostGuard, signal);
  for (size_t i = 0; i < kFaultSignals.size(); ++i) {
    if (kFaultSignals[i] != signal) continue;
    const struct sigaction& previous = previousActions[i];
    if ((previous.sa_flags & SA_SIGINFO) != 0 && previous.sa_sigaction != nullptr) {
      previous.sa_sigaction(signal, info, context);
      return;
    }
    if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
      previous.sa_handler(signal);
      return;
    }
    sigaction(signal, &previous, nullptr);  // the fault repeats when the handler returns, and takes the default way
    return;
  }
}

void InstallOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction action = {};
    action.sa_sigaction = OnFault;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < kFaultSignals.size(); ++i) sigaction(kFaultSignals[i], &action, &previousActions[i]);
  });
}

struct GuardScope {
  sigjmp_buf* outer = innermostGuard;
  explicit GuardScope(sigjmp_buf* own) { innermostGuard = own; }
  ~GuardScope() { innermostGuard = outer; }
};

}  // namespace

bool CallGuarded(void (*function)(void*), void* context, uint32_t* code) {
  InstallOnce();
  sigjmp_buf here;
  GuardScope scope(&here);
  if (const int signal = sigsetjmp(here, 1); signal != 0) {
    *code = uint32_t(signal);
    return false;
  }
  function(context);
  return true;
}

}  // namespace qx
