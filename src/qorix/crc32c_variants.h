// The processor's ways of computing CRC-32C, for crc32c.cpp to choose from. Each equals the table version for every input.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qx {

/// Slicing-by-8 (Kounavis and Berry, 2005): eight table lookups for 8 bytes. Crc32cBuildTables first.
uint32_t Crc32cTables(uint32_t crc, const uint8_t* data, size_t length);
void Crc32cBuildTables();

#if defined(__x86_64__)

/// One chain of SSE4.2 instructions.
uint32_t Crc32cSse42(uint32_t crc, const uint8_t* data, size_t length);
/// Three interleaved chains, which hide the instruction's latency of three cycles, joined by carry-less multiplication. Needs PCLMULQDQ.
uint32_t Crc32cSse42x3(uint32_t crc, const uint8_t* data, size_t length);
/// Folds 256 bytes a round by carry-less multiplication of 512-bit registers. Needs AVX-512 F and VPCLMULQDQ, and what Crc32cSse42x3 needs.
uint32_t Crc32cAvx512(uint32_t crc, const uint8_t* data, size_t length);

#endif

}  // namespace qx
