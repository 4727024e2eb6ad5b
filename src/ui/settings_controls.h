// What the controls of the settings window hold, and how that becomes development options and back.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "pipeline/develop_options.h"
#include "ui/numeric_field.h"

namespace qx {

constexpr size_t kNumericFieldCount = 5;

struct SettingsControls {
  int curve = 0, whiteBalance = 0, debayer = 0;       // selected rows; -1 none
  std::array<std::string, kNumericFieldCount> texts;  // in the order of NumericFields()
  bool processorOnly = false;
};

/// The controls that show `options`. Numbers outside a field's range are shown clamped, a temperature that was never set as 5600.
SettingsControls FillControls(const DevelopOptions& options);

/// Writes what the controls say into `options`; LUT path and range flag stay. An unreadable exposure keeps the value in `options`, an
/// unreadable temperature reads as 5600, tint as 0, strengths as 100.
void ReadControls(const SettingsControls& controls, DevelopOptions* options);

/// False when the path is longer than the options can hold (259 UTF-16 units); they are then unchanged.
[[nodiscard]] bool SetLutPath(const std::filesystem::path& path, DevelopOptions* options);

/// The part of a UTF-8 path after its last slash or backslash: recordings wander between systems, and so do their stored paths.
std::string_view FileNamePart(std::string_view path);

/// Position and time of a frame counted from 0, as "12 / 240    00:00:00:11". Without a usable rate, 30 or 1 frames per second.
std::string PositionText(int64_t frame, int64_t frameCount, int32_t fpsNumerator, int32_t fpsDenominator);

}  // namespace qx
