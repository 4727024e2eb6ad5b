// Places for the user's settings that tests have to themselves.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace qx {

/// From now on the user's settings of this process lie at `place`, a plain word: a folder of that name among the temporary files, on
/// Windows a key of the registry. Processes that use the same place share it.
void UseSettingsPlace(const std::string& place);

/// Puts a value there as another program would, without the code under test.
void PutSetting(const std::string& place, const std::string& name, std::span<const uint8_t> value);

/// Removes the place with all that it holds, and lets this process's settings lie where they were.
void RemoveSettingsPlace(const std::string& place);

}  // namespace qx
