// Values of the command line that are more than one number. Each returns nothing when the text is not of the form.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "samples/damage.h"
#include "samples/dng_writer.h"
#include "samples/recording_writer.h"

namespace tool {

/// "10,20,30": whole numbers that are not negative, separated by `separator`.
std::optional<std::vector<int64_t>> ParseNumbers(std::string_view text, char separator);

/// "1920x1080".
std::optional<std::pair<int, int>> ParseSize(std::string_view text);

/// "24000/1001", "25", "29.97": decimals that are within 0.005 of a whole rate × 1000/1001 mean that rate.
std::optional<qx::SampleRate> ParseFrameRate(std::string_view text);

/// "RGGB" and the other three.
std::optional<std::array<uint8_t, 4>> ParseCfa(std::string_view text);

/// "sensor", "local:86400" or "utc:86400" (frames from midnight).
std::optional<qx::DngPrivateTimecode> ParseTimecodeMark(std::string_view text);

/// "KEY:VALUE", split at the first colon.
std::optional<std::pair<std::string, std::string>> ParseCommentLine(std::string_view text);

/// "1000000" bytes or "60%".
std::optional<qx::CutPoint> ParseCutPoint(std::string_view text);

/// "1000:2000": begin and end.
std::optional<std::pair<uint64_t, uint64_t>> ParseRange(std::string_view text);

}  // namespace tool
