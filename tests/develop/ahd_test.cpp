#include "develop/cpu/ahd.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "ahd_reference.h"
#include "base/grow_buffer.h"
#include "develop/cpu/ahd_rows.h"
#include "develop/cpu/lab_tables.h"
#include "develop/cpu/median_rows.h"
#include "tests/gpu_support/raw_scene.h"

namespace qx {
namespace {

/// A whole mosaic in memory behind the row contract: each padded row is a block of its own so that sanitizers see reads past the pads, and
/// requests that go back too far fail the test.
class MemoryMosaic final : public MosaicRows {
 public:
  MemoryMosaic(const std::vector<uint16_t>& samples, int w, int h) : h_(h) {
    for (int y = 0; y < h; ++y) {
      std::vector<uint16_t>& row = rows_.emplace_back(size_t(w + 2 * kMosaicPad));
      for (int x = -kMosaicPad; x < w + kMosaicPad; ++x) {
        int column = x;  // a reflection at each edge in turn: narrow images need more than one
        while (column < 0 || column >= w) column = column < 0 ? -column : 2 * (w - 1) - column;
        row[size_t(x + kMosaicPad)] = samples[size_t(y) * w + column];
      }
    }
  }
  const uint16_t* Row(int y) override {
    const int row = MirrorIndex(y, h_);
    EXPECT_TRUE(row >= 0 && row < h_) << y;
    EXPECT_GT(row, newest_ - kMosaicRing) << y;
    newest_ = std::max(newest_, row);
    return rows_[size_t(row)].data() + kMosaicPad;
  }
  void Rewind() { newest_ = 0; }

 private:
  int h_, newest_ = 0;
  std::vector<std::vector<uint16_t>> rows_;
};

/// A usual camera's matrix, one with both ends of the range that drives a and b to their limits, and one of small and zero rows.
constexpr std::array<int32_t, 9> kMatrices[] = {{444, 385, 194, 218, 732, 74, 18, 112, 894},
                                                {8191, -8191, 8191, -8191, 8191, -8191, 8191, 8191, -8191},
                                                {0, 0, 0, 3, -2, 1, -300, 900, -7}};

/// Contents that differ in how directions, limits and ties come about.
const char* const kContents[] = {"random", "flat", "gradient", "extremes", "checker"};

std::vector<uint16_t> MakeMosaic(const std::string& content, int w, int h, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint16_t> samples;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const uint32_t noise = random();
      uint32_t v = noise >> 16;
      if (content == "flat") v = 20000 + 9000 * (x & 1) - 7000 * (y & 1);
      if (content == "gradient") v = uint32_t(x * 700 + y * 300 + 5000 * (x > y) + int(noise % 64)) & 0xffff;
      if (content == "extremes") v = noise % 3 == 0 ? 0 : noise % 3 == 1 ? 65535 : v;
      if (content == "checker") v = ((x / 2 + y / 3) & 1) != 0 ? 65535 : 0;
      samples.push_back(uint16_t(v));
    }
  }
  return samples;
}

std::vector<uint16_t> Interleave(RgbRows* rows, const LabMatrix& matrix, int firstRow, int endRow, int w) {
  std::vector<uint16_t> out;
  rows->Begin(firstRow, matrix);
  for (int y = firstRow; y < endRow; ++y) {
    const RgbRow row = rows->Row(y);
    for (int x = 0; x < w; ++x) out.insert(out.end(), {row.r[x], row.g[x], row.b[x]});
  }
  return out;
}

struct Size2 {
  int w, h;
};

TEST(Ahd, GivesTheFormulasResultForEverySizePatternAndContent) {
  uint32_t seed = 1;
  for (const Size2 size :
       {Size2{8, 8}, Size2{9, 8}, Size2{15, 11}, Size2{16, 9}, Size2{17, 12}, Size2{33, 10}, Size2{70, 50}, Size2{61, 37}}) {
    for (const auto& cfa : kBayerPatterns) {
      for (const char* content : kContents) {
        const auto& matrix = kMatrices[seed++ % std::size(kMatrices)];
        SCOPED_TRACE(std::to_string(size.w) + "x" + std::to_string(size.h) + " " + content + " pattern " + std::to_string(cfa[0]) +
                     std::to_string(cfa[1]) + " seed " + std::to_string(seed));
        const auto mosaic = MakeMosaic(content, size.w, size.h, seed);
        MemoryMosaic source(mosaic, size.w, size.h);
        for (const bool refined : {false, true}) {
          source.Rewind();
          const auto rows = CreateAhdRows(&source, {size.w, size.h, cfa}, refined);
          ASSERT_EQ(Interleave(rows.get(), matrix, 0, size.h, size.w), ReferenceAhd(mosaic, size.w, size.h, cfa, matrix, refined))
              << refined;
        }
      }
    }
  }
}

