#include "develop/pack_rows.h"

#include <algorithm>
#include <cstring>

#include "platform/cpu_features.h"

namespace qx {

namespace plain {

namespace {

struct Rgb {
  int32_t r, g, b;
};

Rgb Pixel(const uint16_t* rgb, int32_t x) {
  return {rgb[3 * x], rgb[3 * x + 1], rgb[3 * x + 2]};
}

Rgb Mean(const Rgb& a, const Rgb& b) {
  return {(a.r + b.r + 1) >> 1, (a.g + b.g + 1) >> 1, (a.b + b.b + 1) >> 1};
}

// To 12 bits, which leaves the 8-bit formulas within 32 bits.
Rgb To12Bits(const Rgb& c) {
  return {c.r >> 4, c.g >> 4, c.b >> 4};
}

uint8_t To8Bits(uint32_t v) {
  return uint8_t((v * 255 + 32767) / 65535);
}
uint16_t ToWhite32768(uint32_t v) {
  return uint16_t((v * 32768 + 32767) / 65535);
}
float ToFloat(uint16_t v) {
  return float(v) / 65535;
}

// BT.709 in 1/65536; the weights add up to 65536.
int32_t Luma(const Rgb& c) {
  return int32_t((13933u * uint32_t(c.r) + 46871u * uint32_t(c.g) + 4732u * uint32_t(c.b) + 32768u) >> 16);
}

uint8_t Y8(const Rgb& c12) {
  return uint8_t((Luma(c12) * 219 + 16 * 4095 + 2047) / 4095);
}
// 128 and the rounding half, in 1/2^20.
uint8_t Chroma8(int32_t difference, int32_t weight) {
  return uint8_t(std::clamp((difference * weight + 134742016) >> 20, 0, 255));
}

// The codes 0 … 3 and 1020 … 1023 belong to the synchronisation words of the serial interface.
uint32_t Y10(const Rgb& c) {
  return uint32_t(std::clamp((Luma(c) * 876 + 64 * 65535 + 32767) / 65535, 4, 1019));
}
// 512 and the rounding half, in 1/2^20.
uint32_t Chroma10(int32_t difference, int32_t weight) {
  return uint32_t(std::clamp((difference * weight + 537395200) >> 20, 4, 1019));
}

struct Chroma {
  uint32_t cb, cr;
};

Chroma PairChroma10(const Rgb& a, const Rgb& b) {
  const Rgb mean = Mean(a, b);
  const int32_t luma = Luma(mean);
  return {Chroma10(mean.b - luma, 7726), Chroma10(mean.r - luma, 9104)};
}

void PutV210Group(const Rgb p[6], uint8_t* out) {
  const Chroma c0 = PairChroma10(p[0], p[1]), c2 = PairChroma10(p[2], p[3]), c4 = PairChroma10(p[4], p[5]);
  const uint32_t words[4] = {
      c0.cb | Y10(p[0]) << 10 | c0.cr << 20,
      Y10(p[1]) | c2.cb << 10 | Y10(p[2]) << 20,
      c2.cr | Y10(p[3]) << 10 | c4.cb << 20,
      Y10(p[4]) | c4.cr << 10 | Y10(p[5]) << 20,
  };
  std::memcpy(out, words, sizeof words);
}

}  // namespace

void PackBgra8(const uint16_t* rgb, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x, rgb += 3, out += 4) {
    out[0] = To8Bits(rgb[2]);
    out[1] = To8Bits(rgb[1]);
    out[2] = To8Bits(rgb[0]);
    out[3] = 255;
  }
}

void PackBgra16(const uint16_t* rgb, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x, rgb += 3) {
    const uint16_t pixel[4] = {ToWhite32768(rgb[2]), ToWhite32768(rgb[1]), ToWhite32768(rgb[0]), 32768};
    std::memcpy(out + 8 * int64_t(x), pixel, sizeof pixel);
  }
}

