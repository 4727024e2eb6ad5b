// Texts between the model, which speaks UTF-8, and Windows.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "base/utf.h"

namespace qx {

inline std::wstring ToWide(std::string_view utf8) {
  const std::u16string text = Utf16FromUtf8(utf8);
  return std::wstring(text.begin(), text.end());
}

inline std::string WindowText(HWND window) {
  std::wstring text(size_t(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(size_t(GetWindowTextW(window, text.data(), int(text.size()))));
  return Utf8FromUtf16(std::u16string(text.begin(), text.end()));
}

}  // namespace qx
