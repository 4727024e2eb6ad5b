#include "ui/settings_controls.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "base/utf.h"
#include "platform/path.h"

namespace qx {

namespace {

enum Field : size_t { kExposure, kKelvin, kTint, kDistortion, kVignetting };

constexpr double kUnsetKelvin = 5600;
constexpr int kCurveChoices = 4, kDebayerChoices = 4;

const NumericField& FieldAt(size_t index) {
  return NumericFields()[index];
}

std::string Show(size_t field, double value) {
  return FormatNumber(FieldAt(field), FieldAt(field).Clamp(value));
}

int SelectionFor(int32_t value, int choices) {
  return value >= 0 && value < choices ? value : -1;
}

double WholeNumber(const SettingsControls& controls, size_t field, double unreadable) {
  return FieldAt(field).Clamp(std::trunc(ParseNumber(controls.texts[field]).value_or(unreadable)));
}

}  // namespace

SettingsControls FillControls(const DevelopOptions& options) {
  SettingsControls controls;
  controls.curve = SelectionFor(options.outputCurve, kCurveChoices);
  controls.whiteBalance = options.whiteBalanceOn != 0 ? 1 : 0;
  controls.debayer = SelectionFor(options.demosaic, kDebayerChoices);
  controls.texts[kExposure] = Show(kExposure, options.exposureEv);
  controls.texts[kKelvin] = Show(kKelvin, options.kelvin > 0 ? std::round(options.kelvin) : kUnsetKelvin);
  controls.texts[kTint] = Show(kTint, std::round(options.tint));
  controls.texts[kDistortion] = Show(kDistortion, options.warpPercent);
  controls.texts[kVignetting] = Show(kVignetting, options.vignettePercent);
  controls.processorOnly = options.cpuOnly != 0;
  return controls;
}

void ReadControls(const SettingsControls& controls, DevelopOptions* options) {
  options->outputCurve = std::max(controls.curve, 0);
  options->exposureEv = float(FieldAt(kExposure).Clamp(ParseNumber(controls.texts[kExposure]).value_or(options->exposureEv)));
  options->whiteBalanceOn = controls.whiteBalance == 1 ? 1 : 0;
  options->kelvin = WholeNumber(controls, kKelvin, kUnsetKelvin);
  options->tint = WholeNumber(controls, kTint, 0) + 0.0;  // "-0" is 0
  options->demosaic = std::clamp(controls.debayer, 0, kDebayerChoices - 1);
  options->warpPercent = int32_t(WholeNumber(controls, kDistortion, 100));
  options->vignettePercent = int32_t(WholeNumber(controls, kVignetting, 100));
  options->cpuOnly = controls.processorOnly ? 1 : 0;
}

bool SetLutPath(const std::filesystem::path& path, DevelopOptions* options) {
  const std::u16string text = Utf16FromUtf8(Utf8FromPath(path));
  if (text.size() >= std::size(options->lutPath)) return false;
  std::fill(std::begin(options->lutPath), std::end(options->lutPath), u'\0');
  std::copy(text.begin(), text.end(), options->lutPath);
  return true;
}

std::string_view FileNamePart(std::string_view path) {
  const size_t separator = path.find_last_of("/\\");
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

std::string PositionText(int64_t frame, int64_t frameCount, int32_t fpsNumerator, int32_t fpsDenominator) {
  const int64_t denominator = std::max(fpsDenominator, 1);
  const int64_t numerator = fpsNumerator > 0 ? fpsNumerator : 30;
  const int64_t rate = std::max<int64_t>((numerator + denominator / 2) / denominator, 1);
  const int64_t seconds = frame / rate;
  char text[128];
  snprintf(text, sizeof text, "%" PRId64 " / %" PRId64 "    %02" PRId64 ":%02" PRId64 ":%02" PRId64 ":%02" PRId64, frame + 1, frameCount,
           seconds / 3600, seconds / 60 % 60, seconds % 60, frame % rate);
  return text;
}

}  // namespace qx
