#include "qorix/slice_codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "samples/slice_encoder.h"
#include "tests/qorix/slow_slice_decoder.h"

namespace qx {
namespace {

using Octets = std::vector<uint8_t>;
using Samples = std::vector<uint16_t>;

constexpr uint16_t kUntouched = 0xA5A5;

SliceFormat FormatOf(SlicePacking packing, uint8_t predictor, uint16_t flatThreshold, uint32_t width, uint32_t rows) {
  const bool lanes = packing == SlicePacking::kInterleaved || packing == SlicePacking::kTwoPart;
  const uint8_t coder = packing == SlicePacking::kRice || packing == SlicePacking::kTwoPart ? 1 : 0;
  const SliceLayout layout = !lanes ? SliceLayout::kPlain : coder == 0 ? SliceLayout::kInterleaved : SliceLayout::kTwoPart;
  return {width, rows, coder, layout, predictor, flatThreshold};
}

std::string Describe(const SliceFormat& f) {
  return "coder " + std::to_string(f.coder) + " layout " + std::to_string(int(f.layout)) + " predictor " + std::to_string(f.predictor) +
         " threshold " + std::to_string(f.flatThreshold) + " " + std::to_string(f.width) + "x" + std::to_string(f.rows);
}

/// What one variant makes of a slice; nothing when it is bad. Bytes and rows lie in allocations of their own size, where the sanitizer sees
/// every access outside; the rows are further apart than they are wide.
std::optional<Samples> DecodeWith(const SliceVariant& variant, const Octets& bytes, const SliceFormat& f) {
  const size_t stride = f.width + 3;
  Samples out(stride * f.rows, kUntouched);
  const Octets exact(bytes);
  SliceScratch scratch;
  const bool good = variant.decode(exact, f, scratch, out.data(), stride * sizeof(uint16_t));
  Samples packed;
  for (size_t y = 0; y < f.rows; ++y) {
    const auto row = out.begin() + ptrdiff_t(y * stride);
    packed.insert(packed.end(), row, row + f.width);
    EXPECT_EQ(std::count(row + f.width, row + ptrdiff_t(stride), kUntouched), 3) << "row " << y;
  }
  if (!good) return std::nullopt;
  return packed;
}

void ExpectDecodes(const Octets& bytes, const SliceFormat& format, const std::optional<Samples>& expected) {
  for (const SliceVariant& variant : slice_variants()) {
    if (!variant.usable) continue;
    EXPECT_EQ(DecodeWith(variant, bytes, format), expected) << variant.name << " " << Describe(format);
  }
}

/// Status and samples of every variant are those of the bit-by-bit decoder.
void ExpectAsSlowDecoder(const Octets& bytes, const SliceFormat& f) {
  std::optional<Samples> expected;
  try {
    if (bytes.size() >= ((f.width + 31) / 32 * f.rows + 1) / 2) {
      expected = SlowDecodeSlice(bytes, {f.width, f.rows, f.coder == 1, f.layout != SliceLayout::kPlain, f.predictor, f.flatThreshold});
    }
  } catch (const std::out_of_range&) {
  }
  if (expected && expected->empty()) expected.reset();
  ExpectDecodes(bytes, f, expected);
}

Octets Encode(const Samples& samples, const SliceFormat& f, SlicePacking packing) {
  Octets bytes;
  const SliceSamples slice = {samples.data(), f.width, f.width, f.rows};
  EXPECT_TRUE(EncodeSlice(slice, {packing, f.predictor, f.flatThreshold}, &bytes));
  return bytes;
}

/// The bytes, then zeros up to `size`, then what follows.
Octets Padded(Octets bytes, size_t size, const Octets& following = {}) {
  bytes.resize(size + following.size());
  std::copy(following.begin(), following.end(), bytes.begin() + ptrdiff_t(size));
  return bytes;
}

TEST(SliceCodec, DecodesHandWorkedCells) {
  struct Row {
    const char* what;
    Octets bytes;
    SliceFormat format;
    Samples samples;
  };
  const auto plain = FormatOf(SlicePacking::kPlain, 0, 0, 4, 1), lanes = FormatOf(SlicePacking::kInterleaved, 0, 0, 10, 1);
  const auto rice = FormatOf(SlicePacking::kRice, 0, 0, 4, 1), twoPart = FormatOf(SlicePacking::kTwoPart, 0, 0, 10, 1);
  const Row rows[] = {
      // Residuals 1, 2, 4 = zigzag(2), 6 = zigzag(3) of 3 bits: 1 | 2 << 3 | 4 << 6 | 6 << 9 = 0xD11. 1, 2, 1 + 2, 2 + 3.
      {"plain", Padded({0x03, 0x11, 0x0D}, 1 + 12), plain, {1, 2, 3, 5}},
      // 12 bytes of 3-bit lanes: lane j holds the values j, j + 8, …. Lane 0: 1 | 4 << 3 = 0x21; lane 1: 2 | 6 << 3 = 0x32.
      // Residual 8 is zigzag(2), on sample 6 = 1; residual 9 is zigzag(3), on sample 7 = 2.
      {"interleaved", Padded({0x03, 0x21, 0x32}, 1 + 12), lanes, {1, 2, 1, 2, 1, 2, 1, 2, 3, 5}},
      // Of 5-bit lanes 16 bits come first, then 4: lane 1 is 3 | 5 << 15: its group 0x8003, its nibble (upper half of the byte) 2.
      // Value 1 + 24 is zigzag(−3), behind the width.
      {"interleaved, nibbles",
       Padded({0x05, 0, 0, 0x03, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x20}, 1 + 20),
       lanes,
       {0, 3, 0, 3, 0, 3, 0, 3, 0, 3}},
      // k = 1, in reading order: 0 1 = 1, 10 0 = 2, 110 0 = 4, 1110 0 = 6, then 28 of 0 0: 70 bits.
      // 01 100 110 | 0 1110 0… = bytes 0110 0110, 0111 0000 with the first bit lowest: 0x66, 0x0E.
      {"Rice", Padded({0x01, 0x66, 0x0E}, 1 + 9), rice, {1, 2, 3, 5}},
      // k = 0: 16 ones, then 0xFFFF; 16 ones, then 0x8001 = zigzag(−16,385), behind which 30 zeros: 94 bits. The second colour begins with
      // it.
      {"Rice escapes", Padded({0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x80}, 1 + 12), rice, {0xFFFF, 0x8001, 0xFFFF, 0x8001}},
      // k = 14: 0, then 14 bits 0x2001; 10, then 14 bits of 0 = 0x4000; then zeros: 31 × 15 + 16 = 481 bits.
      // Bits 1 and 14 (of the first), 15 (the one of the second): 0x02, 0xC0.
      {"Rice, widest k", Padded({0x0E, 0x02, 0xC0}, 1 + 61), rice, {0x2001, 0x4000, 0x2001, 0x4000}},
      // Low bits (k = 1), one nibble a lane: lane 0 is 1 (value 0), lane 1 is 0b0010 (value 9): byte 0x21. High parts in the order
      // 0, 8, 16, 24, 1, 9, …: 10 (1: value 0 = 3), 0 0 0, 110 (2: value 1 = 4), 0 and 26 more: 35 bits: 1000 0110 = 0x61.
      // Sample 9 is zigzag(1) = −1 more than sample 7.
      {"two-part", Padded({0x01, 0x21, 0, 0, 0, 0x61}, 1 + 4 + 5), twoPart, {3, 4, 3, 4, 3, 4, 3, 4, 3, 3}},
      // k = 12: 6 bytes a lane, all 0. High: 16 ones and 4 bits 15, then 31 zeros: 51 bits. 15 << 12 = 0xF000.
      {"two-part escape",
       Padded({0x0C}, 1 + 48, {0xFF, 0xFF, 0x0F, 0, 0, 0, 0}),
       twoPart,
       {0xF000, 0, 0xF000, 0, 0xF000, 0, 0xF000, 0, 0xF000, 0}},
      {"packed zeros", {0x00}, plain, {0, 0, 0, 0}},
      {"Rice zeros; the upper half of the last code byte is padding", {0x0F}, rice, {0, 0, 0, 0}},
      {"two-part zeros", {0xFF}, twoPart, Samples(10)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    ExpectDecodes(row.bytes, row.format, row.samples);
  }
}

TEST(SliceCodec, PredictsBrightFlatAreasAs16384) {
  // Three rows of 20,000 in a slice. Third row: the first two from above; then four neighbours of 20,000, whose sum is limited to 65,535:
  // (65,535 + 2) >> 2 = 16,384. Residual zigzag(3,616) = 7,232, k = 14: 0 and 14 bits.
  const Samples samples(3 * 8, 20000);
  for (const SlicePacking packing : {SlicePacking::kPlain, SlicePacking::kRice}) {
    const SliceFormat format = FormatOf(packing, 1, 0, 8, 3);
    EXPECT_EQ(SliceResiduals({samples.data(), 8, 8, 3}, 1, 0)[2 * 32 + 2], 7232);
    ExpectDecodes(Encode(samples, format, packing), format, samples);
  }
}

enum class Content { kNoise, kFlat, kBright, kSpikes };

Samples Draw(Content content, uint32_t width, uint32_t rows, unsigned bits, uint32_t seed) {
  std::mt19937 random(seed);
  const unsigned white = (1u << bits) - 1;
  Samples samples;
  for (size_t i = 0; i < size_t(width) * rows; ++i) {
    const unsigned amplitude = 1u << (i / 97 % (bits + 1));
    switch (content) {
      case Content::kNoise:
        samples.push_back(uint16_t(random() % amplitude));
        break;
      case Content::kFlat:
        samples.push_back(uint16_t(white / 9 + random() % 5));
        break;
      case Content::kBright:
        samples.push_back(uint16_t(white - random() % (white / 4)));
        break;
      case Content::kSpikes:
        samples.push_back(uint16_t(random() % 40 == 0 ? random() & white : 300 + random() % 9));
        break;
    }
  }
  return samples;
}

constexpr SlicePacking kPackings[] = {SlicePacking::kPlain, SlicePacking::kInterleaved, SlicePacking::kRice, SlicePacking::kTwoPart};

/// All 16 bits where the coder holds them.
unsigned BitsOf(SlicePacking packing) {
  return packing == SlicePacking::kRice || packing == SlicePacking::kTwoPart ? 16 : 14;
}

TEST(SliceCodec, DecodesWhatTheEncoderWrites) {
  for (const SlicePacking packing : kPackings) {
    for (const Content content : {Content::kNoise, Content::kFlat, Content::kBright, Content::kSpikes}) {
      for (uint32_t width = 1; width <= 100; ++width) {
        const uint16_t thresholds[] = {0, 4, 300, 65535};
        const uint32_t rows = 1 + width % 7;
        const SliceFormat format = FormatOf(packing, width % 3 != 0, thresholds[width % 4], width, rows);
        const Samples samples = Draw(content, width, rows, BitsOf(packing), width);
        ExpectDecodes(Encode(samples, format, packing), format, samples);
      }
    }
  }
}

TEST(SliceCodec, DecodesEveryThresholdAndManyCells) {
  for (const SlicePacking packing : kPackings) {
    for (const uint16_t threshold : {0, 1, 2, 40, 16383, 16384, 40000, 65534, 65535}) {
      const SliceFormat format = FormatOf(packing, 1, threshold, 333, 12);
      const Samples samples = Draw(threshold % 2 == 0 ? Content::kBright : Content::kNoise, 333, 12, BitsOf(packing), threshold);
      ExpectDecodes(Encode(samples, format, packing), format, samples);
    }
  }
}

TEST(SliceCodec, RefusesDataThatDoesNotEndWithTheSlice) {
  for (const SlicePacking packing : kPackings) {
    const SliceFormat format = FormatOf(packing, 1, 4, 70, 5);
    const Octets bytes = Encode(Draw(Content::kSpikes, 70, 5, 14, 3), format, packing);
    for (size_t size = 0; size < bytes.size(); ++size) {
      ExpectDecodes(Octets(bytes.begin(), bytes.begin() + ptrdiff_t(size)), format, std::nullopt);
    }
    ExpectDecodes(Padded(bytes, bytes.size() + 1), format, std::nullopt);
    ExpectDecodes(Padded(bytes, bytes.size() + 64), format, std::nullopt);
  }
}

TEST(SliceCodec, DamagedSlicesGiveTheSameResultInEveryVariant) {
  std::mt19937 random(7);
  for (int round = 0; round < 400; ++round) {
    const SlicePacking packing = kPackings[round % 4];
    const SliceFormat format = FormatOf(packing, uint8_t(round / 4 % 2), uint16_t(random() % 50), 1 + random() % 90, 1 + random() % 6);
    Octets bytes = Encode(Draw(Content(round % 3), format.width, format.rows, BitsOf(packing), random()), format, packing);
    for (unsigned flips = 1 + random() % 3; flips > 0; --flips) bytes[random() % bytes.size()] ^= uint8_t(1u << random() % 8);
    ExpectAsSlowDecoder(bytes, format);
  }
}

TEST(SliceCodec, NoiseAsDataGivesTheSameResultInEveryVariant) {
  std::mt19937 random(11);
  for (int round = 0; round < 2000; ++round) {
    const SliceFormat format =
        FormatOf(kPackings[round % 4], uint8_t(round / 4 % 2), uint16_t(random()), 1 + random() % 40, 1 + random() % 4);
    // Few distinct codes, so that the length is right now and then; runs of ones, so that there are escapes.
    Octets bytes(random() % 60);
    for (uint8_t& byte : bytes) byte = uint8_t(random() % 3 == 0 ? 0xFF : random());
    for (size_t i = 0; i < bytes.size() && i < 2; ++i) bytes[i] &= 0x11;
    ExpectAsSlowDecoder(bytes, format);
  }
}

TEST(SliceCodec, GroupsGiveWhatSingleSlicesGive) {
  constexpr uint32_t kWidth = 75;
  std::mt19937 random(5);
  for (const SliceVariant& variant : slice_variants()) {
    if (!variant.usable) continue;
    for (int round = 0; round < 64; ++round) {
      const SlicePacking packing = kPackings[round % 4];
      std::vector<Octets> bytes;
      std::vector<Samples> expected, out;
      std::vector<SliceJob> jobs;
      const size_t slices = 1 + random() % 6;
      for (size_t s = 0; s < slices; ++s) {
        const uint32_t rows = s + 1 == slices ? 1 + random() % 9 : 9;
        const SliceFormat format = FormatOf(packing, uint8_t(round / 4 % 2), 3, kWidth, rows);
        expected.push_back(Draw(Content(random() % 4), kWidth, rows, 14, random()));
        bytes.push_back(Encode(expected.back(), format, packing));
        if (random() % 4 == 0) bytes.back().pop_back();
        out.push_back(Samples(kWidth * rows));
        jobs.push_back({bytes.back(), format, nullptr, false});
      }
      for (size_t s = 0; s < slices; ++s) {
        jobs[s].bytes = bytes[s];
        jobs[s].out = out[s].data();
      }
      SliceScratch scratch;
      variant.decodeGroup(jobs, scratch, kWidth * sizeof(uint16_t));
      for (size_t s = 0; s < slices; ++s) {
        const bool whole = DecodeWith(slice_variants()[0], bytes[s], jobs[s].format).has_value();
        EXPECT_EQ(jobs[s].good, whole) << variant.name << " round " << round << " slice " << s;
        EXPECT_TRUE(!whole || out[s] == expected[s]) << variant.name << " round " << round << " slice " << s;
      }
    }
  }
}

TEST(SliceCodec, ReportsMissingMemoryAsABadSlice) {
  const SliceFormat format = FormatOf(SlicePacking::kRice, 0, 0, 64, 1);
  for (const SliceVariant& variant : slice_variants()) {
    if (!variant.usable) continue;
    Samples out(64);
    SliceScratch scratch;
    FailAllocationForTest(0);
    EXPECT_FALSE(variant.decode(Octets{0xFF}, format, scratch, out.data(), 128)) << variant.name;
    FailAllocationForTest(-1);
    EXPECT_TRUE(variant.decode(Octets{0xFF}, format, scratch, out.data(), 128)) << variant.name;
  }
}

}  // namespace
}  // namespace qx
