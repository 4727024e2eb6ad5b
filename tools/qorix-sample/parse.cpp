#include "parse.h"

#include <charconv>
#include <cmath>
#include <string>

namespace tool {

namespace {

template <typename Number>
std::optional<Number> ParseWhole(std::string_view text) {
  Number value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || stop != text.data() + text.size() || value < 0) return std::nullopt;
  return value;
}

std::optional<qx::SampleRate> RateOf(double value) {
  if (!(value > 0.001 && value <= 1000)) return std::nullopt;
  const double whole = std::round(value);
  if (std::abs(value - whole) < 1e-6) return qx::SampleRate{uint32_t(whole), 1};
  const double ntsc = std::ceil(value);
  if (std::abs(value - ntsc * 1000 / 1001) < 0.005) return qx::SampleRate{uint32_t(ntsc) * 1000, 1001};
  return qx::SampleRate{uint32_t(std::lround(value * 1000)), 1000};
}

}  // namespace

std::optional<std::vector<int64_t>> ParseNumbers(std::string_view text, char separator) {
  std::vector<int64_t> numbers;
  for (;;) {
    const size_t end = text.find(separator);
    const auto number = ParseWhole<int64_t>(text.substr(0, end));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    if (end == std::string_view::npos) return numbers;
    text.remove_prefix(end + 1);
  }
}

std::optional<std::pair<int, int>> ParseSize(std::string_view text) {
  const size_t x = text.find('x');
  if (x == std::string_view::npos) return std::nullopt;
  const auto width = ParseWhole<int>(text.substr(0, x)), height = ParseWhole<int>(text.substr(x + 1));
  if (!width || !height) return std::nullopt;
  return std::pair(*width, *height);
}

std::optional<qx::SampleRate> ParseFrameRate(std::string_view text) {
  if (const size_t slash = text.find('/'); slash != std::string_view::npos) {
    const auto numerator = ParseWhole<int>(text.substr(0, slash)), denominator = ParseWhole<int>(text.substr(slash + 1));
    if (!numerator || !denominator || *numerator == 0 || *denominator == 0) return std::nullopt;
    return qx::SampleRate{uint32_t(*numerator), uint32_t(*denominator)};
  }
  double value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || stop != text.data() + text.size()) return std::nullopt;
  return RateOf(value);
}

std::optional<std::array<uint8_t, 4>> ParseCfa(std::string_view text) {
  static constexpr std::string_view kColors = "RGB";
  std::array<uint8_t, 4> cfa = {};
  if (text.size() != cfa.size()) return std::nullopt;
  for (size_t i = 0; i < cfa.size(); ++i) {
    const size_t color = kColors.find(text[i]);
    if (color == std::string_view::npos) return std::nullopt;
    cfa[i] = uint8_t(color);
  }
  return cfa;
}

std::optional<qx::DngPrivateTimecode> ParseTimecodeMark(std::string_view text) {
  if (text == "sensor") return qx::DngPrivateTimecode{0, 0};
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view source = text.substr(0, colon);
  const auto start = ParseWhole<int64_t>(text.substr(colon + 1));
  if (!start || (source != "local" && source != "utc")) return std::nullopt;
  return qx::DngPrivateTimecode{source == "local" ? 1 : 2, *start};
}

std::optional<std::pair<std::string, std::string>> ParseCommentLine(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0) return std::nullopt;
  return std::pair(std::string(text.substr(0, colon)), std::string(text.substr(colon + 1)));
}

std::optional<qx::CutPoint> ParseCutPoint(std::string_view text) {
  const bool percent = text.ends_with('%');
  if (percent) text.remove_suffix(1);
  const auto value = ParseWhole<int64_t>(text);
  if (!value || (percent && *value > 100)) return std::nullopt;
  return qx::CutPoint{uint64_t(*value), percent};
}

std::optional<std::pair<uint64_t, uint64_t>> ParseRange(std::string_view text) {
  const auto numbers = ParseNumbers(text, ':');
  if (!numbers || numbers->size() != 2 || (*numbers)[0] >= (*numbers)[1]) return std::nullopt;
  return std::pair(uint64_t((*numbers)[0]), uint64_t((*numbers)[1]));
}

}  // namespace tool
