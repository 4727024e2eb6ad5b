// The inside of the plug-in's settings block, read and written without the plug-in: from the description of its bytes alone, so that it
// can bear witness.
#pragma once

#include <cstdint>
#include <string>

#include "standin/host_prefs.h"

namespace standin {

struct BlockSettings {
  uint32_t version = 3;
  uint32_t generation = 0;  // how often the settings were confirmed; 0: never
  int32_t curve = 0;        // 0 S-Log3, 1 DaVinci Intermediate, 2 Rec.709, 3 linear
  bool cpuOnly = false;
  bool narrowRange = false;
  int32_t demosaic = 0;  // 0 gradient-corrected, 1 AHD, 2 bilinear, 3 AHD with colour noise reduction
  int32_t warpPercent = 100, vignettePercent = 100;
  bool whiteBalanceOn = false;  // off: as shot
  float exposureEv = 0;
  double kelvin = 0, tint = 0;
  std::string lutPath;  // UTF-8; empty: none
};

/// False when the bytes are no settings block.
bool ReadBlock(const PrefsBlock& block, BlockSettings* settings);

/// Writes the settings into a block of at least 76 bytes, version 3, the rest cleared. False when the LUT's path does not fit.
bool WriteBlock(const BlockSettings& settings, PrefsBlock* block);

}  // namespace standin
