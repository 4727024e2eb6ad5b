#include "importer/importer_settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

namespace qx {
namespace {

std::string Text(const std::vector<uint32_t>& formats) {
  std::string text;
  for (const uint32_t format : formats) text += std::string(reinterpret_cast<const char*>(&format), 4) + " ";
  return text;
}

ImporterSettings Read(const std::map<std::string, std::string>& environment) {
  return ReadImporterSettings([&](const char* name, size_t bufferSize) -> std::optional<std::string> {
    const auto found = environment.find(name);
    if (found == environment.end() || found->second.size() >= bufferSize) return std::nullopt;
    return found->second;
  });
}

TEST(ImporterSettings, OrdersDefaultFormats) {
  struct Row {
    const char* value;
    const char* expected;
  };
  for (const Row& row : {Row{"", "Bgra BGra bgra "}, Row{"NO8", "Bgra BGra "}, Row{"32F", "BGra Bgra bgra "}, Row{"8u", "bgra BGra Bgra "},
                         Row{"16u", "Bgra BGra bgra "}, Row{"no8 and much too long", "Bgra BGra bgra "}}) {
    EXPECT_EQ(Text(Read({{"QORIX_IMPORT_FMT", row.value}}).defaultFormats), row.expected) << row.value;
  }
}

TEST(ImporterSettings, KeepsOnlyKnownFourCharacterFormats) {
  std::string twenty = "bgra";
  for (int i = 1; i < 20; ++i) twenty += i == 16 ? ",BGaL" : ",uyv7";
  struct Row {
    std::string value;
    size_t count;
    const char* first;
  };
  for (const Row& row :
       {Row{"BGaL,uyv7", 2, "BGaL"}, Row{"abcde,bgra", 1, "bgra"}, Row{"abcd,bgra", 1, "bgra"}, Row{"bgra,", 1, "bgra"},
        Row{",,v211", 1, "v211"}, Row{"bgra,bgra", 2, "bgra"}, Row{"BGRA", 0, ""}, Row{" bgra", 0, ""}, Row{twenty, 16, "bgra"}}) {
    const std::vector<uint32_t> formats = ParseFormatList(row.value);
    ASSERT_EQ(formats.size(), row.count) << row.value;
    EXPECT_EQ(Text(formats).substr(0, 4), row.first);
  }
}

TEST(ImporterSettings, ReadsSwitches) {
  struct Row {
    const char* value;
    bool cpuOnly;
  };
  for (const Row& row : {Row{"1", true}, Row{"10", true}, Row{"0", false}, Row{"yes", false}, Row{"", false}, Row{"1234567", true},
                         Row{"12345678", false}}) {
    EXPECT_EQ(Read({{"QORIX_IMPORT_CPU", row.value}}).cpuOnly, row.cpuOnly) << row.value;
  }
  EXPECT_TRUE(Read({}).tagFrames);
  EXPECT_FALSE(Read({{"QORIX_IMPORT_TAG", "0"}}).tagFrames);
  EXPECT_TRUE(Read({{"QORIX_IMPORT_CS", "PreDef"}}).predefinedColorSpace);
  EXPECT_FALSE(Read({{"QORIX_IMPORT_CS", "predefined"}}).predefinedColorSpace);
  EXPECT_EQ(Read({{"QORIX_IMPORT_LOG", std::string(259, 'x')}}).logPath.size(), 259u);
  EXPECT_EQ(Read({{"QORIX_IMPORT_LOG", std::string(260, 'x')}}).logPath, "");
}

}  // namespace
}  // namespace qx
