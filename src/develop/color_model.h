// From a camera's colour tags to white-balance multipliers and a matrix into linear Rec.709 (DNG 1.7, chapter 6, with Bradford adaptation).
#pragma once

#include <array>
#include <cstdint>

#include "develop/develop_params.h"
#include "media/dng_info.h"

namespace qx {

/// Computed once per change of camera data; both development paths read it.
struct ColorState {
  /// Multipliers for red, green and blue; the largest channel of the neutral gets 1, the others at least 1.
  std::array<float, 3> whiteBalance = {1, 1, 1};
  /// Row-major: white-balanced camera RGB to linear Rec.709 (D65).
  std::array<float, 9> cameraToRec709 = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  /// Exposure gain: 2 to the power of (exposure + 1 + BaselineExposure).
  float gain = 1;
  /// Row-major integer matrix from camera RGB to XYZ scaled for the Lab tables of AHD; each element within ±8191.
  std::array<int32_t, 9> labMatrix = {};

  bool operator==(const ColorState&) const = default;
};

/// Any thread.
ColorState ComputeColorState(const DngInfo& camera, const DevelopParams& params);

}  // namespace qx
