// The conversion into the host's formats: told values, every format against formulas of whole frames, and every version of the loops
// against the plain one.
#include "develop/pixel_format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "develop/pack_rows.h"

namespace qx {
namespace {

using Format = OutputPixelFormat;
using Rgb = std::array<int64_t, 3>;
using Bytes = std::vector<uint8_t>;

constexpr Format kFormats[] = {Format::kRgb48,         Format::kBgra16, Format::kBgra8, Format::kBgraFloat,
                               Format::kRgb48ReadBack, Format::kUyvy,   Format::kV210,  Format::kVuyaFloat};
constexpr uint8_t kUntouched = 0xA5;

struct Frame {
  int32_t width, height;
  std::vector<uint16_t> samples;  // exactly the frame, so that sanitizers see any step outside

  Rgb at(int64_t x, int64_t y) const {
    const uint16_t* p = &samples[size_t((y * width + x) * 3)];
    return {p[0], p[1], p[2]};
  }
};

/// Random samples with many of the extremes.
Frame RandomFrame(int32_t width, int32_t height, uint32_t seed = 1) {
  std::mt19937 random(seed);
  Frame frame = {width, height, std::vector<uint16_t>(size_t(width) * size_t(height) * 3)};
  for (uint16_t& v : frame.samples) {
    const uint32_t kind = random() % 8;
    v = kind == 0 ? 0 : kind == 1 ? 65535 : uint16_t(random());
  }
  return frame;
}

Frame UniformFrame(int32_t width, Rgb color) {
  Frame frame = {width, 1, {}};
  for (int32_t i = 0; i < 3 * width; ++i) frame.samples.push_back(uint16_t(color[size_t(i % 3)]));
  return frame;
}

/// The frame in `format` by the given loops, rows `padding` bytes apart, in an unaligned buffer of just that size.
Bytes Convert(const PackKernels& kernels, const Frame& frame, Format format, bool quarter = false, int parts = 1, size_t padding = 0) {
  const bool reduced = quarter && format != Format::kRgb48 && format != Format::kRgb48ReadBack;
  const int32_t width = reduced ? frame.width / 2 : frame.width, height = reduced ? frame.height / 2 : frame.height;
  const size_t rowBytes = size_t(FormatRowBytes(format, width)) + padding;
  Bytes buffer(rowBytes * size_t(height) + 1, kUntouched);
  for (int part = 0; part < parts; ++part) {
    ConvertRowsWith(kernels, frame.samples.data(), frame.width, frame.height, format, buffer.data() + 1, int64_t(rowBytes), quarter, part,
                    parts);
  }
  return Bytes(buffer.begin() + 1, buffer.end());
}

Bytes Convert(const Frame& frame, Format format, bool quarter = false) {
  return Convert(PackKernelVariants()[0], frame, format, quarter);
}

template <typename T>
void Append(Bytes& bytes, std::initializer_list<T> values) {
  for (const T v : values) {
    uint8_t raw[sizeof(T)];
    std::memcpy(raw, &v, sizeof v);
    bytes.insert(bytes.end(), raw, raw + sizeof v);
  }
}

template <typename T>
std::vector<T> As(const Bytes& bytes) {
  std::vector<T> values(bytes.size() / sizeof(T));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
  return values;
}

// The formulas, pixel by pixel, in 64 bits.

int64_t Luma(const Rgb& c) {
  return (13933 * c[0] + 46871 * c[1] + 4732 * c[2] + 32768) / 65536;
}

Rgb MeanOfTwo(const Rgb& a, const Rgb& b) {
  return {(a[0] + b[0] + 1) / 2, (a[1] + b[1] + 1) / 2, (a[2] + b[2] + 1) / 2};
}

// Fixed point with 20 fractional bits, rounded half up.
int64_t FromFixed20(int64_t v, int64_t low, int64_t high) {
  return std::clamp(int64_t(std::floor(double(v) / (1 << 20))), low, high);
}

uint32_t UyvyWord(Rgb a, Rgb b) {
  for (int64_t& v : a) v /= 16;
  for (int64_t& v : b) v /= 16;
  const Rgb m = MeanOfTwo(a, b);
  const int64_t u = FromFixed20((m[2] - Luma(m)) * 30911 + 134742016, 0, 255),
                v = FromFixed20((m[0] - Luma(m)) * 36423 + 134742016, 0, 255);
  const int64_t y0 = (Luma(a) * 219 + 65520 + 2047) / 4095, y1 = (Luma(b) * 219 + 65520 + 2047) / 4095;
  return uint32_t(u | y0 << 8 | v << 16 | y1 << 24);
}

/// Cb, Cr of a pair or Y of a pixel, by sample position in the stream of a v210 group: Cb Y Cr Y Cb Y Cr Y Cb Y Cr Y.
int64_t V210Sample(const std::array<Rgb, 6>& p, size_t position) {
  if (position % 2 == 1) return std::clamp<int64_t>((Luma(p[position / 2]) * 876 + 4194240 + 32767) / 65535, 4, 1019);
  const Rgb m = MeanOfTwo(p[position / 4 * 2], p[position / 4 * 2 + 1]);
  const bool isCb = position % 4 == 0;
  return FromFixed20((m[isCb ? 2 : 0] - Luma(m)) * (isCb ? 7726 : 9104) + 537395200, 4, 1019);
}

void AppendRow(Bytes& out, const std::vector<Rgb>& row, Format format) {
  const auto scaled = [](int64_t v, double white) { return std::lround(double(v) * white / 65535); };
  const auto at = [&](size_t x) { return row[std::min(x, row.size() - 1)]; };
  const size_t first = out.size();
  for (size_t x = 0; x < row.size(); ++x) {
    const Rgb c = row[x];
    const float r = float(c[0]) / 65535, g = float(c[1]) / 65535, b = float(c[2]) / 65535;
    switch (format) {
      case Format::kRgb48:
      case Format::kRgb48ReadBack:
        Append<uint16_t>(out, {uint16_t(c[0]), uint16_t(c[1]), uint16_t(c[2])});
        break;
      case Format::kBgra8:
        Append<uint8_t>(out, {uint8_t(scaled(c[2], 255)), uint8_t(scaled(c[1], 255)), uint8_t(scaled(c[0], 255)), 255});
        break;
      case Format::kBgra16:
        Append<uint16_t>(out, {uint16_t(scaled(c[2], 32768)), uint16_t(scaled(c[1], 32768)), uint16_t(scaled(c[0], 32768)), 32768});
        break;
      case Format::kBgraFloat:
        Append<float>(out, {b, g, r, 1});
        break;
      case Format::kVuyaFloat: {
        const float y = 0.2126f * r + 0.7152f * g + 0.0722f * b;
        Append<float>(out, {(r - y) * 0.63500127f, (b - y) * 0.53890925f, y, 1});
        break;
      }
      case Format::kUyvy:
        if (x % 2 == 0) Append<uint32_t>(out, {UyvyWord(c, at(x + 1))});
        break;
      case Format::kV210:
        if (x % 6 != 0) break;
        for (size_t word = 0; word < 4; ++word) {
          int64_t value = 0;
          for (size_t i = 0; i < 3; ++i) {
            value |= V210Sample({c, at(x + 1), at(x + 2), at(x + 3), at(x + 4), at(x + 5)}, 3 * word + i) << (10 * i);
          }
          Append<uint32_t>(out, {uint32_t(value)});
        }
        break;
    }
  }
  out.resize(first + FormatRowBytes(format, int32_t(row.size())));  // v210: zero groups; UYVY: a pair cut in two
}

bool TopRowFirst(Format format) {
  return format == Format::kRgb48 || format == Format::kRgb48ReadBack || format == Format::kUyvy || format == Format::kV210;
}

Bytes Expected(const Frame& frame, Format format) {
  Bytes out;
  for (int32_t y = 0; y < frame.height; ++y) {
    std::vector<Rgb> row;
    for (int32_t x = 0; x < frame.width; ++x) row.push_back(frame.at(x, TopRowFirst(format) ? y : frame.height - 1 - y));
    AppendRow(out, row, format);
  }
  return out;
}

Frame Reduced(const Frame& frame) {
  Frame half = {frame.width / 2, frame.height / 2, {}};
  for (int32_t y = 0; y < half.height; ++y) {
    for (int32_t x = 0; x < half.width; ++x) {
      for (size_t c = 0; c < 3; ++c) {
        const int64_t sum =
            frame.at(2 * x, 2 * y)[c] + frame.at(2 * x + 1, 2 * y)[c] + frame.at(2 * x, 2 * y + 1)[c] + frame.at(2 * x + 1, 2 * y + 1)[c];
        half.samples.push_back(uint16_t((sum + 2) / 4));
      }
    }
  }
  return half;
}

std::string Name(Format format, int32_t width) {
  return "format " + std::to_string(int(format)) + " width " + std::to_string(width);
}

TEST(PixelFormat, RowBytes) {
  struct Row {
    Format format;
    int32_t width;
    uint64_t bytes;
  };
  for (const Row& row : {Row{Format::kRgb48, 1920, 11520}, Row{Format::kRgb48ReadBack, 1920, 11520}, Row{Format::kBgra16, 1920, 15360},
                         Row{Format::kBgra8, 1920, 7680}, Row{Format::kBgraFloat, 1920, 30720}, Row{Format::kUyvy, 1920, 3840},
                         Row{Format::kV210, 1920, 5120}, Row{Format::kV210, 1926, 5248}, Row{Format::kV210, 1, 128},
                         Row{Format::kV210, 48, 128}, Row{Format::kV210, 49, 256}, Row{Format::kVuyaFloat, 1920, 30720},
                         Row{Format::kVuyaFloat, INT32_MAX, 34359738352}, Row{Format::kBgra8, -5, 0}}) {
    EXPECT_EQ(FormatRowBytes(row.format, row.width), row.bytes) << Name(row.format, row.width);
  }
}

TEST(PixelFormat, ToldValuesOfVideoRange) {
  struct Row {
    const char* what;
    Rgb color;
    Bytes uyvy;                     // U, Y, V, Y
    std::array<uint32_t, 3> cbYCr;  // of 10 bits
  };
  // BT.709 bars: Y' = 16 + 219 · (0.2126, 0.7152, 0.0722), Cb = 128 + 224 · (B − Y) / 1.8556, Cr = 128 + 224 · (R − Y) / 1.5748, and four
  // times as much in 10 bits. UYVY comes from 12 bits with chroma rounded half up.
  for (const Row& row :
       {Row{"black", {0, 0, 0}, {128, 16, 128, 16}, {512, 64, 512}},
        Row{"white", {65535, 65535, 65535}, {128, 235, 128, 235}, {512, 940, 512}},
        Row{"red", {65535, 0, 0}, {102, 63, 240, 63}, {409, 250, 960}}, Row{"green", {0, 65535, 0}, {42, 173, 26, 173}, {167, 691, 105}},
        Row{"blue", {0, 0, 65535}, {240, 32, 118, 32}, {960, 127, 471}}}) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(Convert(UniformFrame(2, row.color), Format::kUyvy), row.uyvy);
    const uint32_t cb = row.cbYCr[0], y = row.cbYCr[1], cr = row.cbYCr[2];
    std::vector<uint32_t> words = {cb | y << 10 | cr << 20, y | cb << 10 | y << 20, cr | y << 10 | cb << 20, y | cr << 10 | y << 20};
    words.resize(32);
    EXPECT_EQ(As<uint32_t>(Convert(UniformFrame(6, row.color), Format::kV210)), words);
    EXPECT_EQ(As<uint32_t>(Convert(UniformFrame(1, row.color), Format::kV210)), words) << "the only pixel repeats";
  }
}

TEST(PixelFormat, FollowsTheFormulasForFramesOfAnySize) {
  for (const PackKernels& kernels : PackKernelVariants()) {
    if (!kernels.usable) continue;
    for (const int32_t width : {1, 2, 3, 5, 6, 7, 16, 17, 47, 48, 49, 53, 54, 96, 101, 1926, 1999}) {
      const Frame frame = RandomFrame(width, width % 5 + 1);
      for (const Format format : kFormats) {
        ASSERT_EQ(Convert(kernels, frame, format), Expected(frame, format)) << kernels.name << " " << Name(format, width);
      }
    }
  }
}

// Every 16-bit value once per channel, in different company.
TEST(PixelFormat, FollowsTheFormulasForEveryValue) {
  Frame frame = {256, 256, {}};
  for (uint32_t v = 0; v < 65536; ++v) {
    for (const uint32_t factor : {1u, 40503u, 24593u}) frame.samples.push_back(uint16_t(v * factor));
  }
  for (const PackKernels& kernels : PackKernelVariants()) {
    if (!kernels.usable) continue;
    for (const Format format : kFormats) ASSERT_EQ(Convert(kernels, frame, format), Expected(frame, format)) << kernels.name;
  }
}

TEST(PixelFormat, QuarterIsTheMeanOfFour) {
  // 1926 crosses the piece in which reduced rows are packed.
  for (const int32_t width : {2, 3, 4, 12, 13, 26, 100, 2 * 1926, 2 * 1926 + 1}) {
    const Frame frame = RandomFrame(width, 7);
    const Frame half = Reduced(frame);
    for (const Format format : {Format::kBgra8, Format::kBgra16, Format::kUyvy, Format::kV210, Format::kVuyaFloat}) {
      for (const PackKernels& kernels : PackKernelVariants()) {
        if (!kernels.usable) continue;
        ASSERT_EQ(Convert(kernels, frame, format, true), Expected(half, format)) << kernels.name << " " << Name(format, width);
      }
    }
    for (const Format format : {Format::kRgb48, Format::kRgb48ReadBack}) {
      EXPECT_EQ(Convert(frame, format, true), Expected(frame, format)) << "the frame as it is";
    }
  }
}

// Floats are not rounded to 16 bits on the way: 0, 0, 0, 1 gives a quarter of a step.
TEST(PixelFormat, QuarterOfFloatsKeepsFractions) {
  const Frame frame = {2, 2, {0, 65535, 4, 0, 65535, 8, 0, 65535, 12, 1, 65535, 16}};
  const std::vector<float> pixel = As<float>(Convert(frame, Format::kBgraFloat, true));
  ASSERT_EQ(pixel.size(), 4u);
  EXPECT_FLOAT_EQ(pixel[0], 10.0f / 65535);
  EXPECT_EQ(pixel[1], 1);
  EXPECT_FLOAT_EQ(pixel[2], 0.25f / 65535);
  EXPECT_EQ(pixel[3], 1);
  for (int32_t width = 2; width < 100; ++width) {
    const Frame any = RandomFrame(width, 4);
    const Bytes plainBytes = Convert(any, Format::kBgraFloat, true);
    for (const PackKernels& kernels : PackKernelVariants()) {
      if (!kernels.usable) continue;
      ASSERT_EQ(Convert(kernels, any, Format::kBgraFloat, true), plainBytes) << kernels.name << " " << width;
    }
  }
}

TEST(PixelFormat, BandsCoverEveryRowOnceAndLeavePaddingAlone) {
  for (const Format format : kFormats) {
    for (const int32_t height : {1, 7, 18}) {
      const Frame frame = RandomFrame(26, height);
      const size_t rowBytes = size_t(FormatRowBytes(format, frame.width)), padding = 5;
      const Bytes packed = Expected(frame, format);
      Bytes padded;
      for (size_t at = 0; at < packed.size(); at += rowBytes) {
        padded.insert(padded.end(), &packed[at], &packed[at] + rowBytes);
        padded.insert(padded.end(), padding, kUntouched);
      }
      for (int parts = 1; parts <= 19; ++parts) {
        ASSERT_EQ(Convert(GetPackKernels(), frame, format, false, parts, padding), padded) << Name(format, height) << " parts " << parts;
      }
    }
  }
}

TEST(PixelFormat, BandWritesOnlyItsOwnRows) {
  const Frame frame = RandomFrame(8, 10);
  Bytes whole(size_t(8 * 4 * 10), kUntouched);
  ConvertRows(frame.samples.data(), 8, 10, Format::kBgra8, whole.data(), 32, false, 1, 4);  // rows 2 … 4
  const Bytes all = Expected(frame, Format::kBgra8);
  for (size_t i = 0; i < whole.size(); ++i) EXPECT_EQ(whole[i], i / 32 >= 2 && i / 32 < 5 ? all[i] : kUntouched) << i;
}

TEST(PixelFormat, EmptyFramesWriteNothing) {
  for (const Format format : kFormats) {
    ConvertRows(nullptr, 0, 10, format, nullptr, 0, false, 0, 1);
    ConvertRows(nullptr, 10, 0, format, nullptr, 0, false, 0, 1);
    if (format != Format::kRgb48 && format != Format::kRgb48ReadBack) ConvertRows(nullptr, 1, 10, format, nullptr, 0, true, 0, 1);
  }
}

}  // namespace
}  // namespace qx
