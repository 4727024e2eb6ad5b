#include "ui/settings_labels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "base/utf.h"

namespace qx {
namespace {

// Each script of the languages that do not write Latin letters.
bool IsOfScript(char16_t character, const std::string& code) {
  static const std::map<std::string, std::pair<int, int>> kBlocks = {
      {"ar", {0x600, 0x6FF}}, {"hi", {0x900, 0x97F}}, {"ru", {0x400, 0x4FF}}, {"uk", {0x400, 0x4FF}}, {"ko", {0xAC00, 0xD7A3}}};
  if (code == "ja") return (character >= 0x3040 && character <= 0x30FF) || (character >= 0x4E00 && character <= 0x9FFF);
  if (code == "zh_CN") return character >= 0x4E00 && character <= 0x9FFF;
  const auto block = kBlocks.find(code);
  return block == kBlocks.end() || (character >= block->second.first && character <= block->second.second);
}

TEST(SettingsLabels, EveryLanguageHasEveryText) {
  for (int language = 0; language < kLanguageCount; ++language) {
    for (int label = 0; label < kLabelCount; ++label) {
      SCOPED_TRACE(std::string(kLanguageCodes[language]) + ", label " + std::to_string(label));
      const char* text = LabelText(language, Label(label));
      ASSERT_NE(text, nullptr);
      EXPECT_STRNE(text, "");
      const std::u16string wide = Utf16FromUtf8(text);
      EXPECT_EQ(Utf8FromUtf16(wide), text) << "malformed UTF-8";
      EXPECT_EQ(wide.find(u'\uFFFD'), std::u16string::npos);
      EXPECT_EQ(strstr(text, "%1") != nullptr, Label(label) == Label::kLutError);
      EXPECT_EQ(strstr(text, ".cube…") != nullptr || (strstr(text, ".cube") != nullptr && strstr(text, "…") != nullptr),
                Label(label) == Label::kChooseLut);
    }
  }
}

// Names and abbreviations that stand in every language: they alone may be without a letter of the language's own script.
TEST(SettingsLabels, TextsAreInTheirLanguagesScript) {
  for (int language = 0; language < kLanguageCount; ++language) {
    for (int label = 0; label < kLabelCount; ++label) {
      if (Label(label) == Label::kLut || Label(label) == Label::kOk) continue;
      const std::u16string text = Utf16FromUtf8(LabelText(language, Label(label)));
      EXPECT_TRUE(std::any_of(text.begin(), text.end(), [&](char16_t c) { return IsOfScript(c, kLanguageCodes[language]); }))
          << kLanguageCodes[language] << ", label " << label << ": " << LabelText(language, Label(label));
    }
  }
}

TEST(SettingsLabels, LanguagesDifferFromEnglish) {
  // Technical terms that some languages share with English.
  const std::set<Label> shared = {Label::kLut, Label::kOk, Label::kDebayer, Label::kBilinear, Label::kTint, Label::kLinear};
  for (int language = 1; language < kLanguageCount; ++language) {
    for (int label = 0; label < kLabelCount; ++label) {
      if (shared.contains(Label(label))) continue;
      EXPECT_STRNE(LabelText(language, Label(label)), LabelText(0, Label(label))) << kLanguageCodes[language] << ", label " << label;
    }
  }
}

TEST(SettingsLabels, KnownTexts) {
  EXPECT_STREQ(LabelText(0, Label::kTitle), "Source settings");
  EXPECT_STREQ(LabelText(0, Label::kLutNote), "With a LUT, the output is Rec.709.");
  EXPECT_STREQ(LabelText(2, Label::kTitle), "Quelleinstellungen");
  EXPECT_STREQ(LabelText(2, Label::kReset), "Zurücksetzen");
  EXPECT_STREQ(LabelText(2, Label::kCancel), "Abbrechen");
  EXPECT_STREQ(LabelText(-1, Label::kCancel), "Cancel");
  EXPECT_STREQ(LabelText(kLanguageCount, Label::kCancel), "Cancel");
  EXPECT_EQ(LutErrorText(0, "/a %1 b.cube"), "Cannot read the LUT: /a %1 b.cube");
}

}  // namespace
}  // namespace qx
