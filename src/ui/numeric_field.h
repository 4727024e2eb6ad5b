// The number fields of the settings window: what their texts mean, and what a step does to them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qx {

struct NumericField {
  int editId = 0, spinId = 0;
  double step = 0, shiftStep = 0, controlStep = 0;
  double minimum = 0, maximum = 0;
  int decimals = 0;
  bool showsPlus = false;

  double Clamp(double value) const;
};

/// Exposure, temperature, tint, distortion, vignetting, in the window's order.
std::span<const NumericField> NumericFields();
/// Index into NumericFields() of the field with this edit or spin control; nothing for other controls.
std::optional<size_t> NumericFieldOf(int controlId);

/// The number at the start of the text, blanks before it skipped. A comma is read as a decimal point, U+2212 as a minus; no grouping, no
/// exponent, whatever the process's locale. Nothing when there is no digit. Only the first 64 bytes count.
std::optional<double> ParseNumber(std::string_view text);

/// Fixed decimals with a point, a plus where the field shows one; zero is never negative.
std::string FormatNumber(const NumericField& field, double value);

/// Keys held while a step is made; shift wins.
struct StepKeys {
  bool shift = false, control = false;
};

/// The field's text after `count` steps (negative: downwards) from what `text` says (0 when unreadable).
std::string StepText(const NumericField& field, std::string_view text, int count, StepKeys keys);

/// Collects the small turns of a mouse wheel until they make a step. One per field.
class WheelSum {
 public:
  /// Whole steps that are due after turning by `delta` (120 is one notch, positive away from the user). Turning back forgets the rest.
  int Turn(int delta);

 private:
  int sum_ = 0;
};

}  // namespace qx
