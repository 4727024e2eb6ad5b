// The per-clip development choices, their checks, and what sessions receive from them.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "base/message.h"
#include "develop/cube_lut.h"
#include "develop/develop_params.h"

namespace qx {

/// Copied by value. Ranges are checked by DeriveDevelopParams.
struct DevelopOptions {
  int32_t outputCurve = 0;  // 0 S-Log3, 1 DaVinci Intermediate, 2 Rec.709, 3 linear BT.2020; 4 and above only with a LUT
  int32_t slog3Narrow = 0;  // non-zero: report S-Log3 as narrow range; pixel values do not change
  int32_t cpuOnly = 0;
  char16_t lutPath[260] = {};  // zero-terminated; empty: no LUT
  float exposureEv = 0;        // stops
  int32_t whiteBalanceOn = 0;  // 0 as shot
  double kelvin = 0;
  double tint = 0;
  int32_t demosaic = 0;                              // 0 … 3
  int32_t warpPercent = 100, vignettePercent = 100;  // 0 … 100

  bool hasLut() const { return lutPath[0] != 0; }
};

void SetDefaultDevelopOptions(DevelopOptions* options);

/// The path of the LUT file without its terminator.
std::u16string_view LutTextOf(const DevelopOptions& options);

/// What validation derives: the session parameters, the output kind told to the host (kLut with a LUT), and the narrow flag.
struct DerivedOptions {
  DevelopParams params;
  OutputKind outputKind = OutputKind::kSLog3;
  bool slog3Narrow = false;
};

/// Checks `options` and derives the parameters. `lut` is the loaded LUT or null; it must outlive the parameters.
/// 0, or -1 with "output curve %d is not supported yet" or "bad demosaic %d"; `derived` is then unchanged.
[[nodiscard]] int DeriveDevelopParams(const DevelopOptions& options, const CubeLut* lut, DerivedOptions* derived, Message message);

/// CIE 1931 chromaticity of a colour temperature and tint (Robertson, 1968, with the DNG convention for the tint).
std::array<double, 2> WhitePointFromKelvinTint(double kelvin, double tint);

/// 0, or -1 with "cannot open the LUT", "cannot read the LUT" or the parser's message.
[[nodiscard]] int LoadLutFile(const std::filesystem::path& path, CubeLut* lut, Message message);

/// True when a change between the two needs the clip to be reopened: curve, range flag, processor-only flag, or LUT against no LUT.
bool NeedsReopen(const DevelopOptions& inForce, const DevelopOptions& wanted);

}  // namespace qx
