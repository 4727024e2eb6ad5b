// Environment variables with the limits that each reader of one sets.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace qx {

/// The value of an environment variable as UTF-8, or nothing when it is unset or does not fit a buffer of `bufferSize` characters with its
/// terminator: such a value is not read at all.
std::optional<std::string> ReadEnvironment(const char* name, size_t bufferSize);

}  // namespace qx
