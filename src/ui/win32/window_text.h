// The text of a window, between the model, which speaks UTF-8, and Windows.
#pragma once

#include <windows.h>

#include <string>

#include "platform/win32/wide_text.h"

namespace qx {

inline std::string WindowText(HWND window) {
  std::wstring text(size_t(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(size_t(GetWindowTextW(window, text.data(), int(text.size()))));
  return Utf8FromWide(text);
}

}  // namespace qx
