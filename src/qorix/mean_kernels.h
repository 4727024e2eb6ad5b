// The inner loop of the conditional means: how the values around one true value spread over the bins.
#pragma once

#include <cstddef>
#include <span>

namespace qx {

/// Lanes that a kernel works on at a time.
constexpr size_t kMeanLanes = 8;

/// From |z| = 6 on the approximation of erf is ±1 exactly: what it takes from 1 is below 2^-55. So an edge further away from a true value
/// than 6·√2 standard deviations has nothing of the distribution behind it.
constexpr double kErfSaturation = 6;

/// A true value x with normal noise.
struct TrueValue {
  double x = 0;
  double scale = 0;   // 1 / (σ·√2)
  double weight = 0;  // 1 / σ²
};

/// Adds, for each bin i of `count` (a multiple of kMeanLanes), weight·p to denominators[i] and x·weight·p to numerators[i], where p is the
/// probability of the noisy value to lie between edges[i] and edges[i + 1]. What follows the last edge counts as infinitely far away.
/// Edges may be infinite. `cdf` is scratch memory for count + 1 values. Any thread.
using MeanKernel = void (*)(const double* edges, size_t count, const TrueValue& value, double* cdf, double* numerators,
                            double* denominators);

struct MeanKernelVariant {
  const char* name;
  bool usable;
  MeanKernel add;
};
/// The first is plain; all are compiled from the same arithmetic and give identical sums.
std::span<const MeanKernelVariant> mean_kernel_variants();
/// The widest usable one.
MeanKernel mean_kernel_selected();

}  // namespace qx
