// The inner loops of the conversion into the host's pixel formats, each over one row. The plain version of a loop is its meaning; vector
// versions give the same bytes. Formats, row sizes and row order: develop/pixel_format.h.
#pragma once

#include <cstdint>
#include <span>

#include "develop/pixel_format.h"

namespace qx {

/// Packs `width` ≥ 1 pixels of interleaved 16-bit RGB into exactly FormatRowBytes() bytes at `out`, which may have any alignment.
using PackRow = void (*)(const uint16_t* rgb, uint8_t* out, int32_t width);

/// Inputs and outputs do not overlap. Nothing is read or written beyond the pixels named.
struct PackKernels {
  const char* name;
  bool usable;  // on this processor

  /// Bytes B, G, R, 255, each (v · 255 + 32767) / 65535.
  PackRow bgra8;
  /// Words B, G, R, 32768, each (v · 32768 + 32767) / 65535.
  PackRow bgra16;
  /// Floats B, G, R, 1, each v / 65535.
  PackRow bgraFloat;
  /// Bytes U, Y0, V, Y1 a pair of pixels, chroma from the mean of the two. A last pixel without partner gives U and Y0 of itself.
  PackRow uyvy;
  /// 16 bytes a group of 6 pixels, in blocks of 8 groups. The last pixel repeats to the end of its group; groups after it are zero.
  PackRow v210;
  /// Floats V, U, Y, 1 with V and U around 0.
  PackRow vuyaFloat;

  /// Mean of 2 × 2, rounded half up: `width` pixels from 2 · width pixels of two rows, as 16-bit RGB.
  void (*reduce)(const uint16_t* above, const uint16_t* below, uint16_t* out, int32_t width);
  /// The mean of 2 × 2 as bgraFloat: of the floats, not rounded to 16 bits.
  void (*bgraFloatMean)(const uint16_t* above, const uint16_t* below, uint8_t* out, int32_t width);
};

/// All versions, the plain one first. Tests run the usable ones.
std::span<const PackKernels> PackKernelVariants();
/// The fastest usable version.
const PackKernels& GetPackKernels();

/// ConvertRows() with the given loops.
void ConvertRowsWith(const PackKernels& kernels, const uint16_t* developed, int32_t width, int32_t height, OutputPixelFormat format,
                     uint8_t* destination, int64_t destinationRowBytes, bool quarter, int part, int parts);

/// The plain versions, also used by the vector versions for what is left at the end of a row.
namespace plain {
void PackBgra8(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackBgra16(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackBgraFloat(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackUyvy(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackV210(const uint16_t* rgb, uint8_t* out, int32_t width);
/// The row from pixel `first` on, a multiple of 6; `rgb` and `out` are the row's begin.
void PackV210From(int32_t first, const uint16_t* rgb, uint8_t* out, int32_t width);
void PackVuyaFloat(const uint16_t* rgb, uint8_t* out, int32_t width);
void ReduceRows(const uint16_t* above, const uint16_t* below, uint16_t* out, int32_t width);
void PackBgraFloatMean(const uint16_t* above, const uint16_t* below, uint8_t* out, int32_t width);
}  // namespace plain

#if defined(__x86_64__)
namespace avx2 {
void PackBgra8(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackBgra16(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackBgraFloat(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackUyvy(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackV210(const uint16_t* rgb, uint8_t* out, int32_t width);
void PackVuyaFloat(const uint16_t* rgb, uint8_t* out, int32_t width);
void ReduceRows(const uint16_t* above, const uint16_t* below, uint16_t* out, int32_t width);
void PackBgraFloatMean(const uint16_t* above, const uint16_t* below, uint8_t* out, int32_t width);
}  // namespace avx2
#endif

}  // namespace qx
