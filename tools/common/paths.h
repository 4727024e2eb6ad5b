// Paths in texts are UTF-8 on every system.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace tool {

std::filesystem::path PathOf(const std::string& utf8);

/// A check for an option that names a file: "" when it is there, else what to tell the user.
std::string CheckFileExists(const std::string& utf8);

/// Creates or empties the file for writing; null when that fails.
std::FILE* CreateBinaryFile(const std::filesystem::path& path);

}  // namespace tool
