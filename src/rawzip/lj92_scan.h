// The scan of a lossless JPEG stream: lines, restarts, and the two readings of difference category 16.
#pragma once

#include <cstdint>

#include "rawzip/lj92_header.h"
#include "rawzip/lj92_rows.h"

namespace qx {

/// Where decoded samples go: `height` rows of `width` samples, `pitch` samples apart.
struct Lj92Output {
  uint16_t* samples = nullptr;
  int64_t pitch = 0;
  int32_t width = 0, height = 0;
};

/// Decodes the scan of a parsed stream into `out`, which must not be larger than the stream's frame in either direction. Returns an
/// Lj92Result. `category16ReadsBits` tells which reading gave the result: encoders disagree on whether difference category 16 (32768,
/// which ITU-T T.81 codes without further bits) is followed by 16 bits, and the stream does not say.
[[nodiscard]] int DecodeLj92Scan(const Lj92Header& header, const Lj92Output& out, const Lj92RowKernels& kernels, bool& category16ReadsBits);

}  // namespace qx
