#include "samples/slice_encoder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/samples/slow_slice_decoder.h"

namespace qx {
namespace {

using Octets = std::vector<uint8_t>;

std::vector<uint8_t> Encode(const std::vector<uint16_t>& samples, uint32_t width, const SliceCoding& coding) {
  std::vector<uint8_t> bytes;
  EXPECT_TRUE(EncodeSlice({samples.data(), width, width, uint32_t(samples.size()) / width}, coding, &bytes));
  return bytes;
}

/// Parts joined, `count` times each.
Octets Join(std::initializer_list<std::pair<Octets, int>> parts) {
  Octets all;
  for (const auto& [bytes, count] : parts) {
    for (int i = 0; i < count; ++i) all.insert(all.end(), bytes.begin(), bytes.end());
  }
  return all;
}

/// One row in which every sample is that of two before, but for the first two and the one at `x`, which is `difference` more.
std::vector<uint16_t> RowWithStep(uint16_t first, uint16_t second, size_t x, uint16_t difference, size_t width) {
  std::vector<uint16_t> row(width);
  for (size_t i = 0; i < width; ++i) row[i] = uint16_t((i % 2 == 0 ? first : second) + (i >= x && i % 2 == x % 2 ? difference : 0));
  return row;
}

TEST(SliceEncoder, PlainCell) {
  // Residuals 1, 2, zigzag(3 − 1) = 4, zigzag(5 − 2) = 6, then zeros behind the width: 3 bits each, 12 bytes.
  // 1 | 2 << 3 | 4 << 6 | 6 << 9 = 0x0D11.
  EXPECT_EQ(Encode({1, 2, 3, 5}, 4, {SlicePacking::kPlain, 0, 0}), Join({{{0x03, 0x11, 0x0D}, 1}, {{0}, 10}}));
}

TEST(SliceEncoder, InterleavedCells) {
  // Residuals 1, 2 and, at 24 (lane 0, bits 3c …), zigzag(3) = 6: c = 3, lane 0 = 1 | 6 << 9 = 0xC01, lane 1 = 2.
  // No 16-bit group, 8 bytes with bits 0 … 7 of each lane, 4 bytes with bits 8 … 11.
  EXPECT_EQ(Encode(RowWithStep(1, 2, 24, 3, 25), 25, {SlicePacking::kInterleaved, 0, 0}),
            Join({{{0x03, 0x01, 0x02}, 1}, {{0}, 6}, {{0x0C, 0, 0, 0}, 1}}));
  // zigzag(20) = 40 there: c = 6, lane 0 = 1 | 40 << 18 = 0xA00001: one group of 16 bits a lane, then 8 bits of each.
  EXPECT_EQ(Encode(RowWithStep(1, 2, 24, 20, 25), 25, {SlicePacking::kInterleaved, 0, 0}),
            Join({{{0x06, 0x01, 0x00, 0x02, 0x00}, 1}, {{0}, 12}, {{0xA0}, 1}, {{0}, 7}}));
}

TEST(SliceEncoder, RiceCells) {
  // Residuals 1, 2, 4, 6 and 28 zeros, k = 0 (45 bits; k = 1 would take 70). In reading order: 10 110 11110 1111110, then zeros.
  EXPECT_EQ(Encode({1, 2, 3, 5}, 4, {SlicePacking::kRice, 0, 0}), (Octets{0x00, 0xED, 0xFD, 0, 0, 0, 0}));
  // 40,000 = 0x9C40 escapes: 16 ones, 16 bits; 31 zeros follow.
  EXPECT_EQ(Encode({40000}, 1, {SlicePacking::kRice, 0, 0}), (Octets{0x00, 0xFF, 0xFF, 0x40, 0x9C, 0, 0, 0, 0}));
}

TEST(SliceEncoder, TwoPartCell) {
  // All residuals 3 = zigzag(−2), but 5 = zigzag(−3) at 8 (lane 0, second): k = 1, all low bits 1. High parts in the order 0, 8, 16, …:
  // 10 110 10 10 …, 65 bits.
  std::vector<uint16_t> row(32, 3);
  for (size_t x = 2; x < row.size(); ++x) row[x] = uint16_t(row[x - 2] - (x == 8 ? 3 : 2));
  EXPECT_EQ(Encode(row, 32, {SlicePacking::kTwoPart, 0, 0}), Join({{{0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xAD}, 1}, {{0xAA}, 7}, {{0}, 1}}));
}

TEST(SliceEncoder, CellsOfZerosTakeNoData) {
  const std::vector<uint16_t> black(2 * 3 * 32);
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kPlain, 1, 0}), Octets(3, 0x00));
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kInterleaved, 1, 0}), Octets(3, 0x00));
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kRice, 1, 0}), Octets(3, 0xFF));
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kTwoPart, 1, 0}), Octets(3, 0xFF));
}

