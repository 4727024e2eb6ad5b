#include "qorix/mean_kernels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

#include "platform/cpu_features.h"

namespace qx {

namespace {

// The functions below are compiled once for each instruction set, as loops that the compiler turns into vectors: no branches, no calls.

/// e^y for −kErfSaturation² ≤ y ≤ 0, within two units in the last place: y = n·ln 2 + r, and Taylor's series for e^r up to r^12.
[[gnu::always_inline]] inline double ExpOfSmall(double y) {
  constexpr double kRounder = 0x1.8p52;  // a sum with it has the integer nearest to the other addend in its low bits
  constexpr double kLog2E = 0x1.71547652b82fep0;
  constexpr double kLn2High = 0x1.62e42fefa38p-1, kLn2Low = 0x1.ef35793c7673p-45;  // n · kLn2High is exact
  const double rounded = y * kLog2E + kRounder;
  const double n = rounded - kRounder;
  const double r = (y - n * kLn2High) - n * kLn2Low;
  double series = 1.0 / 479001600;
  series = series * r + 1.0 / 39916800;
  series = series * r + 1.0 / 3628800;
  series = series * r + 1.0 / 362880;
  series = series * r + 1.0 / 40320;
  series = series * r + 1.0 / 5040;
  series = series * r + 1.0 / 720;
  series = series * r + 1.0 / 120;
  series = series * r + 1.0 / 24;
  series = series * r + 1.0 / 6;
  series = series * r + 0.5;
  series = series * r + 1;
  series = series * r + 1;
  return std::bit_cast<double>(std::bit_cast<uint64_t>(series) + (std::bit_cast<uint64_t>(rounded) << 52));  // times 2^n
}

/// Abramowitz and Stegun, 7.1.26: erf within 1.5e-7, for |z| ≤ kErfSaturation.
[[gnu::always_inline]] inline double Erf(double z) {
  const double magnitude = std::abs(z);
  const double t = 1 / (1 + 0.3275911 * magnitude);
  const double series = t * (0.254829592 + t * (-0.284496736 + t * (1.421413741 + t * (-1.453152027 + t * 1.061405429))));
  return std::copysign(1 - series * ExpOfSmall(-(magnitude * magnitude)), z);
}

[[gnu::always_inline]] inline void Add(const double* edges, size_t count, const TrueValue& value, double* __restrict cdf,
                                       double* __restrict numerators, double* __restrict denominators) {
  const double x = value.x, scale = value.scale, weight = value.weight, weightedX = x * weight;
  count -= count % kMeanLanes;  // tells the compiler that whole vectors do
  for (size_t i = 0; i < count; ++i) {
    const double z = (edges[i] - x) * scale, notAbove = z < kErfSaturation ? z : kErfSaturation;
    cdf[i] = notAbove > -kErfSaturation ? notAbove : -kErfSaturation;
  }
  for (size_t i = 0; i < count; ++i) cdf[i] = 0.5 * (1 + Erf(cdf[i]));
  cdf[count] = 1;
  for (size_t i = 0; i < count; ++i) {
    const double difference = cdf[i + 1] - cdf[i];
    const double probability = difference > 0 ? difference : 0;
    numerators[i] += weightedX * probability;
    denominators[i] += weight * probability;
  }
}

void AddPlain(const double* edges, size_t count, const TrueValue& value, double* cdf, double* numerators, double* denominators) {
  Add(edges, count, value, cdf, numerators, denominators);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AddAvx2(const double* edges, size_t count, const TrueValue& value, double* cdf, double* numerators,
                                     double* denominators) {
  Add(edges, count, value, cdf, numerators, denominators);
}
[[gnu::target("avx512f,avx512dq,avx512vl")]] void AddAvx512(const double* edges, size_t count, const TrueValue& value, double* cdf,
                                                            double* numerators, double* denominators) {
  Add(edges, count, value, cdf, numerators, denominators);
}
#endif

}  // namespace

std::span<const MeanKernelVariant> mean_kernel_variants() {
#if defined(__x86_64__)
  static const std::array variants = {MeanKernelVariant{"plain", true, AddPlain}, MeanKernelVariant{"avx2", GetCpuFeatures().avx2, AddAvx2},
                                      MeanKernelVariant{"avx512", GetCpuFeatures().avx512, AddAvx512}};
#else
  static const std::array variants = {MeanKernelVariant{"plain", true, AddPlain}};
#endif
  return variants;
}

MeanKernel mean_kernel_selected() {
  MeanKernel selected = nullptr;
  for (const MeanKernelVariant& variant : mean_kernel_variants()) {
    if (variant.usable) selected = variant.add;
  }
  return selected;
}

}  // namespace qx
