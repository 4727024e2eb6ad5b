#include "tests/support/user_settings.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

namespace qx {

namespace {

std::filesystem::path FolderOf(const std::string& place) {
  return std::filesystem::path(testing::TempDir()) / place;
}

}  // namespace

void UseSettingsPlace(const std::string& place) {
  setenv("XDG_CONFIG_HOME", FolderOf(place).c_str(), 1);
}

void PutSetting(const std::string& place, const std::string& name, std::span<const uint8_t> value) {
  const std::filesystem::path folder = FolderOf(place) / "qorixcam" / "Premiere";
  std::filesystem::create_directories(folder);
  std::ofstream(folder / name, std::ios::binary).write(reinterpret_cast<const char*>(value.data()), std::streamsize(value.size()));
}

void RemoveSettingsPlace(const std::string& place) {
  std::filesystem::remove_all(FolderOf(place));
  unsetenv("XDG_CONFIG_HOME");
}

}  // namespace qx
