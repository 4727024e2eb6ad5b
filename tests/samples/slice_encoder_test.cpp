#include "samples/slice_encoder.h"

#include <gtest/gtest.h>

#include <random>

namespace qx {
namespace {

// The bytes themselves are checked by the reader, which shares no code with the encoder (tests/qorix/slice_codec_test.cpp).

using Octets = std::vector<uint8_t>;

Octets Encode(const std::vector<uint16_t>& samples, uint32_t width, const SliceCoding& coding) {
  Octets bytes;
  EXPECT_TRUE(EncodeSlice({samples.data(), width, width, uint32_t(samples.size()) / width}, coding, &bytes));
  return bytes;
}

TEST(SliceEncoder, CellsOfZerosTakeNoData) {
  const std::vector<uint16_t> black(2 * 3 * 32);
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kPlain, 1, 0}), Octets(3, 0x00));
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kInterleaved, 1, 0}), Octets(3, 0x00));
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kRice, 1, 0}), Octets(3, 0xFF));
  EXPECT_EQ(Encode(black, 64, {SlicePacking::kTwoPart, 1, 0}), Octets(3, 0xFF));
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
