#include "develop/gain_table.h"

#include <algorithm>
#include <cmath>

#include "base/checked.h"

namespace qx {

namespace {

constexpr uint32_t kLargestPosition = INT32_MAX;
// Point indexes stay exact in float. Cameras write a few dozen points.
constexpr uint32_t kMostPointsPerAxis = 1 << 20;

int32_t Position(uint32_t value) {
  return int32_t(std::min(value, kLargestPosition));
}

// True when the rows (or columns) from `first` on, `pitch` apart, are those of phase parity `parity`. A pitch of 1 covers both parities;
// wider than 2 would pick single sites out of a phase, which no colour filter array calls for: such maps are not applied.
bool Covers(uint32_t first, uint32_t pitch, uint32_t parity) {
  return pitch == 1 || (pitch == 2 && (first & 1) == parity);
}

bool HasAllPoints(const GainMap& map) {
  if (map.pointsV == 0 || map.pointsH == 0 || map.mapPlanes == 0) return false;
  if (map.pointsV > kMostPointsPerAxis || map.pointsH > kMostPointsPerAxis) return false;
  const auto values = CheckedMul(uint64_t(map.pointsV) * map.pointsH, map.mapPlanes);
  return values && *values <= map.gains.size();
}

// A gain that is not a number or infinite leaves the sample alone, a negative one makes it black.
float UsableGain(float gain, float strength) {
  if (!std::isfinite(gain)) return 1;
  if (gain <= 0) return 0;
  return strength < 1 ? float(std::pow(double(gain), double(strength))) : gain;  // in double: the same on every system
}

PhaseGain FromMap(const GainMap& map, float strength) {
  PhaseGain result;
  result.active = true;
  result.top = Position(map.top);
  result.left = Position(map.left);
  result.bottom = Position(map.bottom);
  result.right = Position(map.right);
  result.pointsV = int32_t(map.pointsV);
  result.pointsH = int32_t(map.pointsH);
  result.spacingV = float(map.spacingV);
  result.spacingH = float(map.spacingH);
  result.originV = float(map.originV);
  result.originH = float(map.originH);
  const size_t points = size_t(map.pointsV) * map.pointsH;
  result.gains.reserve(points);
  for (size_t i = 0; i < points; ++i) result.gains.push_back(UsableGain(map.gains[i * map.mapPlanes], strength));
  return result;
}

}  // namespace

GainTable BuildGainTable(const DngInfo& camera, float vignetteStrength) {
  GainTable table;
  if (!(vignetteStrength > 0)) return table;
  for (const GainMap& map : camera.gainMaps) {
    if (!HasAllPoints(map) || map.top >= map.bottom || map.left >= map.right) continue;
    for (uint32_t phase = 0; phase < 4; ++phase) {
      PhaseGain& gain = table.phase[phase];
      const bool covered = Covers(map.top, map.rowPitch, phase >> 1) && Covers(map.left, map.colPitch, phase & 1);
      if (covered && !gain.active) gain = FromMap(map, vignetteStrength);
    }
  }
  return table;
}

float GainAt(const PhaseGain& gain, int32_t x, int32_t y, int32_t activeWidth, int32_t activeHeight) {
  if (!gain.active || y < gain.top || y >= gain.bottom || x < gain.left || x >= gain.right) return 1;
  const float fy = GainPointPosition(y, activeHeight, gain.originV, gain.spacingV, gain.pointsV);
  const float fx = GainPointPosition(x, activeWidth, gain.originH, gain.spacingH, gain.pointsH);
  const int32_t y0 = int32_t(fy), x0 = int32_t(fx);
  const int32_t y1 = std::min(y0 + 1, gain.pointsV - 1), x1 = std::min(x0 + 1, gain.pointsH - 1);
  const float* upper = gain.gains.data() + size_t(y0) * gain.pointsH;
  const float* lower = gain.gains.data() + size_t(y1) * gain.pointsH;
  const float tx = fx - float(x0), ty = fy - float(y0);
  const float above = upper[x0] + (upper[x1] - upper[x0]) * tx;
  const float below = lower[x0] + (lower[x1] - lower[x0]) * tx;
  return above + (below - above) * ty;
}

}  // namespace qx
