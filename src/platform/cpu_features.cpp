#include "platform/cpu_features.h"

namespace qx {

namespace {

CpuFeatures DetectCpuFeatures() {
  CpuFeatures features;
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  features.sse41 = __builtin_cpu_supports("sse4.1") != 0;
  features.sse42 = __builtin_cpu_supports("sse4.2") != 0;
  features.bmi = __builtin_cpu_supports("bmi") != 0 && __builtin_cpu_supports("bmi2") != 0;
  features.avx2 = __builtin_cpu_supports("avx2") != 0;
  features.avx512 = __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
                    __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0;
#endif
  return features;
}

}  // namespace

const CpuFeatures& GetCpuFeatures() {
  static const CpuFeatures features = DetectCpuFeatures();
  return features;
}

}  // namespace qx
