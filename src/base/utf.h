// UTF-16 is the host's text, UTF-8 is ours.
#pragma once

#include <string>
#include <string_view>

namespace qx {

/// Unpaired surrogates become U+FFFD.
std::string Utf8FromUtf16(std::u16string_view text);
/// Malformed sequences become U+FFFD.
std::u16string Utf16FromUtf8(std::string_view text);

}  // namespace qx
