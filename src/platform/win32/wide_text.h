// Windows's own text: UTF-16 in wchar_t.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace qx {

/// Malformed sequences become U+FFFD.
std::wstring WideFromUtf8(std::string_view text);
/// Unpaired surrogates become U+FFFD.
std::string Utf8FromWide(std::wstring_view text);

/// The path as CreateFileW and its like take it, also when it is longer than the 260 characters that plain paths may have.
std::wstring SystemPath(const std::filesystem::path& path);

}  // namespace qx
