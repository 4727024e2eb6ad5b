#include "settings_text.h"

#include <fmt/core.h>

#include <charconv>
#include <optional>
#include <string_view>

namespace tool {

const char* const kSettingsKeysHelp =
    "Settings for --set:\n"
    "  exposure=STOPS          -4 … +4\n"
    "  curve=NAME              slog3, di, rec709 or linear\n"
    "  wb=KELVIN,TINT          a white balance of your own; wb=as-shot for the camera's\n"
    "  demosaic=NAME           mhc, ahd, bilinear or ahd-denoise\n"
    "  warp=PERCENT            lens distortion correction, 0 … 100\n"
    "  vignette=PERCENT        vignetting correction, 0 … 100\n"
    "  cpu=on|off              develop on the processor only";

namespace {

struct NamedValue {
  const char* name;
  int32_t value;
  const char* words;
};
constexpr NamedValue kCurves[] = {{"slog3", 0, "S-Log3 / S-Gamut3.Cine"},
                                  {"di", 1, "DaVinci Intermediate / Wide Gamut"},
                                  {"rec709", 2, "Rec.709"},
                                  {"linear", 3, "linear BT.2020"}};
constexpr NamedValue kDemosaics[] = {{"mhc", 0, "gradient-corrected 5 x 5"},
                                     {"ahd", 1, "AHD"},
                                     {"bilinear", 2, "bilinear"},
                                     {"ahd-denoise", 3, "AHD with colour noise reduction"}};

template <typename T>
std::optional<T> Number(std::string_view text) {
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  T value;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

template <typename T>
std::optional<T> NumberIn(std::string_view text, T low, T high) {
  const std::optional<T> value = Number<T>(text);
  return value && *value >= low && *value <= high ? value : std::nullopt;
}

template <size_t N>
std::optional<int32_t> Named(const NamedValue (&values)[N], std::string_view text) {
  for (const NamedValue& value : values) {
    if (text == value.name) return value.value;
  }
  return std::nullopt;
}

template <size_t N>
std::string Words(const NamedValue (&values)[N], int32_t wanted) {
  for (const NamedValue& value : values) {
    if (value.value == wanted) return fmt::format("{} ({})", value.words, value.name);
  }
  return fmt::format("unknown ({})", wanted);
}

template <typename T, typename Field>
bool Take(const std::optional<T>& value, Field* field) {
  if (value) *field = *value;
  return value.has_value();
}

bool TakeWhiteBalance(const std::string& text, standin::BlockSettings* settings) {
  if (text == "as-shot") {
    settings->whiteBalanceOn = false;
    return true;
  }
  const size_t comma = text.find(',');
  const std::string_view view = text;
  const std::optional<double> kelvin = NumberIn<double>(view.substr(0, comma), 1000, 50000);
  const std::optional<double> tint = comma == std::string::npos ? 0 : NumberIn<double>(view.substr(comma + 1), -150, 150);
  if (!kelvin || !tint) return false;
  settings->whiteBalanceOn = true;
  settings->kelvin = *kelvin;
  settings->tint = *tint;
  return true;
}

bool TakeSwitch(const std::string& text, bool* field) {
  *field = text == "on";
  return text == "on" || text == "off";
}

struct Key {
  const char* name;
  const char* expected;
  bool (*take)(const std::string& value, standin::BlockSettings* settings);
};
constexpr Key kKeys[] = {
    {"exposure", "stops from -4 to +4", [](auto& v, auto* s) { return Take(NumberIn<float>(v, -4, 4), &s->exposureEv); }},
    {"curve", "slog3, di, rec709 or linear", [](auto& v, auto* s) { return Take(Named(kCurves, v), &s->curve); }},
    {"wb", "as-shot, or KELVIN,TINT with 1000 … 50000 and -150 … 150", TakeWhiteBalance},
    {"demosaic", "mhc, ahd, bilinear or ahd-denoise", [](auto& v, auto* s) { return Take(Named(kDemosaics, v), &s->demosaic); }},
    {"warp", "a percentage from 0 to 100", [](auto& v, auto* s) { return Take(NumberIn<int32_t>(v, 0, 100), &s->warpPercent); }},
    {"vignette", "a percentage from 0 to 100", [](auto& v, auto* s) { return Take(NumberIn<int32_t>(v, 0, 100), &s->vignettePercent); }},
    {"cpu", "on or off", [](auto& v, auto* s) { return TakeSwitch(v, &s->cpuOnly); }},
};

}  // namespace

bool ApplyEdit(const std::string& text, standin::BlockSettings* settings, std::string* error) {
  const size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  for (const Key& key : kKeys) {
    if (name != key.name) continue;
    if (equals != std::string::npos && key.take(text.substr(equals + 1), settings)) return true;
    *error = fmt::format("\"{}\": {} is {}", text, key.name, key.expected);
    return false;
  }
  std::string names;
  for (const Key& key : kKeys) names += fmt::format("{}{}", names.empty() ? "" : ", ", key.name);
  *error = fmt::format("\"{}\": no such setting; there are {}", text, names);
  return false;
}

void PrintSettings(const standin::BlockSettings& settings) {
  const auto row = [](const char* name, const std::string& value) { fmt::print("  {:<14} {}\n", name, value); };
  row("confirmed", settings.generation == 0   ? "never"
                   : settings.generation == 1 ? "once (as imported)"
                                              : fmt::format("{} times", settings.generation));
  row("output curve", Words(kCurves, settings.curve));
  row("LUT", settings.lutPath.empty() ? "none" : settings.lutPath);
  row("exposure", fmt::format("{:+.2f} stops", settings.exposureEv));
  row("white balance", settings.whiteBalanceOn ? fmt::format("{:.0f} K, tint {:g}", settings.kelvin, settings.tint) : "as shot");
  row("debayering", Words(kDemosaics, settings.demosaic));
  row("distortion", fmt::format("{} % corrected", settings.warpPercent));
  row("vignetting", fmt::format("{} % corrected", settings.vignettePercent));
  row("develops on", settings.cpuOnly ? "the processor" : "the graphics processor where there is one");
}

}  // namespace tool
