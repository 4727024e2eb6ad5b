#include "ui/module/settings_module.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

namespace qx {
namespace {

const std::filesystem::path kBinaryFolder = QX_BINARY_DIR;

/// What a command prints.
std::string OutputOf(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  char piece[4096];
  while (const size_t got = fread(piece, 1, sizeof piece, pipe)) text.append(piece, got);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}

// Names of the functions and objects that a library defines for others.
std::set<std::string> ExportsOf(const std::string& file) {
  std::set<std::string> names;
  const std::string table = OutputOf("nm -D --defined-only --format=posix '" + (kBinaryFolder / file).string() + "'");
  for (size_t start = 0; start < table.size(); start = table.find('\n', start) + 1) {
    names.insert(table.substr(start, table.find_first_of(" @", start) - start));
  }
  return names;
}

/// Environment variables of this process for the length of a test; null removes one.
class ScopedEnvironment {
 public:
  ScopedEnvironment(std::initializer_list<std::pair<const char*, const char*>> variables) {
    for (const auto& [name, value] : variables) {
      const char* before = std::getenv(name);
      saved_.emplace_back(name, before != nullptr ? std::optional<std::string>(before) : std::nullopt);
      Set(name, value);
    }
  }
  ~ScopedEnvironment() {
    for (const auto& [name, value] : saved_) Set(name.c_str(), value.has_value() ? value->c_str() : nullptr);
  }

 private:
  static void Set(const char* name, const char* value) {
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

int RunIn(const std::filesystem::path& module, Message message) {
  DevelopOptions options;
  options.exposureEv = 3;
  bool useForNewClips = true;
  const int result = RunSettingsModule(module, {nullptr, "/clips/a.qorix", 0, nullptr}, &options, &useForNewClips, message);
  EXPECT_EQ(options.exposureEv, 3);
  EXPECT_TRUE(useForNewClips);
  return result;
}

TEST(SettingsModule, PlugInLinksNoToolkit) {
  const std::string needed = OutputOf("readelf -d '" + (kBinaryFolder / "qorix-importer.so").string() + "'");
  EXPECT_NE(needed.find("NEEDED"), std::string::npos);
  EXPECT_EQ(needed.find("Qt"), std::string::npos) << needed;
  EXPECT_EQ(ExportsOf("qorix-importer.so"), std::set<std::string>{"xImportEntry"});
}

TEST(SettingsModule, MissingOrForeignModuleIsAnAnswer) {
  MessageBuffer<512> message;
  EXPECT_EQ(RunIn(kBinaryFolder / "none.so", message), -1);
  EXPECT_EQ(std::string(message.text()).rfind("no settings window: ", 0), 0u) << message.text();
  EXPECT_NE(std::string(message.text()).find("none.so"), std::string::npos) << message.text();
  EXPECT_EQ(RunIn(kBinaryFolder / "qorix-importer.so", message), -1);
  EXPECT_NE(std::string(message.text()).find("is not a settings module"), std::string::npos) << message.text();
  EXPECT_EQ(RunIn(QX_OTHER_VERSION_MODULE, message), -1);
  EXPECT_NE(std::string(message.text()).find("belongs to another version"), std::string::npos) << message.text();
}

#if defined(QX_HAS_QT)
const std::filesystem::path kQtModule = kBinaryFolder / kSettingsModuleName;

TEST(SettingsModule, ExportsOneFunction) {
  EXPECT_EQ(ExportsOf(kSettingsModuleName), std::set<std::string>{kSettingsModuleFunction});
}

// Qt would end the process in each of these cases.
TEST(SettingsModule, NoDisplayIsAnAnswer) {
  struct Row {
    const char* platform;
    const char* display;
    const char* wayland;
    const char* reason;
  };
  for (const Row& row : {Row{nullptr, nullptr, nullptr, "neither DISPLAY nor WAYLAND_DISPLAY is set"}, Row{nullptr, ":77", nullptr, ":77"},
                         Row{"xcb", nullptr, nullptr, "could not connect to display"}, Row{nullptr, nullptr, "none-0", "no display: "},
                         Row{"nosuchplatform", ":77", nullptr, "nosuchplatform"}}) {
    const ScopedEnvironment environment(
        {{"QT_QPA_PLATFORM", row.platform}, {"DISPLAY", row.display}, {"WAYLAND_DISPLAY", row.wayland}, {"LC_ALL", "C.UTF-8"}});
    MessageBuffer<512> message;
    EXPECT_EQ(RunIn(kQtModule, message), -1);
    EXPECT_NE(std::string(message.text()).find(row.reason), std::string::npos) << message.text();
  }
}
#endif

}  // namespace
}  // namespace qx
