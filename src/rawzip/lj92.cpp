#include "rawzip/lj92.h"

#include <algorithm>
#include <iterator>

#include "base/checked.h"
#include "rawzip/lj92_scan.h"

namespace qx {

namespace {

void FillInfo(const Lj92Header& header, bool category16ReadsBits, Lj92Info& info) {
  info.samplesPerLine = int32_t(header.samplesPerLine);
  info.lines = int32_t(header.lines);
  info.components = header.components;
  info.precision = header.precision;
  info.predictor = header.predictor;
  info.pointTransform = header.pointTransform;
  info.restartInterval = int32_t(header.restartInterval);
  info.category16ReadsBits = category16ReadsBits;
}

uint64_t DivideRoundingUp(uint64_t a, uint64_t b) {
  return (a + b - 1) / b;
}

/// How strips or tiles cover the frame: cells of one size in rows of `across`, cut at the right and bottom edges.
struct CellGrid {
  uint32_t cellWidth = 0, cellHeight = 0;
  uint64_t across = 0, count = 0;
};

CellGrid GridOf(const DngInfo& info) {
  CellGrid grid;
  const bool tiled = info.tileWidth != 0;
  grid.cellWidth = tiled ? info.tileWidth : info.width;
  grid.cellHeight = tiled ? info.tileLength : info.rowsPerStrip;
  if (!tiled && (info.rowsPerStrip == 0 || info.rowsPerStrip >= info.height)) grid.cellHeight = info.height;
  grid.across = DivideRoundingUp(info.width, grid.cellWidth);
  grid.count = grid.across * DivideRoundingUp(info.height, grid.cellHeight);
  return grid;
}

/// What all streams together may take: cells that lie apart fit into the record, and cells that share a stream have at most 4 bytes, each
/// perhaps stuffed, for a sample. Without this limit a small file could ask for one long stream a million times.
uint64_t LargestCodedSize(const DngInfo& info, Bytes record) {
  return record.size() + uint64_t(info.width) * info.height * 8;
}

int DecodeCell(const DngInfo& info, const CellGrid& grid, size_t cell, Bytes record, uint16_t* out) {
  const uint64_t offset = info.stripOffsets[cell], size = info.stripByteCounts[cell];
  if (!RangeFits(offset, size, record.size())) return kLj92Corrupt;
  const uint64_t x = cell % grid.across * grid.cellWidth, y = cell / grid.across * grid.cellHeight;
  const int32_t width = int32_t(std::min<uint64_t>(info.width - x, grid.cellWidth));
  const int32_t height = int32_t(std::min<uint64_t>(info.height - y, grid.cellHeight));
  return lj92_decode(record.subspan(size_t(offset), size_t(size)), out + y * info.width + x, info.width, width, height, nullptr);
}

}  // namespace

int lj92_decode(Bytes stream, uint16_t* out, int64_t pitch, int32_t width, int32_t height, Lj92Info* info) {
  Lj92Header header;
  if (const int result = ParseLj92Header(stream, header); result != kLj92Ok) return result;
  bool category16ReadsBits = false;
  int result = kLj92TooSmall;
  if (width >= 0 && height >= 0 && header.LineSamples() >= uint32_t(width) && header.lines >= uint32_t(height)) {
    const Lj92Output output = {out, pitch, width, height};
    result = DecodeLj92Scan(header, output, *Lj92RowKernelsForThisProcessor().back(), category16ReadsBits);
  }
  if (info != nullptr) FillInfo(header, category16ReadsBits, *info);
  return result;
}

int lj92_check_layout(const DngInfo& info) {
  const bool tiled = info.tileWidth != 0;
  if (info.compression != 7 || info.samplesPerPixel != 1 || info.stripOffsets.empty() || info.width == 0 || info.height == 0 ||
      (tiled && info.tileLength == 0)) {
    return kLj92Unsupported;
  }
  const uint64_t cells = GridOf(info).count;
  return cells > std::min(info.stripOffsets.size(), info.stripByteCounts.size()) || cells >= uint64_t(1) << 31 ? kLj92Corrupt : kLj92Ok;
}

int lj92_decode_dng(const DngInfo& info, Bytes record, uint16_t* out) {
  if (const int result = lj92_check_layout(info); result != kLj92Ok) return result;
  const CellGrid grid = GridOf(info);
  uint64_t budget = LargestCodedSize(info, record);
  for (size_t cell = 0; cell < grid.count; ++cell) {
    if (info.stripByteCounts[cell] > budget) return kLj92Corrupt;
    budget -= info.stripByteCounts[cell];
    if (const int result = DecodeCell(info, grid, cell, record, out); result != kLj92Ok) return result;
  }
  return kLj92Ok;
}

const char* lj92_error_text(int code) {
  static constexpr const char* kTexts[] = {"no error",
                                           "LJ92: corrupt data",
                                           "LJ92: data truncated",
                                           "LJ92: variant not supported",
                                           "LJ92: out of memory",
                                           "LJ92: JPEG frame smaller than the DNG frame"};
  return code <= 0 && code > -int(std::size(kTexts)) ? kTexts[-code] : "LJ92: error";
}

}  // namespace qx
