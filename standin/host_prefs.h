// The host's part in a clip's settings: it asks for a block of bytes, keeps it, and shows it to the plug-in again. What is in it is the
// plug-in's business (prefs_block.h knows).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standin/plugin.h"

namespace standin {

/// As a project file keeps it.
using PrefsBlock = std::vector<uint8_t>;

/// imGetPrefs8 as at import: first without a block, for its size, then with the block and the first-time flag. The plug-in's last answer;
/// `block` is filled when that is 0.
int32_t AskFirstPrefs(const Plugin& plugin, const std::string& path, PrefsBlock* block);

/// imGetPrefs8 as when the user opens the clip's source settings. 0: `block` holds what the user chose. 300: cancelled, or no window could
/// be shown.
int32_t OpenSettings(const Plugin& plugin, const std::string& path, PrefsBlock* block);

/// The same for one placed instance of an open clip: imGetInstancePrefs.
int32_t OpenInstanceSettings(const Plugin& plugin, const std::string& path, qx::host::Handle privateData, PrefsBlock* block);

}  // namespace standin
