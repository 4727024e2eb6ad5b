#include "platform/settings_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace qx {
namespace {

namespace fs = std::filesystem;

/// The user's folder for settings is a temporary one while this lives.
class SettingsStoreTest : public testing::Test {
 protected:
  SettingsStoreTest() : root_(fs::path(testing::TempDir()) / ("qx_settings_" + std::to_string(getpid()))) {
    fs::remove_all(root_);
    fs::create_directories(root_);
    setenv("XDG_CONFIG_HOME", (root_ / "config").c_str(), 1);
  }
  ~SettingsStoreTest() override {
    unsetenv("XDG_CONFIG_HOME");
    fs::permissions(root_, fs::perms::owner_all);
    fs::remove_all(root_);
  }
  fs::path Place(const fs::path& config) const { return config / "qorixcam" / "Premiere" / "Defaults"; }

  fs::path root_;
  std::array<uint8_t, 16> out_ = {};
};

TEST_F(SettingsStoreTest, KeepsTheLastValueWhole) {
  EXPECT_FALSE(ReadUserSetting("Defaults", out_).has_value());
  for (const std::vector<uint8_t>& value : {std::vector<uint8_t>(16, 1), std::vector<uint8_t>{7, 0, 9}, std::vector<uint8_t>{}}) {
    ASSERT_TRUE(WriteUserSetting("Defaults", value));
    const std::optional<size_t> size = ReadUserSetting("Defaults", out_);
    ASSERT_EQ(size, value.size());
    EXPECT_EQ(std::vector<uint8_t>(out_.begin(), out_.begin() + ptrdiff_t(*size)), value);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(Place(root_ / "config").parent_path()), fs::directory_iterator()), 1)
      << "no temporary files stay";
}

TEST_F(SettingsStoreTest, RefusesValuesThatDoNotFitAndThingsThatAreNoFile) {
  ASSERT_TRUE(WriteUserSetting("Defaults", std::vector<uint8_t>(17)));
  EXPECT_FALSE(ReadUserSetting("Defaults", out_).has_value());
  fs::remove(Place(root_ / "config"));
  ASSERT_EQ(mkfifo(Place(root_ / "config").c_str(), 0600), 0);
  EXPECT_FALSE(ReadUserSetting("Defaults", out_).has_value()) << "a pipe must not hold the host up";
  fs::remove(Place(root_ / "config"));
  fs::create_directory(Place(root_ / "config"));
  EXPECT_FALSE(ReadUserSetting("Defaults", out_).has_value());
}

TEST_F(SettingsStoreTest, FailedWriteKeepsTheOldValue) {
  ASSERT_TRUE(WriteUserSetting("Defaults", std::vector<uint8_t>{1, 2}));
  const fs::path folder = Place(root_ / "config").parent_path();
  if (geteuid() == 0) {
    // Permissions do not stop the superuser, but a value can not replace a folder that is not empty.
    fs::create_directories(folder / "Other" / "inside");
    EXPECT_FALSE(WriteUserSetting("Other", std::vector<uint8_t>{3}));
    EXPECT_TRUE(fs::is_directory(folder / "Other"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 2) << "no temporary files stay";
  } else {
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_FALSE(WriteUserSetting("Defaults", std::vector<uint8_t>{3}));
    fs::permissions(folder, fs::perms::owner_all);
  }
  EXPECT_EQ(ReadUserSetting("Defaults", out_), 2u);
}

TEST_F(SettingsStoreTest, FindsTheUsersFolder) {
  struct Row {
    const char* what;
    std::string config, home;
    fs::path expected;  // empty: nowhere
  };
  const fs::path dotConfig = root_ / "home" / ".config";
  for (const Row& row :
       {Row{"XDG_CONFIG_HOME first", root_ / "xdg", root_ / "home", root_ / "xdg"}, Row{"HOME without it", "", root_ / "home", dotConfig},
        Row{"relative ones do not count", "xdg", "home", {}}, Row{"relative configuration", "xdg", root_ / "home", dotConfig}}) {
    setenv("XDG_CONFIG_HOME", row.config.c_str(), 1);
    const std::string realHome = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";
    setenv("HOME", row.home.c_str(), 1);
    EXPECT_EQ(WriteUserSetting("Defaults", std::vector<uint8_t>{1}), !row.expected.empty()) << row.what;
    setenv("HOME", realHome.c_str(), 1);
    if (!row.expected.empty()) {
      EXPECT_TRUE(fs::is_regular_file(Place(row.expected))) << row.what;
      fs::remove_all(row.expected);
    }
  }
}

}  // namespace
}  // namespace qx