void PackBgraFloat(const uint16_t* rgb, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x, rgb += 3) {
    const float pixel[4] = {ToFloat(rgb[2]), ToFloat(rgb[1]), ToFloat(rgb[0]), 1};
    std::memcpy(out + 16 * int64_t(x), pixel, sizeof pixel);
  }
}

void PackUyvy(const uint16_t* rgb, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; x += 2, out += 4) {
    const bool hasPartner = x + 1 < width;
    const Rgb a = To12Bits(Pixel(rgb, x)), b = hasPartner ? To12Bits(Pixel(rgb, x + 1)) : a;
    const Rgb mean = Mean(a, b);
    const int32_t luma = Luma(mean);
    out[0] = Chroma8(mean.b - luma, 30911);
    out[1] = Y8(a);
    if (!hasPartner) break;
    out[2] = Chroma8(mean.r - luma, 36423);
    out[3] = Y8(b);
  }
}

void PackV210(const uint16_t* rgb, uint8_t* out, int32_t width) {
  PackV210From(0, rgb, out, width);
}

void PackV210From(int32_t first, const uint16_t* rgb, uint8_t* out, int32_t width) {
  const auto rowBytes = int64_t(FormatRowBytes(OutputPixelFormat::kV210, width));
  int64_t at = int64_t(first) / 6 * 16;
  for (int32_t x = first; x < width; x += 6, at += 16) {
    Rgb group[6];
    for (int32_t i = 0; i < 6; ++i) group[i] = Pixel(rgb, std::min(x + i, width - 1));
    PutV210Group(group, out + at);
  }
  std::memset(out + at, 0, size_t(rowBytes - at));
}

void PackVuyaFloat(const uint16_t* rgb, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x, rgb += 3) {
    const float r = ToFloat(rgb[0]), g = ToFloat(rgb[1]), b = ToFloat(rgb[2]);
    const float y = 0.2126f * r + 0.7152f * g + 0.0722f * b;
    const float pixel[4] = {(r - y) * 0.63500127f, (b - y) * 0.53890925f, y, 1};
    std::memcpy(out + 16 * int64_t(x), pixel, sizeof pixel);
  }
}

void ReduceRows(const uint16_t* above, const uint16_t* below, uint16_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x, above += 6, below += 6, out += 3) {
    for (int c = 0; c < 3; ++c) out[c] = uint16_t((above[c] + above[c + 3] + below[c] + below[c + 3] + 2) >> 2);
  }
}

void PackBgraFloatMean(const uint16_t* above, const uint16_t* below, uint8_t* out, int32_t width) {
  for (int32_t x = 0; x < width; ++x, above += 6, below += 6) {
    const auto mean = [&](int c) {
      return (ToFloat(above[c]) + ToFloat(above[c + 3]) + ToFloat(below[c]) + ToFloat(below[c + 3])) * 0.25f;
    };
    const float pixel[4] = {mean(2), mean(1), mean(0), 1};
    std::memcpy(out + 16 * int64_t(x), pixel, sizeof pixel);
  }
}

}  // namespace plain

std::span<const PackKernels> PackKernelVariants() {
  static const PackKernels variants[] = {
    {"plain", true, plain::PackBgra8, plain::PackBgra16, plain::PackBgraFloat, plain::PackUyvy, plain::PackV210, plain::PackVuyaFloat,
     plain::ReduceRows, plain::PackBgraFloatMean},
#if defined(__x86_64__)
    {"avx2", GetCpuFeatures().avx2, avx2::PackBgra8, avx2::PackBgra16, avx2::PackBgraFloat, avx2::PackUyvy, avx2::PackV210,
     avx2::PackVuyaFloat, avx2::ReduceRows, avx2::PackBgraFloatMean},
#endif
  };
  return variants;
}

const PackKernels& GetPackKernels() {
  static const PackKernels& chosen = FastestVariant(PackKernelVariants());
  return chosen;
}

}  // namespace qx
