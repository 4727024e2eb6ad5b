#include "tests/support/user_settings.h"

#include <windows.h>

namespace qx {

namespace {

std::wstring KeyOf(const std::string& place) {
  return L"Software\\qorix tests\\" + std::wstring(place.begin(), place.end());
}

}  // namespace

void UseSettingsPlace(const std::string& place) {
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_CURRENT_USER, KeyOf(place).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  RegOverridePredefKey(HKEY_CURRENT_USER, key);
  RegCloseKey(key);
}

void PutSetting(const std::string& place, const std::string& name, std::span<const uint8_t> value) {
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_CURRENT_USER, (KeyOf(place) + L"\\Software\\qorixcam\\Premiere").c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                  &key, nullptr);
  RegSetValueExW(key, std::wstring(name.begin(), name.end()).c_str(), 0, REG_BINARY, value.data(), DWORD(value.size()));
  RegCloseKey(key);
}

void RemoveSettingsPlace(const std::string& place) {
  RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
  RegDeleteTreeW(HKEY_CURRENT_USER, KeyOf(place).c_str());
}

}  // namespace qx
