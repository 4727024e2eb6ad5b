#include "develop/cpu/row_kernels.h"

#include <algorithm>

#include "develop/cpu/vector_limits.h"
#include "platform/cpu_features.h"

namespace qx {

namespace plain {

namespace {

constexpr float kOneOver65535 = 1.0f / 65535;

// Both sums of the 5 × 5 method are in units of 1/16.
uint16_t Round16th(int32_t sum) {
  return uint16_t(std::clamp((sum + 8) >> 4, 0, 65535));
}
uint16_t RoundQuarter(int32_t sum) {
  return uint16_t(std::clamp((sum + 2) >> 2, 0, 65535));
}

}  // namespace

void Unpack(const uint16_t* samples, const UnpackLevels& levels, const float* gains, uint16_t* out, int n) {
  for (int x = 0; x < n; ++x) {
    const int phase = x & 1;
    float v = AtLeast((float(samples[x]) - levels.black[phase]) / levels.range[phase], 0);
    if (gains != nullptr) v *= gains[x];
    v = AtLeast(v * levels.whiteBalance[phase], 0);
    out[x] = uint16_t(AtMost(v, 1) * 65535 + 0.5f);
  }
}

void Gradient(const uint16_t* const rows[5], uint16_t* own, uint16_t* green, uint16_t* opposite, int n) {
  const uint16_t *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
  for (int x = 0; x < n; x += 2) {
    const int32_t cross = b[x] + d[x] + c[x - 1] + c[x + 1];
    const int32_t diagonal = b[x - 1] + b[x + 1] + d[x - 1] + d[x + 1];
    const int32_t far = c[x - 2] + c[x + 2] + a[x] + e[x];
    own[x] = c[x];
    green[x] = Round16th(8 * c[x] + 4 * cross - 2 * far);
    opposite[x] = Round16th(12 * c[x] + 4 * diagonal - 3 * far);
  }
  for (int x = 1; x < n; x += 2) {
    const int32_t across = c[x - 1] + c[x + 1], farAcross = c[x - 2] + c[x + 2];
    const int32_t down = b[x] + d[x], farDown = a[x] + e[x];
    const int32_t common = 10 * c[x] - 2 * (b[x - 1] + b[x + 1] + d[x - 1] + d[x + 1]);
    own[x] = Round16th(common + 8 * across - 2 * farAcross + farDown);
    green[x] = c[x];
    opposite[x] = Round16th(common + 8 * down - 2 * farDown + farAcross);
  }
}

void Bilinear(const uint16_t* const rows[3], uint16_t* own, uint16_t* green, uint16_t* opposite, int n) {
  const uint16_t *b = rows[0], *c = rows[1], *d = rows[2];
  for (int x = 0; x < n; x += 2) {
    own[x] = c[x];
    green[x] = RoundQuarter(b[x] + d[x] + c[x - 1] + c[x + 1]);
    opposite[x] = RoundQuarter(b[x - 1] + b[x + 1] + d[x - 1] + d[x + 1]);
  }
  for (int x = 1; x < n; x += 2) {
    own[x] = RoundQuarter(2 * (c[x - 1] + c[x + 1]));
    green[x] = c[x];
    opposite[x] = RoundQuarter(2 * (b[x] + d[x]));
  }
}

void Color(const RgbRow& in, const ColorStep& step, float* const out[3], int n) {
  for (int x = 0; x < n; ++x) {
    const float r = float(in.r[x]) * kOneOver65535, g = float(in.g[x]) * kOneOver65535, b = float(in.b[x]) * kOneOver65535;
    for (int i = 0; i < 3; ++i) {
      const float* row = &step.matrix[size_t(3 * i)];
      out[i][x] = AtLeast((row[0] * r + row[1] * g + row[2] * b) * step.gain, 0);
    }
  }
}

void Halve(const float* above, const float* below, float* out, int n) {
  for (int x = 0; x < n; ++x) out[x] = ((above[2 * x] + below[2 * x]) + (above[2 * x + 1] + below[2 * x + 1])) * 0.25f;
}

}  // namespace plain

std::span<const RowKernels> RowKernelVariants() {
  static const RowKernels variants[] = {
    {"plain", true, plain::Unpack, plain::Gradient, plain::Bilinear, plain::Color, plain::Halve, plain::WarpPoints, plain::Footprints,
     plain::ToTexels, plain::AverageTexels, plain::EncodeCurve, plain::ApplyCurve, plain::EncodeLut, plain::EncodeLinear},
#if defined(__x86_64__)
    {"avx2", GetCpuFeatures().avx2, avx2::Unpack, avx2::Gradient, avx2::Bilinear, avx2::Color, avx2::Halve, avx2::WarpPoints,
     avx2::Footprints, avx2::ToTexels, avx2::AverageTexels, avx2::EncodeCurve, avx2::ApplyCurve, avx2::EncodeLut, avx2::EncodeLinear},
#endif
  };
  return variants;
}

const RowKernels& GetRowKernels() {
  static const RowKernels& chosen = FastestVariant(RowKernelVariants());
  return chosen;
}

}  // namespace qx
