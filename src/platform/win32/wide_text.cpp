#include "platform/win32/wide_text.h"

#include <windows.h>

#include "base/utf.h"

namespace qx {

namespace {

// Folders have a shorter limit than files (room for an 8.3 name), and this one keeps clear of both.
constexpr size_t kLongestPlainPath = 240;

std::wstring AbsolutePath(const std::wstring& path) {
  std::wstring absolute(size_t(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr)), L'\0');
  absolute.resize(GetFullPathNameW(path.c_str(), DWORD(absolute.size()), absolute.data(), nullptr));
  return absolute;
}

}  // namespace

std::wstring WideFromUtf8(std::string_view text) {
  const std::u16string wide = Utf16FromUtf8(text);
  return std::wstring(wide.begin(), wide.end());
}

std::string Utf8FromWide(std::wstring_view text) {
  return Utf8FromUtf16(std::u16string(text.begin(), text.end()));
}

std::wstring SystemPath(const std::filesystem::path& path) {
  const std::wstring& plain = path.native();
  if (plain.size() <= kLongestPlainPath || plain.starts_with(L"\\\\?\\") || plain.starts_with(L"\\\\.\\")) return plain;
  const std::wstring absolute = AbsolutePath(plain);
  if (absolute.starts_with(L"\\\\")) return L"\\\\?\\UNC" + absolute.substr(1);
  return L"\\\\?\\" + absolute;
}

}  // namespace qx
