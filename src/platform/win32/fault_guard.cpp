// A stack frame with an exception handler of its own, which this compiler has no syntax for. Handlers of inner frames (a graphics driver's,
// say) come first, as they should; a vectored handler would take faults away from them, in the whole process.
#include "platform/fault_guard.h"

#include <malloc.h>
#include <windows.h>

namespace {

using GuardedFunction = void (*)(void*);

}  // namespace

extern "C" {

/// Calls function(context): 0, or the code of the exception that ended it.
uint32_t QxCallGuarded(GuardedFunction function, void* context);
/// The place in QxCallGuarded where a caught exception comes back, with its code in the result register.
extern char QxGuardFaulted;
EXCEPTION_DISPOSITION QxGuardHandler(EXCEPTION_RECORD* exception, void* frame, CONTEXT* context, DISPATCHER_CONTEXT* dispatcher);
}

asm(R"(
	.text
	.globl QxCallGuarded
	.def QxCallGuarded; .scl 2; .type 32; .endef
	.seh_proc QxCallGuarded
QxCallGuarded:
	subq $40, %rsp
	.seh_stackalloc 40
	.seh_endprologue
	.seh_handler QxGuardHandler, @except
	movq %rcx, %rax
	movq %rdx, %rcx
	call *%rax
	nop
	xorl %eax, %eax
	.globl QxGuardFaulted
QxGuardFaulted:
	addq $40, %rsp
	ret
	.seh_endproc
)");

extern "C" __attribute__((used)) EXCEPTION_DISPOSITION QxGuardHandler(EXCEPTION_RECORD* exception, void* frame, CONTEXT*,
                                                                      DISPATCHER_CONTEXT* dispatcher) {
  constexpr DWORD kUnwinding = 0x2 | 0x4;  // somebody else's handler has taken the exception, or the thread ends
  constexpr DWORD kOwnThrow = 0x20474343;  // "GCC ": the C++ exceptions of this compiler; the upper bits tell its phase
  if ((exception->ExceptionFlags & kUnwinding) != 0) return ExceptionContinueSearch;
  if ((exception->ExceptionCode & 0xF0FFFFFF) == kOwnThrow) return ExceptionContinueSearch;
  RtlUnwindEx(frame, &QxGuardFaulted, exception, reinterpret_cast<void*>(uintptr_t(exception->ExceptionCode)), dispatcher->ContextRecord,
              dispatcher->HistoryTable);
  return ExceptionContinueSearch;  // not reached
}

namespace qx {

bool CallGuarded(void (*function)(void*), void* context, uint32_t* code) {
  const uint32_t fault = QxCallGuarded(function, context);
  if (fault == 0) return true;
  // The page that tells of a full stack is used up; the next overflow would end the process.
  if (fault == uint32_t(EXCEPTION_STACK_OVERFLOW)) _resetstkoflw();
  *code = fault;
  return false;
}

}  // namespace qx
