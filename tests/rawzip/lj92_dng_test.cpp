// Frames of several streams: strips and tiles, each at its place.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "media/dng_info.h"
#include "rawzip/lj92.h"
#include "samples/lj92_writer.h"
#include "samples/scene.h"

namespace qx {
namespace {

using ByteList = std::vector<uint8_t>;
using Samples = std::vector<uint16_t>;

/// A frame of 21 × 10 samples cut into cells, each a stream of its own.
struct CellFrame {
  Samples picture = MakeNoisyMosaic(21, 10, 12, 64, 1, 0);
  DngInfo info;
  ByteList record = ByteList(13, 0);  // streams need not begin where the record does

  CellFrame(uint32_t rowsPerStrip, uint32_t tileWidth, uint32_t tileLength) {
    info.width = 21;
    info.height = 10;
    info.compression = 7;
    info.rowsPerStrip = rowsPerStrip;
    info.tileWidth = tileWidth;
    info.tileLength = tileLength;
    const uint32_t cellWidth = tileWidth != 0 ? tileWidth : info.width;
    const uint32_t cellHeight = tileWidth != 0 ? tileLength : rowsPerStrip == 0 ? info.height : rowsPerStrip;
    for (uint32_t y = 0; y < info.height; y += cellHeight) {
      for (uint32_t x = 0; x < info.width; x += cellWidth)
        AddCell(x, y, cellWidth, tileWidth != 0 ? cellHeight : std::min(cellHeight, 10 - y));
    }
  }

  void AddCell(uint32_t left, uint32_t top, uint32_t width, uint32_t height) {
    Samples cell;
    for (uint32_t y = top; y < top + height; ++y) {
      for (uint32_t x = left; x < left + width; ++x) cell.push_back(picture[std::min(y, 9u) * 21 + std::min(x, 20u)]);
    }
    const int components = width % 2 == 0 ? 2 : 1;
    Lj92Format format{.samplesPerLine = int(width) / components, .lines = int(height), .components = components, .precision = 12};
    const ByteList stream = WriteLj92(cell.data(), width, format);
    info.stripOffsets.push_back(record.size());
    info.stripByteCounts.push_back(stream.size());
    record.insert(record.end(), stream.begin(), stream.end());
  }

  int Decode(Samples& out) const {
    out.assign(picture.size(), 0);
    return lj92_decode_dng(info, record, out.data());
  }
};

TEST(Lj92Dng, PutsStripsAndTilesInTheirPlaces) {
  struct Row {
    uint32_t rowsPerStrip, tileWidth, tileLength;
    size_t cells;
  };
  for (const Row& row : {Row{0, 0, 0, 1}, Row{10, 0, 0, 1}, Row{4, 0, 0, 3}, Row{1, 0, 0, 10}, Row{0, 8, 4, 9}, Row{3, 32, 16, 1}}) {
    SCOPED_TRACE(testing::Message() << "strips of " << row.rowsPerStrip << ", tiles " << row.tileWidth << " x " << row.tileLength);
    const CellFrame frame(row.tileWidth != 0 ? 0 : row.rowsPerStrip, row.tileWidth, row.tileLength);
    ASSERT_EQ(frame.info.stripOffsets.size(), row.cells);
    Samples out;
    ASSERT_EQ(frame.Decode(out), kLj92Ok);
    EXPECT_TRUE(out == frame.picture);
  }
}

TEST(Lj92Dng, RefusesWhatItCannotMap) {
  using Change = void (*)(CellFrame&);
  struct Row {
    const char* what;
    Change change;
    int code;
  };
  const Row rows[] = {
      {"uncompressed", [](CellFrame& frame) { frame.info.compression = 1; }, kLj92Unsupported},
      {"three samples per pixel", [](CellFrame& frame) { frame.info.samplesPerPixel = 3; }, kLj92Unsupported},
      {"no strips", [](CellFrame& frame) { frame.info.stripOffsets.clear(); }, kLj92Unsupported},
      {"no columns", [](CellFrame& frame) { frame.info.width = 0; }, kLj92Unsupported},
      {"no rows", [](CellFrame& frame) { frame.info.height = 0; }, kLj92Unsupported},
      {"no tile length", [](CellFrame& frame) { frame.info.tileLength = 0; }, kLj92Unsupported},
      {"too few tiles", [](CellFrame& frame) { frame.info.stripOffsets.pop_back(); }, kLj92Corrupt},
      {"too few byte counts", [](CellFrame& frame) { frame.info.stripByteCounts.pop_back(); }, kLj92Corrupt},
      {"tile outside the record", [](CellFrame& frame) { frame.info.stripOffsets[2] = uint64_t(0) - 4; }, kLj92Corrupt},
      {"every tile is the whole record",
       [](CellFrame& frame) {
         std::fill(frame.info.stripOffsets.begin(), frame.info.stripOffsets.end(), 13);
         frame.record.resize(10000);
         std::fill(frame.info.stripByteCounts.begin(), frame.info.stripByteCounts.end(), 9000);
       },
       kLj92Corrupt},
      {"tile smaller than its place", [](CellFrame& frame) { frame.info.tileWidth = 16; }, kLj92TooSmall},
  };
  for (const Row& row : rows) {
    CellFrame frame(0, 8, 4);
    row.change(frame);
    Samples out;
    EXPECT_EQ(frame.Decode(out), row.code) << row.what;
  }
}

TEST(Lj92Dng, TruncatedLastTileLeavesTheEarlierOnes) {
  CellFrame frame(0, 8, 4);
  frame.info.stripByteCounts.back() -= 12;
  Samples out;
  ASSERT_EQ(frame.Decode(out), kLj92Truncated);
  // Rows 0 … 7 are whole tiles, rows 8 and 9 lack the columns from 16 on.
  EXPECT_TRUE(std::equal(out.begin(), out.begin() + 8 * 21 + 16, frame.picture.begin()));
}

}  // namespace
}  // namespace qx
