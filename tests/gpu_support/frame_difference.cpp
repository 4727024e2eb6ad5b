#include "tests/gpu_support/frame_difference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qx {

namespace {

template <typename T>
double WorstDifference(const std::vector<T>& a, const std::vector<T>& b) {
  EXPECT_EQ(a.size(), b.size());
  double worst = 0;
  for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) worst = std::max(worst, std::abs(double(a[i]) - double(b[i])));
  return worst;
}

std::vector<int> V210Codes(const std::vector<uint8_t>& bytes) {
  std::vector<int> codes;
  for (const uint32_t word : ValuesOf<uint32_t>(bytes)) {
    codes.insert(codes.end(), {int(word & 1023), int(word >> 10 & 1023), int(word >> 20)});
  }
  return codes;
}

}  // namespace

double WorstStep(OutputPixelFormat format, const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  switch (format) {
    case OutputPixelFormat::kBgra8:
    case OutputPixelFormat::kUyvy:
      return WorstDifference(a, b);
    case OutputPixelFormat::kV210:
      return WorstDifference(V210Codes(a), V210Codes(b));
    case OutputPixelFormat::kBgraFloat:
    case OutputPixelFormat::kVuyaFloat:
      return WorstDifference(ValuesOf<float>(a), ValuesOf<float>(b)) * 65535;
    default:
      return WorstDifference(ValuesOf<uint16_t>(a), ValuesOf<uint16_t>(b));
  }
}

}  // namespace qx
