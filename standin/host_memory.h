// The host's memory functions: handles that are really checked.
#pragma once

#include <cstddef>
#include <functional>

#include "host/records.h"

namespace standin {

const qx::host::MemFuncs* MemoryFunctions();

/// Handles that were made and not disposed of.
size_t LiveHandles();

/// The next `count` allocations answer null, to try out a host that is out of memory.
void FailHandleAllocations(int count);

/// Runs `action` once with the next handle that is made, before the plug-in receives it: a chance to change the world in the middle of a
/// call.
void AtNextHandle(std::function<void(qx::host::Handle)> action);

}  // namespace standin
