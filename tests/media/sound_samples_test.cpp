#include "media/sound_samples.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <string>
#include <vector>

namespace qx {
namespace {

using ByteVector = std::vector<uint8_t>;

TEST(SampleFormat, IsFoundForWhatCanBeRead) {
  struct Row {
    uint32_t tag, bits, channels, blockAlign;
    int encoding;  // -1: cannot be read
    uint32_t stride;
  };
  using enum SampleEncoding;
  for (const Row& row : {Row{1, 8, 1, 1, int(kUnsigned8), 1}, Row{1, 16, 2, 4, int(kSigned16), 2}, Row{1, 24, 2, 6, int(kSigned24), 3},
                         Row{1, 32, 3, 12, int(kSigned32), 4}, Row{3, 32, 2, 8, int(kFloat32), 4}, Row{3, 64, 1, 8, int(kFloat64), 8},
                         Row{1, 12, 1, 2, int(kSigned16), 2},  // in the next whole number of bytes
                         Row{1, 20, 2, 6, int(kSigned24), 3},  //
                         Row{1, 24, 2, 8, int(kSigned24), 4},  // in larger places
                         Row{1, 16, 2, 5, int(kSigned16), 2},  // a byte left over in each sample frame
                         Row{1, 16, 2, 3, -1, 0},              // samples would overlap
                         Row{1, 16, 65535, 2, -1, 0}, Row{1, 16, 0, 2, -1, 0}, Row{1, 0, 1, 1, -1, 0}, Row{1, 64, 1, 8, -1, 0},
                         Row{3, 16, 1, 2, -1, 0}, Row{17, 4, 1, 256, -1, 0}, Row{65534, 16, 1, 2, -1, 0}, Row{0, 16, 1, 2, -1, 0}}) {
    SCOPED_TRACE(std::to_string(row.tag) + "/" + std::to_string(row.bits) + "/" + std::to_string(row.channels));
    const auto format = FindSampleFormat(row.tag, row.bits, row.channels, row.blockAlign);
    ASSERT_EQ(format.has_value(), row.encoding >= 0);
    if (!format) continue;
    EXPECT_EQ(int(format->encoding), row.encoding);
    EXPECT_EQ(format->sampleStride, row.stride);
  }
}

template <typename Value>
void Put(Value value, int bytes, ByteVector* out) {
  for (int i = 0; i < bytes; ++i) out->push_back(uint8_t(uint64_t(value) >> (8 * i)));
}

TEST(ConvertSamples, KeepsFloatsAndNarrowsDoubles) {
  const double values[] = {0, -1, 0.1, 1.5, 1e300, -1e-320};
  ByteVector singles, doubles;
  for (const double value : values) {
    Put(std::bit_cast<uint32_t>(float(value)), 4, &singles);
    Put(std::bit_cast<uint64_t>(value), 8, &doubles);
  }
  for (const auto& [bits, bytes] : {std::pair{32u, &singles}, std::pair{64u, &doubles}}) {
    std::vector<float> got(std::size(values));
    float* out = got.data();
    ConvertSamples(*FindSampleFormat(3, bits, 1, bits / 8), bytes->data(), int64_t(got.size()), &out, 0);
    for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(got[i], float(values[i])) << bits << " " << values[i];
  }
}

// Every layout against a loop over single samples, in lengths around any vector width.
TEST(ConvertSamples, SeparatesChannelsOfAnyLayout) {
  for (const uint32_t bits : {8u, 16u, 24u, 32u}) {
    for (const uint32_t channels : {1u, 2u, 3u, 6u}) {
      for (const uint32_t spare : {0u, 1u}) {
        for (const int64_t count : {int64_t(0), int64_t(1), int64_t(7), int64_t(33), int64_t(130)}) {
          const uint32_t stride = bits / 8 + spare, block = stride * channels;
          ByteVector bytes(size_t(count) * block);
          for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i * 151 + i / 7);
          constexpr int64_t kOffset = 3;
          std::vector<std::vector<float>> got(channels, std::vector<float>(size_t(count + 2 * kOffset), 9.0f));
          std::vector<float*> out;
          for (auto& channel : got) out.push_back(channel.data());
          ConvertSamples(*FindSampleFormat(1, bits, channels, block), bytes.data(), count, out.data(), kOffset);
          for (uint32_t c = 0; c < channels; ++c) {
            for (int64_t i = 0; i < count + 2 * kOffset; ++i) {
              float expected = 9.0f;
              if (i >= kOffset && i < kOffset + count) {
                int64_t value = 0;
                const size_t at = size_t(i - kOffset) * block + c * stride;
                for (uint32_t b = 0; b < bits / 8; ++b) value |= int64_t(bytes[at + b]) << (8 * b);
                if (bits == 8) {
                  value -= 128;
                } else if (value >> (bits - 1) != 0) {
                  value -= int64_t(1) << bits;
                }
                expected = float(double(value) / std::exp2(bits - 1));
              }
              ASSERT_EQ(got[c][size_t(i)], expected) << bits << " bit, " << channels << " channels, spare " << spare << ", " << i;
            }
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace qx
