#include "qorix/slice_predict.h"

#include <algorithm>

namespace qx {

namespace {

uint32_t MedianEdge(uint32_t left, uint32_t up, uint32_t upLeft) {
  const auto [low, high] = std::minmax(left, up);
  if (upLeft >= high) return low;
  if (upLeft <= low) return high;
  return left + up - upLeft;
}

uint32_t Predict(uint32_t left, uint32_t up, uint32_t upLeft, uint32_t upRight, uint32_t flatThreshold) {
  const auto [low, high] = std::minmax({left, up, upLeft, upRight});
  // The sum is limited before it is rounded: bright areas are predicted as 16,384.
  if (high - low <= flatThreshold) return (std::min(left + up + upLeft + upRight, 65535u) + 2) >> 2;
  return MedianEdge(left, up, upLeft);
}

}  // namespace

void ReconstructFromLeft(const uint16_t* residuals, uint32_t width, uint16_t* out) {
  for (uint32_t x = 0; x < std::min(width, 2u); ++x) out[x] = residuals[x];
  for (uint32_t x = 2; x < width; ++x) out[x] = uint16_t(out[x - 2] + Unzigzag(residuals[x]));
}

void ReconstructFromNeighbours(const uint16_t* residuals, const uint16_t* up, uint32_t width, uint32_t flatThreshold, uint16_t* out) {
  for (uint32_t x = 0; x < std::min(width, 2u); ++x) out[x] = uint16_t(up[x] + Unzigzag(residuals[x]));
  for (uint32_t x = 2; x < width; ++x) {
    const uint32_t upRight = x < width - 2 ? up[x + 2] : up[x];
    out[x] = uint16_t(Predict(out[x - 2], up[x], up[x - 2], upRight, flatThreshold) + Unzigzag(residuals[x]));
  }
}

}  // namespace qx
