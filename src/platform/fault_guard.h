// Turns machine faults (bad memory access, illegal instruction, division by zero) inside a call into a return value.
#pragma once

#include <cstdint>

namespace qx {

/// Calls function(context). True when it returned; false when a machine fault ended it, with the system's fault code in `code` (an
/// exception code on Windows, a signal number natively). Objects on the abandoned stack are not destroyed and locks stay held, so a caller
/// can only report the fault. C++ exceptions pass through. Any thread; guards nest, the innermost one catches. Faults on threads outside a
/// guard take their usual way.
bool CallGuarded(void (*function)(void*), void* context, uint32_t* code);

}  // namespace qx
