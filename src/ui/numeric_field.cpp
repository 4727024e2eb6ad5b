#include "ui/numeric_field.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "ui/settings_layout.h"

namespace qx {

namespace {

constexpr NumericField kFields[] = {
    {kExposureEdit, kExposureSpin, 0.1, 0.01, 0.5, -4, 4, 2, true}, {kKelvinEdit, kKelvinSpin, 50, 10, 500, 2000, 15000, 0, false},
    {kTintEdit, kTintSpin, 1, 1, 10, -150, 150, 0, true},           {kDistortionEdit, kDistortionSpin, 1, 1, 10, 0, 100, 0, false},
    {kVignettingEdit, kVignettingSpin, 1, 1, 10, 0, 100, 0, false},
};
constexpr size_t kLongestNumber = 64;
constexpr std::string_view kMinusSign = "\u2212";
constexpr int kWheelNotch = 120;

bool IsDigit(char character) {
  return character >= '0' && character <= '9';
}

// The number's own characters, in the form that from_chars reads.
std::string PlainNumber(std::string_view text) {
  std::string number;
  while (!text.empty() && (text[0] == ' ' || text[0] == '\t')) text.remove_prefix(1);
  if (text.starts_with(kMinusSign) || text.starts_with('-')) {
    number = "-";
    text.remove_prefix(text[0] == '-' ? 1 : kMinusSign.size());
  } else if (text.starts_with('+')) {
    text.remove_prefix(1);
  }
  bool hasPoint = false;
  for (const char character : text) {
    const bool isPoint = !hasPoint && (character == '.' || character == ',');
    if (!isPoint && !IsDigit(character)) break;
    hasPoint |= isPoint;
    number += isPoint ? '.' : character;
  }
  return number;
}

}  // namespace

double NumericField::Clamp(double value) const {
  if (std::isnan(value)) value = 0;
  return std::clamp(value, minimum, maximum);
}

std::span<const NumericField> NumericFields() {
  return kFields;
}

std::optional<size_t> NumericFieldOf(int controlId) {
  for (size_t i = 0; i < std::size(kFields); ++i) {
    if (kFields[i].editId == controlId || kFields[i].spinId == controlId) return i;
  }
  return std::nullopt;
}

std::optional<double> ParseNumber(std::string_view text) {
  const std::string number = PlainNumber(text.substr(0, kLongestNumber));
  double value = 0;
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), value, std::chars_format::fixed);
  if (parsed.ec != std::errc()) return std::nullopt;
  return value;
}

std::string FormatNumber(const NumericField& field, double value) {
  char digits[64];
  const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, field.decimals).ptr;
  std::string text(digits, end);
  if (text.starts_with('-') && text.find_first_of("123456789") == std::string::npos) text.erase(0, 1);
  return field.showsPlus && !text.starts_with('-') ? "+" + text : text;
}

std::string StepText(const NumericField& field, std::string_view text, int count, StepKeys keys) {
  const double step = keys.shift ? field.shiftStep : keys.control ? field.controlStep : field.step;
  double value = field.Clamp(ParseNumber(text).value_or(0) + count * step);
  if (field.step >= 1) value = std::round(value);
  return FormatNumber(field, value);
}

int WheelSum::Turn(int delta) {
  if ((delta > 0) != (sum_ > 0)) sum_ = 0;
  sum_ += delta;
  const int steps = sum_ / kWheelNotch;
  sum_ %= kWheelNotch;
  return steps;
}

}  // namespace qx
