// UTF-16 is the host's text, UTF-8 is ours.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qx {

/// Unpaired surrogates become U+FFFD.
std::string Utf8FromUtf16(std::u16string_view text);
/// Malformed sequences become U+FFFD.
std::u16string Utf16FromUtf8(std::string_view text);

/// The same for text that must be whole: nothing when it has an unpaired surrogate or a malformed sequence.
std::optional<std::string> StrictUtf8FromUtf16(std::u16string_view text);
std::optional<std::u16string> StrictUtf16FromUtf8(std::string_view text);

}  // namespace qx
