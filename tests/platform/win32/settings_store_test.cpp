#include "platform/settings_store.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <string>
#include <vector>

#include "tests/support/system.h"
#include "tests/support/user_settings.h"

namespace qx {
namespace {

constexpr const wchar_t* kKey = L"Software\\qorixcam\\Premiere";

class SettingsStoreTest : public testing::Test {
 protected:
  SettingsStoreTest() : place_("store_" + std::to_string(ProcessId())) { UseSettingsPlace(place_); }
  ~SettingsStoreTest() override { RemoveSettingsPlace(place_); }

  const std::string place_;
  std::array<uint8_t, 16> out_ = {};
};

TEST_F(SettingsStoreTest, KeepsTheLastValueAsBinaryDataOfTheUsersKey) {
  EXPECT_FALSE(ReadUserSetting("Defaults", out_).has_value());
  for (const std::vector<uint8_t>& value : {std::vector<uint8_t>(16, 1), std::vector<uint8_t>{7, 0, 9}}) {
    ASSERT_TRUE(WriteUserSetting("Defaults", value));
    const std::optional<size_t> size = ReadUserSetting("Defaults", out_);
    ASSERT_EQ(size, value.size());
    EXPECT_EQ(std::vector<uint8_t>(out_.begin(), out_.begin() + ptrdiff_t(*size)), value);
  }
  DWORD type = 0, size = 0;
  EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, kKey, L"Defaults", RRF_RT_ANY, &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, DWORD(REG_BINARY));
  EXPECT_EQ(size, 3u);
}

TEST_F(SettingsStoreTest, RefusesValuesThatDoNotFitAndOtherTypes) {
  ASSERT_TRUE(WriteUserSetting("Defaults", std::vector<uint8_t>(17)));
  EXPECT_FALSE(ReadUserSetting("Defaults", out_).has_value());
  RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"Defaults", REG_SZ, L"text", 10);
  EXPECT_FALSE(ReadUserSetting("Defaults", out_).has_value());
}

}  // namespace
}  // namespace qx
