// Small binary values of the current user that outlive the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace qx {

/// Where they are: on Windows binary values of the key "Software\qorixcam\Premiere" under HKEY_CURRENT_USER; elsewhere files of the folder
/// qorixcam/Premiere below $XDG_CONFIG_HOME, or below $HOME/.config when that is unset or no absolute path. `name` is a plain word.

/// Reads a whole value into `out`; its size, or nothing when it does not exist, cannot be read, is not binary data or does not fit. Any
/// thread.
std::optional<size_t> ReadUserSetting(const char* name, std::span<uint8_t> out);

/// Replaces a value, creating the place where it is kept. False when that failed: the old value is then still there, whole. A reader
/// beside it, in this or another process, sees the old value or the new one. Any thread.
[[nodiscard]] bool WriteUserSetting(const char* name, std::span<const uint8_t> value);

}  // namespace qx