// Longer than two of the median stage's column blocks.
TEST(Ahd, GivesTheFormulasResultForWideRows) {
  constexpr int kWidth = 1543, kHeight = 12;
  const auto mosaic = MakeMosaic("random", kWidth, kHeight, 7);
  MemoryMosaic source(mosaic, kWidth, kHeight);
  const auto rows = CreateAhdRows(&source, {kWidth, kHeight, kBayerPatterns[2]}, true);
  EXPECT_EQ(Interleave(rows.get(), kMatrices[0], 0, kHeight, kWidth),
            ReferenceAhd(mosaic, kWidth, kHeight, kBayerPatterns[2], kMatrices[0], true));
}

TEST(Ahd, MakesTheSameRowsInBands) {
  constexpr int kWidth = 40, kHeight = 47;
  const auto mosaic = MakeMosaic("gradient", kWidth, kHeight, 3);
  MemoryMosaic source(mosaic, kWidth, kHeight);
  for (const bool refined : {false, true}) {
    const auto whole = ReferenceAhd(mosaic, kWidth, kHeight, kBayerPatterns[1], kMatrices[0], refined);
    const auto rows = CreateAhdRows(&source, {kWidth, kHeight, kBayerPatterns[1]}, refined);
    for (const int first : {0, 1, 2, 5, 6, 7, 20, 33, 44, 45, 46, 3}) {  // one object all along, as a worker uses it
      SCOPED_TRACE(first);
      source.Rewind();
      const int end = std::min(first + 9, kHeight);
      const std::vector<uint16_t> band(whole.begin() + first * kWidth * 3, whole.begin() + end * kWidth * 3);
      EXPECT_EQ(Interleave(rows.get(), kMatrices[0], first, end, kWidth), band);
    }
  }
}

TEST(Ahd, ReportsShortMemory) {
  MemoryMosaic source(MakeMosaic("flat", 16, 16, 1), 16, 16);
  const DebayerSetup setup = {16, 16, kBayerPatterns[0]};
  int failures = 0;
  for (int nth = 0;; ++nth) {  // one allocation after the other fails until none is left to fail
    FailAllocationForTest(nth);
    const bool made = CreateAhdRows(&source, setup, true) != nullptr;
    FailAllocationForTest(-1);
    if (made) break;
    ++failures;
  }
  EXPECT_GE(failures, 7);  // the AHD stage and six passes
}

// cbrt(0.125) = 0.5 lies near entry 8192 (0.1250019): f = 0.5000025. The linear part gives 16/116 of each scale at 0.
TEST(LabTables, HoldRoundedResponses) {
  const int32_t* t = GetLabTables();
  struct Entry {
    int index, t0, t1, t2;
  };
  for (const Entry& e : {Entry{0, 1024, 4414, 1766}, Entry{8192, 3712, 16000, 6400}, Entry{65535, 7424, 32000, 12800}}) {
    EXPECT_EQ(t[e.index], e.t0) << e.index;
    EXPECT_EQ(t[65536 + e.index], e.t1) << e.index;
    EXPECT_EQ(t[2 * 65536 + e.index], e.t2) << e.index;
  }
}

// No value may lie so near to a rounding edge that another library's cube root could give another integer.
TEST(LabTables, DoNotDependOnTheCubeRootsLastBits) {
  double nearest = 1;
  for (int i = 0; i < 65536; ++i) {
    const double t = i / 65535.0, f = t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0;
    for (const double scale : {7424.0, 32000.0, 12800.0}) {
      const double v = f * scale + 0.5;
      nearest = std::min(nearest, std::abs(v - std::round(v)));
    }
  }
  EXPECT_GT(nearest, 1e-9);
}

TEST(LabTables, PackedWordsHoldAllThree) {
  const int32_t* t = GetLabTables();
  const uint32_t* packed = GetPackedLabTable();
  for (uint32_t i = 0; i < 65536; ++i) {
    const uint32_t t1 = packed[i] & 0x7fff;
    ASSERT_EQ(t1, uint32_t(t[65536 + i])) << i;
    ASSERT_EQ(packed[i] >> 16 & 0x1fff, uint32_t(t[i])) << i;
    ASSERT_EQ((t1 * kLabT2PerT1 >> 16) + (packed[i] >> 29), uint32_t(t[2 * 65536 + i])) << i;
  }
}

}  // namespace
}  // namespace qx
