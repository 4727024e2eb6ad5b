#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "media/dng_parser.h"
#include "media/unpack_rows.h"
#include "samples/dng_writer.h"

namespace qx {
namespace {

std::vector<uint16_t> Noise(size_t count, uint32_t bits) {
  std::mt19937 random(bits);
  std::vector<uint16_t> samples(count);
  for (uint16_t& sample : samples) sample = uint16_t(random() & ((1u << bits) - 1));
  return samples;
}

/// Sample x of a row, bit by bit, the first bit in the highest place.
uint16_t SampleByBits(Bytes row, uint32_t bits, uint32_t x) {
  uint32_t sample = 0;
  for (uint64_t bit = uint64_t(x) * bits; bit < uint64_t(x + 1) * bits; ++bit) sample = sample << 1 | (row[bit / 8] >> (7 - bit % 8) & 1);
  return uint16_t(sample);
}

TEST(UnpackRows, EveryVariantGivesTheBitsOfTheRow) {
  std::mt19937 random(7);
  for (uint32_t width = 0; width <= 200; ++width) {
    for (const uint32_t bits : {10u, 12u, 14u}) {
      // Exactly as long as needed and at odd addresses, so that the address sanitizer sees a read past either end.
      const size_t rowBytes = (width * bits + 7) / 8;
      const auto storage = std::make_unique<uint8_t[]>(rowBytes + 1);
      for (size_t i = 0; i <= rowBytes; ++i) storage[i] = uint8_t(random());
      const Bytes row(storage.get() + 1, rowBytes);
      for (const UnpackRowVariant& variant : UnpackRowVariants()) {
        if (!variant.usable) continue;
        std::vector<uint16_t> out(width + 1, 0xABCD);
        (bits == 10 ? variant.bits10 : bits == 12 ? variant.bits12 : variant.bits14)(row, out.data(), width);
        for (uint32_t x = 0; x < width; ++x) {
          ASSERT_EQ(out[x], SampleByBits(row, bits, x)) << variant.name << ", " << bits << " bits, width " << width << ", sample " << x;
        }
        ASSERT_EQ(out[width], 0xABCD) << variant.name << " wrote past the row";
      }
    }
  }
}

TEST(DngUnpack, GivesTheWrittenSamplesAtEveryDepth) {
  for (uint32_t bits = 1; bits <= 16; ++bits) {
    for (const bool bigEndian : {false, true}) {
      for (const uint32_t rowsPerStrip : {0u, 1u, 4u, 100u}) {
        DngDescription d;
        d.width = 37;
        d.height = 10;
        d.bitsPerSample = bits;
        d.bigEndian = bigEndian;
        d.rowsPerStrip = rowsPerStrip;
        const std::vector<uint16_t> samples = Noise(37 * 10, bits);
        const std::vector<uint8_t> record = WriteDng(d, samples);
        DngInfo info;
        ASSERT_EQ(dng_parse(record, &info, Message()), 0);
        std::vector<uint16_t> out(samples.size());
        ASSERT_EQ(dng_unpack_strips(info, record, out.data()), 0);
        ASSERT_EQ(out, samples) << bits << " bits, big-endian " << bigEndian << ", rows per strip " << rowsPerStrip;
      }
    }
  }
}

TEST(DngUnpack, RefusesWhatItCannotUnpack) {
  DngDescription d;
  d.width = 8;
  d.height = 6;
  d.rowsPerStrip = 4;
  const std::vector<uint8_t> record = WriteDng(d, std::vector<uint16_t>(48));
  DngInfo good;
  ASSERT_EQ(dng_parse(record, &good, Message()), 0);
  std::vector<uint16_t> out(48);
  ASSERT_EQ(dng_unpack_strips(good, record, out.data()), 0);
  struct Row {
    const char* why;
    void (*change)(DngInfo&);
  };
  for (const Row& row : {
           Row{"compressed", [](DngInfo& i) { i.compression = 7; }},
           Row{"three samples per pixel", [](DngInfo& i) { i.samplesPerPixel = 3; }},
           Row{"tiles", [](DngInfo& i) { i.tileWidth = 16; }},
           Row{"no strips", [](DngInfo& i) { i.stripOffsets.clear(), i.stripByteCounts.clear(); }},
           Row{"a strip too few", [](DngInfo& i) { i.stripOffsets.pop_back(), i.stripByteCounts.pop_back(); }},
           Row{"last row one byte short", [](DngInfo& i) { i.stripByteCounts[1] -= 1; }},
           Row{"first strip without its byte count", [](DngInfo& i) { i.stripByteCounts[0] = 0; }},
           Row{"strip of another record", [](DngInfo& i) { i.stripOffsets[1] = 1 << 20; }},
           Row{"32 bits", [](DngInfo& i) { i.bitsPerSample = 32; }},
           Row{"no columns", [](DngInfo& i) { i.width = 0, i.height = 0xFFFFFFFF; }},
       }) {
    DngInfo info = good;
    row.change(info);
    EXPECT_EQ(dng_unpack_strips(info, record, out.data()), -1) << row.why;
  }
}

}  // namespace
}  // namespace qx
