#include "base/utf.h"

#include <cstdint>

namespace qx {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t c) {
  return c >= 0xD800 && c < 0xDC00;
}
bool IsLowSurrogate(char32_t c) {
  return c >= 0xDC00 && c < 0xE000;
}

void AppendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += char(c);
  } else if (c < 0x800) {
    out += char(0xC0 | c >> 6);
    out += char(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += char(0xE0 | c >> 12);
    out += char(0x80 | (c >> 6 & 0x3F));
    out += char(0x80 | (c & 0x3F));
  } else {
    out += char(0xF0 | c >> 18);
    out += char(0x80 | (c >> 12 & 0x3F));
    out += char(0x80 | (c >> 6 & 0x3F));
    out += char(0x80 | (c & 0x3F));
  }
}

void AppendUtf16(std::u16string& out, char32_t c) {
  if (c < 0x10000) {
    out += char16_t(c);
  } else {
    out += char16_t(0xD800 + ((c - 0x10000) >> 10));
    out += char16_t(0xDC00 + ((c - 0x10000) & 0x3FF));
  }
}

// Decodes one character at `at` and moves past it. A malformed sequence gives nothing and moves past its first byte only.
std::optional<char32_t> DecodeUtf8(std::string_view text, size_t& at) {
  const auto byte = [&](size_t i) { return i < text.size() ? uint8_t(text[i]) : uint8_t(0); };
  const uint8_t lead = byte(at);
  const int length = lead < 0x80                   ? 1
                     : lead >= 0xF0 && lead < 0xF5 ? 4
                     : lead >= 0xE0 && lead < 0xF0 ? 3
                     : lead >= 0xC2 && lead < 0xE0 ? 2
                                                   : 0;
  if (length == 1) return char32_t(text[at++]);
  char32_t c = length == 2 ? lead & 0x1F : length == 3 ? lead & 0x0F : lead & 0x07;
  for (int i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) {
      ++at;
      return std::nullopt;
    }
    c = c << 6 | (byte(at + i) & 0x3F);
  }
  const bool overlong = (length == 3 && c < 0x800) || (length == 4 && c < 0x10000);
  if (length == 0 || overlong || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) {
    ++at;
    return std::nullopt;
  }
  at += length;
  return c;
}

// Reads one character at `at` and moves past it; an unpaired surrogate gives nothing.
std::optional<char32_t> DecodeUtf16(std::u16string_view text, size_t& at) {
  const char32_t c = text[at++];
  if (IsHighSurrogate(c) && at < text.size() && IsLowSurrogate(text[at])) {
    return 0x10000 + ((c - 0xD800) << 10) + (text[at++] - 0xDC00);
  }
  return IsHighSurrogate(c) || IsLowSurrogate(c) ? std::nullopt : std::optional(c);
}

}  // namespace

std::string Utf8FromUtf16(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t at = 0; at < text.size();) AppendUtf8(out, DecodeUtf16(text, at).value_or(kReplacement));
  return out;
}

std::u16string Utf16FromUtf8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (size_t at = 0; at < text.size();) AppendUtf16(out, DecodeUtf8(text, at).value_or(kReplacement));
  return out;
}

std::optional<std::string> StrictUtf8FromUtf16(std::u16string_view text) {
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const std::optional<char32_t> c = DecodeUtf16(text, at);
    if (!c) return std::nullopt;
    AppendUtf8(out, *c);
  }
  return out;
}

std::optional<std::u16string> StrictUtf16FromUtf8(std::string_view text) {
  std::u16string out;
  for (size_t at = 0; at < text.size();) {
    const std::optional<char32_t> c = DecodeUtf8(text, at);
    if (!c) return std::nullopt;
    AppendUtf16(out, *c);
  }
  return out;
}

}  // namespace qx
