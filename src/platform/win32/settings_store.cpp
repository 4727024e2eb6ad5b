#include "platform/settings_store.h"

#include <windows.h>

#include "platform/win32/wide_text.h"

namespace qx {

namespace {

constexpr const wchar_t* kKey = L"Software\\qorixcam\\Premiere";

}  // namespace

std::optional<size_t> ReadUserSetting(const char* name, std::span<uint8_t> out) {
  DWORD size = DWORD(out.size());
  // A value of another type, or one that is longer than the buffer, is an error and leaves the buffer's content undefined.
  const LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, kKey, WideFromUtf8(name).c_str(), RRF_RT_REG_BINARY, nullptr, out.data(), &size);
  if (status != ERROR_SUCCESS) return std::nullopt;
  return size;
}

bool WriteUserSetting(const char* name, std::span<const uint8_t> value) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, kKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr, &key, nullptr) !=
      ERROR_SUCCESS) {
    return false;
  }
  const LSTATUS status = RegSetValueExW(key, WideFromUtf8(name).c_str(), 0, REG_BINARY, value.data(), DWORD(value.size()));
  RegCloseKey(key);
  return status == ERROR_SUCCESS;
}

}  // namespace qx
