// Which instruction sets the kernels may use. Read once per process.
#pragma once

#include <cstddef>
#include <span>

namespace qx {

struct CpuFeatures {
  bool sse41 = false;
  bool sse42 = false;
  bool bmi = false;     // BMI1 and BMI2
  bool avx2 = false;    // with the operating system saving the wide registers
  bool avx512 = false;  // F, BW, DQ, VL, likewise
};

const CpuFeatures& GetCpuFeatures();

/// The last of `variants` that is usable here and that `suits` accepts, else the first. Lists of kernels begin with the one that runs
/// everywhere and end with the fastest.
template <typename Variant, typename Suits>
const Variant& FastestVariant(std::span<const Variant> variants, Suits suits) {
  size_t i = variants.size();
  while (--i > 0 && !(variants[i].usable && suits(variants[i]))) {
  }
  return variants[i];
}
template <typename Variant>
const Variant& FastestVariant(std::span<const Variant> variants) {
  return FastestVariant(variants, [](const Variant&) { return true; });
}

/// Logical processors that the operating system reports, at least 1.
int ProcessorCount();

}  // namespace qx
