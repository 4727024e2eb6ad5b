// Pixel formats of delivered frames and the conversion from developed 16-bit RGB into them.
#pragma once

#include <cstdint>

namespace qx {

/// Codes used throughout the pipeline. Bottom-up formats store the last image row first.
enum class OutputPixelFormat : int32_t {
  kRgb48 = 0,          // R, G, B as 16-bit little-endian words, top row first
  kBgra16 = 1,         // white 32768, bottom row first
  kBgra8 = 2,          // bottom row first
  kBgraFloat = 3,      // bottom row first
  kRgb48ReadBack = 4,  // as kRgb48: what the graphics card gives without its output pass
  kUyvy = 5,           // 8-bit 4:2:2, Rec.709 video range, top row first
  kV210 = 6,           // 10-bit 4:2:2, Rec.709 video range, top row first
  kVuyaFloat = 7,      // Rec.709, bottom row first
};

/// Bytes of one packed row of `width` pixels.
uint64_t FormatRowBytes(OutputPixelFormat format, int32_t width);
bool IsBottomUp(OutputPixelFormat format);

/// Converts one band of rows: band `part` of `parts` equal bands of the destination's rows. `developed` is 16-bit RGB, width × height, top
/// row first, rows packed. With `quarter` the frame is reduced 2 × 2 by the mean and the destination is (width / 2) × (height / 2).
/// `destinationRowBytes` may exceed the format's row. Any thread; bands may run side by side.
void ConvertRows(const uint16_t* developed, int32_t width, int32_t height, OutputPixelFormat format, uint8_t* destination,
                 int64_t destinationRowBytes, bool quarter, int part, int parts);

}  // namespace qx
