// Paths: the host speaks UTF-16, log lines UTF-8, the operating system its own.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace qx {

std::filesystem::path PathFromUtf16(std::u16string_view text);
std::string Utf8FromPath(const std::filesystem::path& path);

/// The system's lowercase, character by character.
std::u16string LowercaseUtf16(std::u16string_view text);

}  // namespace qx
