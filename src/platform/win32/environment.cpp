#include "platform/environment.h"

#include <windows.h>

#include "platform/win32/wide_text.h"

namespace qx {

std::optional<std::string> ReadEnvironment(const char* name, size_t bufferSize) {
  const std::wstring wideName = WideFromUtf8(name);
  std::wstring value(bufferSize, L'\0');
  SetLastError(ERROR_SUCCESS);
  // The length without the terminator when it fits, the size that it would take when it does not, 0 for an empty value and on failure.
  const DWORD length = GetEnvironmentVariableW(wideName.c_str(), value.data(), DWORD(bufferSize));
  if (length >= bufferSize || (length == 0 && GetLastError() != ERROR_SUCCESS)) return std::nullopt;
  value.resize(length);
  return Utf8FromWide(value);
}

}  // namespace qx
