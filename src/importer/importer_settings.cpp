#include "importer/importer_settings.h"

#include <algorithm>
#include <atomic>

#include "base/ascii.h"
#include "host/pixel_formats.h"
#include "importer/diagnostic_log.h"
#include "importer/host_formats.h"

namespace qx {

namespace {

constexpr size_t kMaxExplicitFormats = 16;

bool IsSwitchedOn(const EnvironmentLookup& lookup, const char* name) {
  const std::optional<std::string> value = lookup(name, 8);
  return value && value->starts_with('1');
}

// Brings `wanted` to the front; what stood there takes its place.
void SwapToFront(std::vector<uint32_t>& formats, uint32_t wanted) {
  for (size_t i = 1; i < formats.size(); ++i) {
    if (formats[i] == wanted) std::swap(formats[0], formats[i]);
  }
}

std::vector<uint32_t> DefaultFormats(const EnvironmentLookup& lookup) {
  std::vector<uint32_t> formats = {host::kBgra16, host::kBgraFloat, host::kBgra8};
  const std::optional<std::string> value = lookup("QORIX_IMPORT_FMT", 16);
  if (!value) return formats;
  if (EqualsIgnoringAsciiCase(*value, "no8")) {
    formats.pop_back();
  } else if (EqualsIgnoringAsciiCase(*value, "32f")) {
    SwapToFront(formats, host::kBgraFloat);
  } else if (EqualsIgnoringAsciiCase(*value, "8u")) {
    SwapToFront(formats, host::kBgra8);
  }
  return formats;
}

ImporterSettings& MutableSettings() {
  static ImporterSettings* const settings = new ImporterSettings(ReadImporterSettings([](const char*, size_t) { return std::nullopt; }));
  return *settings;
}

}  // namespace

std::vector<uint32_t> ParseFormatList(const std::string& value) {
  std::vector<uint32_t> formats;
  for (size_t at = 0; at < value.size() && formats.size() < kMaxExplicitFormats;) {
    const size_t comma = std::min(value.find(',', at), value.size());
    if (comma - at == 4) {
      const char text[5] = {value[at], value[at + 1], value[at + 2], value[at + 3], '\0'};
      const uint32_t format = host::PixelFourCC(text);
      if (FindHostFormat(format) != nullptr) formats.push_back(format);
    }
    at = comma + 1;
  }
  return formats;
}

ImporterSettings ReadImporterSettings(const EnvironmentLookup& lookup) {
  ImporterSettings settings;
  settings.logPath = lookup("QORIX_IMPORT_LOG", 260).value_or("");
  settings.cpuOnly = IsSwitchedOn(lookup, "QORIX_IMPORT_CPU");
  settings.slog3Narrow = IsSwitchedOn(lookup, "QORIX_IMPORT_SLOG3_NARROW");
  settings.asyncOffered = IsSwitchedOn(lookup, "QORIX_IMPORT_ASYNC");
  settings.tagFrames = !lookup("QORIX_IMPORT_TAG", 8).value_or("").starts_with('0');
  settings.predefinedColorSpace = EqualsIgnoringAsciiCase(lookup("QORIX_IMPORT_CS", 16).value_or(""), "predef");
  settings.defaultFormats = DefaultFormats(lookup);
  settings.explicitFormats = ParseFormatList(lookup("QORIX_IMPORT_FMTLIST", 128).value_or(""));
  return settings;
}

void InitImporterSettings() {
  static std::atomic<bool> initialised{false};
  if (initialised.exchange(true)) return;
  ImporterSettings& settings = MutableSettings();
  settings = ReadImporterSettings(ReadEnvironment);
  SetLogPath(settings.logPath);
  SetCpuOnly(settings.cpuOnly);
  if (!settings.explicitFormats.empty()) {
    LogLine("formats from QORIX_IMPORT_FMTLIST: %d (first %.4s)", int(settings.explicitFormats.size()),
            reinterpret_cast<const char*>(settings.explicitFormats.data()));
  }
  LogLine("settings: async %s, tag %s, cpu %s, slog3 range %s, color space %s, formats %d (first %.4s)",
          settings.asyncOffered ? "on" : "off", settings.tagFrames ? "on" : "off", settings.cpuOnly ? "only" : "auto",
          settings.slog3Narrow ? "narrow" : "full", settings.predefinedColorSpace ? "predefined" : "H.273",
          int(settings.defaultFormats.size()), reinterpret_cast<const char*>(settings.defaultFormats.data()));
}

const ImporterSettings& Settings() {
  return MutableSettings();
}

}  // namespace qx