TEST(SliceEncoder, PredictsFromTwoRowsAbove) {
  // Third row: 12 from 10, 20 from 20; then a = 12, b = 14, c = 10, d = 14 (the edge repeats b). They differ by 4: with T = 4 their mean
  // (52 >> 2 = 13), with T = 3 the median edge (c is the least: the larger of a and b, 14). Last: 20, 26, 20, 26 give 26 either way.
  const std::vector<uint16_t> samples = {10, 20, 14, 26, 0, 0, 0, 0, 12, 20, 15, 30};
  const std::pair<uint16_t, uint16_t> residualOfThreshold[] = {{4, 4}, {3, 2}};
  for (const auto& [threshold, residual] : residualOfThreshold) {
    const std::vector<uint16_t> all = SliceResiduals({samples.data(), 4, 4, 3}, 1, threshold);
    EXPECT_EQ(std::vector<uint16_t>(all.begin(), all.begin() + 4), (std::vector<uint16_t>{10, 20, 8, 12}));
    EXPECT_EQ(std::vector<uint16_t>(all.begin() + 64, all.begin() + 68), (std::vector<uint16_t>{4, 0, residual, 8})) << threshold;
  }
}

TEST(SliceEncoder, FixedWidthRefusesResidualsOf16Bits) {
  std::vector<uint8_t> bytes = {7};
  for (const uint16_t first : {uint16_t(32767), uint16_t(32768)}) {
    EXPECT_EQ(EncodeSlice({&first, 1, 1, 1}, {SlicePacking::kPlain, 0, 0}, &bytes), first == 32767);
  }
  EXPECT_EQ(bytes.size(), 1u + 1 + 4 * 15);
}

/// Noise around a level that changes, with outliers that escape.
std::vector<uint16_t> Noise(uint32_t width, uint32_t rows, unsigned bits, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint16_t> samples;
  for (size_t i = 0; i < size_t(width) * rows; ++i) {
    const unsigned amplitude = 1u << (i / 97 % (bits + 1));
    const unsigned value = random() % 50 == 0 ? random() : random() % amplitude;
    samples.push_back(uint16_t(value & ((1u << bits) - 1)));
  }
  return samples;
}

TEST(SliceEncoder, DecodesToTheSameSamples) {
  const std::pair<uint32_t, uint32_t> sizes[] = {{1, 1}, {2, 3}, {3, 4}, {31, 5}, {32, 6}, {33, 7}, {100, 16}};
  for (const SlicePacking packing : {SlicePacking::kPlain, SlicePacking::kInterleaved, SlicePacking::kRice, SlicePacking::kTwoPart}) {
    for (const uint8_t predictor : {0, 1}) {
      for (const uint16_t threshold : {0, 40, 65535}) {
        for (const auto& [width, rows] : sizes) {
          SCOPED_TRACE(std::to_string(int(packing)) + " " + std::to_string(predictor) + " " + std::to_string(threshold) + " " +
                       std::to_string(width) + "x" + std::to_string(rows));
          const std::vector<uint16_t> samples = Noise(width, rows, packing < SlicePacking::kRice ? 14 : 16, width + threshold);
          const std::vector<uint8_t> bytes = Encode(samples, width, {packing, predictor, threshold});
          EXPECT_EQ(SlowDecodeSlice(bytes, {width, rows, packing >= SlicePacking::kRice, unsigned(packing) % 2 == 1, predictor, threshold}),
                    samples);
        }
      }
    }
  }
}

TEST(SliceEncoder, TakesTheShortestRiceCodes) {
  // Whatever single code all cells took instead, the slice would not be shorter.
  const std::vector<uint16_t> samples = Noise(320, 8, 12, 5);
  const size_t coded = Encode(samples, 320, {SlicePacking::kRice, 1, 0}).size();
  const std::vector<uint16_t> residuals = SliceResiduals({samples.data(), 320, 320, 8}, 1, 0);
  for (unsigned k = 0; k < 15; ++k) {
    size_t bits = 0;
    for (const uint16_t residual : residuals) bits += (residual >> k) >= 16 ? 32 : (residual >> k) + 1 + k;
    EXPECT_LE(coded, 40 + (bits + 7) / 8) << k;
  }
}

}  // namespace
}  // namespace qx
