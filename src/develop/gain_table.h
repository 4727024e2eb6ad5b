// Gain maps of a frame, ready to be applied: one set of points per CFA phase, vignette strength included.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "media/dng_info.h"

namespace qx {

/// Gain map of one CFA phase. Outside its area, and when `active` is false, the gain is 1.
struct PhaseGain {
  bool active = false;
  int32_t top = 0, left = 0, bottom = 0, right = 0;  // relative to the active area, bottom and right exclusive
  int32_t pointsV = 0, pointsH = 0;
  float spacingV = 0, spacingH = 0, originV = 0, originH = 0;
  std::vector<float> gains;  // pointsV × pointsH

  bool operator==(const PhaseGain&) const = default;
};

/// Phase order: (0,0), (0,1), (1,0), (1,1) relative to the active area.
struct GainTable {
  std::array<PhaseGain, 4> phase;
  bool active() const { return phase[0].active || phase[1].active || phase[2].active || phase[3].active; }
};

/// `vignetteStrength` 0 switches the maps off, between 0 and 1 each gain g > 0 becomes g to that power, 1 keeps them.
GainTable BuildGainTable(const DngInfo& camera, float vignetteStrength);

/// Position of a pixel among the points of one axis, 0 … points − 1. A spacing of 0 gives the first or the last point.
inline float GainPointPosition(int32_t pixel, int32_t activeSide, float origin, float spacing, int32_t points) {
  const float position = ((float(pixel) + 0.5f) / float(activeSide) - origin) / spacing;
  return position > 0 ? std::min(position, float(points - 1)) : 0.0f;
}

/// The gain of phase `phase` at pixel (x, y) of an active area of width × height: the plain formula, for reference and tests.
float GainAt(const PhaseGain& gain, int32_t x, int32_t y, int32_t activeWidth, int32_t activeHeight);

}  // namespace qx
