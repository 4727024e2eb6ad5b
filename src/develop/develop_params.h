// What a development session receives: the user's choices after validation.
#pragma once

#include <array>
#include <cstdint>

#include "develop/cube_lut.h"

namespace qx {

/// Debayer methods, as numbered in the stored settings.
enum class Demosaic : int32_t { kGradient5x5 = 0, kAhd = 1, kBilinear = 2, kAhdRefined = 3 };

/// The output encoding.
enum class OutputKind : int32_t { kLut = 0, kDaVinciIntermediate = 1, kSLog3 = 2, kRec709 = 3, kLinear = 4 };

struct DevelopParams {
  // Filled by the creator of a session.
  int32_t useGpu = 0;
  int32_t outputPass = 0, outputPassFloat = 0;
  int32_t slots = 0;
  // From the options.
  Demosaic demosaic = Demosaic::kGradient5x5;
  int32_t scaleCode = 0;                       // 0 full-size session, 2 half-size session (filled by the creator)
  float warpStrength = 1;                      // 0 … 1
  float vignetteStrength = 1;                  // 0 … 1
  float exposureEv = 0;                        // stops
  int32_t whiteBalanceOn = 0;                  // 1: use whitePoint, 0: as shot
  std::array<double, 2> whitePoint = {0, 0};   // CIE 1931 x, y
  const CubeLut* lut = nullptr;                // not owned; lives as long as the sessions
  OutputKind outputKind = OutputKind::kSLog3;  // never kLut: with a LUT the base kind stays here
  int32_t widthAlign = 8;
  int32_t useCurrentContext = 0;
};

}  // namespace qx
