#include "develop/pixel_format.h"

#include <algorithm>
#include <cstring>

#include "develop/pack_rows.h"

namespace qx {

namespace {

// Null for the 16-bit RGB formats, whose rows are copied.
PackRow PackerOf(const PackKernels& kernels, OutputPixelFormat format) {
  switch (format) {
    case OutputPixelFormat::kBgra16:
      return kernels.bgra16;
    case OutputPixelFormat::kBgra8:
      return kernels.bgra8;
    case OutputPixelFormat::kBgraFloat:
      return kernels.bgraFloat;
    case OutputPixelFormat::kUyvy:
      return kernels.uyvy;
    case OutputPixelFormat::kV210:
      return kernels.v210;
    case OutputPixelFormat::kVuyaFloat:
      return kernels.vuyaFloat;
    case OutputPixelFormat::kRgb48:
    case OutputPixelFormat::kRgb48ReadBack:
      break;
  }
  return nullptr;
}

// Whole v210 blocks, so that every piece but the last ends where a block ends; small enough for the stack and the first cache.
constexpr int32_t kPiecePixels = 20 * 48;

// Mean of two source rows into `width` packed pixels, piece by piece.
void PackReducedRow(const PackKernels& kernels, OutputPixelFormat format, const uint16_t* above, const uint16_t* below, uint8_t* out,
                    int32_t width) {
  if (format == OutputPixelFormat::kBgraFloat) return kernels.bgraFloatMean(above, below, out, width);
  const PackRow pack = PackerOf(kernels, format);
  uint16_t reduced[3 * kPiecePixels];
  for (int32_t x = 0; x < width; x += kPiecePixels) {
    const int32_t pixels = std::min(width - x, kPiecePixels);
    kernels.reduce(above + 6 * int64_t(x), below + 6 * int64_t(x), reduced, pixels);
    pack(reduced, out + FormatRowBytes(format, x), pixels);
  }
}

}  // namespace

uint64_t FormatRowBytes(OutputPixelFormat format, int32_t width) {
  const auto w = uint64_t(std::max(width, 0));
  switch (format) {
    case OutputPixelFormat::kRgb48:
    case OutputPixelFormat::kRgb48ReadBack:
      return w * 6;
    case OutputPixelFormat::kBgra16:
      return w * 8;
    case OutputPixelFormat::kBgra8:
      return w * 4;
    case OutputPixelFormat::kBgraFloat:
    case OutputPixelFormat::kVuyaFloat:
      return w * 16;
    case OutputPixelFormat::kUyvy:
      return w * 2;
    case OutputPixelFormat::kV210:
      return (w + 47) / 48 * 128;
  }
  return 0;
}

bool IsBottomUp(OutputPixelFormat format) {
  return format == OutputPixelFormat::kBgra16 || format == OutputPixelFormat::kBgra8 || format == OutputPixelFormat::kBgraFloat ||
         format == OutputPixelFormat::kVuyaFloat;
}

void ConvertRowsWith(const PackKernels& kernels, const uint16_t* developed, int32_t width, int32_t height, OutputPixelFormat format,
                     uint8_t* destination, int64_t destinationRowBytes, bool quarter, int part, int parts) {
  const PackRow pack = PackerOf(kernels, format);
  const bool reduces = quarter && pack != nullptr;
  const int64_t sourceRow = int64_t(width) * 3, rows = reduces ? height / 2 : height;
  const int32_t columns = reduces ? width / 2 : width;
  if (columns <= 0) return;
  for (int64_t row = rows * part / parts; row < rows * (part + 1) / parts; ++row) {
    const int64_t y = IsBottomUp(format) ? rows - 1 - row : row;
    uint8_t* out = destination + row * destinationRowBytes;
    if (reduces) {
      const uint16_t* above = developed + 2 * y * sourceRow;
      PackReducedRow(kernels, format, above, above + sourceRow, out, columns);
    } else if (pack != nullptr) {
      pack(developed + y * sourceRow, out, columns);
    } else {
      std::memcpy(out, developed + y * sourceRow, size_t(sourceRow) * sizeof(uint16_t));
    }
  }
}

void ConvertRows(const uint16_t* developed, int32_t width, int32_t height, OutputPixelFormat format, uint8_t* destination,
                 int64_t destinationRowBytes, bool quarter, int part, int parts) {
  ConvertRowsWith(GetPackKernels(), developed, width, height, format, destination, destinationRowBytes, quarter, part, parts);
}

}  // namespace qx
