#include "platform/path.h"

#include <windows.h>

namespace qx {

std::u16string LowercaseUtf16(std::u16string_view text) {
  std::wstring lower(text.begin(), text.end());
  CharLowerBuffW(lower.data(), DWORD(lower.size()));
  return std::u16string(lower.begin(), lower.end());
}

}  // namespace qx
