// Environment variables with the limits that each reader of one sets.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace qx {

/// The value of an environment variable as UTF-8, or nothing when it is unset or does not fit a buffer of `bufferSize` characters with its
/// terminator: such a value is not read at all.
std::optional<std::string> ReadEnvironment(const char* name, size_t bufferSize);

/// ReadEnvironment, or what a test puts in its place.
using EnvironmentLookup = std::function<std::optional<std::string>(const char* name, size_t bufferSize)>;

}  // namespace qx
