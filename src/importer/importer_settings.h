// Process-wide settings of the importer, read once from the environment.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/environment.h"

namespace qx {

struct ImporterSettings {
  std::string logPath;  // UTF-8, at most 259 bytes; empty: log off
  bool cpuOnly = false;
  bool slog3Narrow = false;  // S-Log3 told to the host as narrow range
  bool asyncOffered = false;
  bool tagFrames = true;                  // new frames get the host's colour-space id
  bool predefinedColorSpace = false;      // colour space told by name instead of H.273 codes
  std::vector<uint32_t> defaultFormats;   // FourCCs in order of preference, 2 or 3
  std::vector<uint32_t> explicitFormats;  // replaces the offered list when not empty, at most 16
};

/// Pure: nothing is switched on or logged.
ImporterSettings ReadImporterSettings(const EnvironmentLookup& lookup);

/// Parses a comma-separated list of FourCCs: only known ones of exactly four characters count, at most 16.
std::vector<uint32_t> ParseFormatList(const std::string& value);

/// Reads the environment at the first call of the process, switches the log and the processor-only flag and logs the settings; later calls
/// do nothing.
void InitImporterSettings();

/// The process's settings; defaults before InitImporterSettings. Read without a lock: written before the first clip is opened.
const ImporterSettings& Settings();

}  // namespace qx
