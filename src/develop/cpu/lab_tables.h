// The Lab tables in the form that the vector kernels look up.
#pragma once

#include <cstdint>

namespace qx {

/// 65536 words, one lookup for all three tables: bits 0-14 T1, bits 16-28 T0, bits 29-31 T2 - (T1 * kLabT2PerT1 >> 16), which is 0 … 2.
/// Built at the first call. Any thread.
const uint32_t* GetPackedLabTable();

/// 12800 / 32000 in units of 1/65536.
constexpr uint32_t kLabT2PerT1 = 26214;

}  // namespace qx
