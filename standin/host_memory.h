// The host's memory functions: handles that are really checked.
#pragma once

#include <cstddef>

#include "host/records.h"

namespace standin {

const qx::host::MemFuncs* MemoryFunctions();

/// Handles that were made and not disposed of.
size_t LiveHandles();

/// The next `count` allocations answer null, to try out a host that is out of memory.
void FailHandleAllocations(int count);

}  // namespace standin
