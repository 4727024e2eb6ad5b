// Which instruction sets the kernels may use. Read once per process.
#pragma once

namespace qx {

struct CpuFeatures {
  bool sse41 = false;
  bool sse42 = false;
  bool bmi = false;     // BMI1 and BMI2
  bool avx2 = false;    // with the operating system saving the wide registers
  bool avx512 = false;  // F, BW, DQ, VL, likewise
};

const CpuFeatures& GetCpuFeatures();

/// Logical processors that the operating system reports, at least 1.
int ProcessorCount();

}  // namespace qx
