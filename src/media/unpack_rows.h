// Row kernels of the DNG unpacker: samples packed MSB-first, without gaps, each row starting on a byte.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_reader.h"

namespace qx {

/// The plain bit reader, for any depth of 1 … 16 bits. `row` holds at least ⌈width × bits / 8⌉ bytes.
void UnpackRowBits(Bytes row, uint32_t bits, uint16_t* out, uint32_t width);

/// One depth's kernel; same contract as UnpackRowBits. Reads nothing outside `row`, writes exactly `width` values.
using UnpackRowFunction = void (*)(Bytes row, uint16_t* out, uint32_t width);

struct UnpackRowVariant {
  const char* name;
  bool usable;  // on this processor
  UnpackRowFunction bits10, bits12, bits14;
};

/// Every variant, the fastest usable one last.
std::span<const UnpackRowVariant> UnpackRowVariants();

void UnpackRow10Avx2(Bytes row, uint16_t* out, uint32_t width);
void UnpackRow12Avx2(Bytes row, uint16_t* out, uint32_t width);
void UnpackRow14Avx2(Bytes row, uint16_t* out, uint32_t width);

}  // namespace qx
