// The lossless slice codec: cells of 32 zigzag residuals, four codings, two predictors.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_reader.h"
#include "base/grow_buffer.h"

namespace qx {

constexpr uint32_t kCellSamples = 32;

/// Effective layouts of a slice.
enum class SliceLayout : uint8_t { kPlain = 0, kInterleaved = 1, kTwoPart = 2 };  // coder 1: kPlain is Rice

struct SliceFormat {
  uint32_t width = 0, rows = 0;  // of this slice
  uint8_t coder = 0;             // 0 packed, 1 Rice
  SliceLayout layout = SliceLayout::kPlain;
  uint8_t predictor = 0;  // 0 horizontal, 1 median edge
  uint16_t flatThreshold = 0;
};

/// Caller-owned working memory of one decoding task; grows to the widest slice.
struct SliceScratch {
  GrowBuffer<uint8_t> bytes;
};

/// Decodes one slice into `out`: `format.rows` rows of `format.width` 16-bit CFA samples, top row first, `strideBytes` apart.
/// True when the slice decoded and used exactly `bytes`; false leaves the rows undefined, never writes outside them.
/// Any thread; takes no lock. This is the chosen variant: vectorised where the processor allows, unless QXDEC_GENERIC begins with "1".
[[nodiscard]] bool decode_slice(Bytes bytes, const SliceFormat& format, SliceScratch& scratch, uint16_t* out, size_t strideBytes);

/// Up to four slices of one format (the last may have fewer rows) in lock step; the results are those of decode_slice one after the other.
struct SliceJob {
  Bytes bytes;
  SliceFormat format;
  uint16_t* out = nullptr;
  bool good = false;  // result
};
void decode_slice_group(std::span<SliceJob> jobs, SliceScratch& scratch, size_t strideBytes);

/// Makes `scratch` large enough for slices of that width, so that decoding them cannot run out of memory. False when memory is short.
[[nodiscard]] bool ReserveSliceScratch(uint32_t width, SliceScratch& scratch);

struct SliceVariant {
  const char* name;
  bool usable;
  bool (*decode)(Bytes bytes, const SliceFormat& format, SliceScratch& scratch, uint16_t* out, size_t strideBytes);
  void (*decodeGroup)(std::span<SliceJob> jobs, SliceScratch& scratch, size_t strideBytes);  // as decode_slice_group
};
/// The first entry is the generic decoder; tests compare all usable ones.
std::span<const SliceVariant> slice_variants();

}  // namespace qx
