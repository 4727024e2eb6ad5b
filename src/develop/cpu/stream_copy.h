// Copies to memory that is not read again soon.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qx {

/// memcpy past the caches, where the processor has stores for that: the lines of the destination are not fetched first, and what the caches
/// hold stays there. The bytes are visible to other threads by the usual means. Worth it for whole rows.
void StreamCopy(uint8_t* destination, const uint8_t* source, size_t bytes);

}  // namespace qx
