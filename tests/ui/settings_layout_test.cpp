#include "ui/settings_layout.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

// A font whose characters are all 4 dialog units wide.
int PlainWidth(std::string_view text) {
  int characters = 0;
  for (const char byte : text) characters += (byte & 0xC0) != 0x80 ? 1 : 0;
  return characters * 4;
}

// With PlainWidth the longest English label, "Lens distortion correction", makes a label column of 26 * 4 + 4.
constexpr int kL = 108;

TEST(SettingsLayout, PutsEveryControlInItsPlace) {
  struct Row {
    int id, x, y, width, height;
  };
  const SettingsLayout layout = MakeSettingsLayout(0, true, PlainWidth);
  EXPECT_EQ(layout.width, kL + 284 + 214);
  EXPECT_EQ(layout.height, 217);
  const int w = layout.width;
  for (const Row& row : {Row{921, 7, 7, kL + 484, 10},     Row{901, 7, 18, kL + 484, 1},     Row{902, 7, 172, kL + 484, 1},
                         Row{124, kL + 278, 24, 206, 115}, Row{125, kL + 275, 142, 212, 14}, Row{126, kL + 278, 160, 206, 9},
                         Row{103, kL + 18, 24, 150, 90},   Row{104, kL + 18, 43, 96, 9},     Row{105, kL + 118, 41, 64, 13},
                         Row{106, kL + 182, 41, 60, 13},   Row{107, kL + 18, 55, 252, 9},    Row{108, kL + 18, 67, 34, 12},
                         Row{109, kL + 52, 67, 10, 12},    Row{110, kL + 18, 84, 100, 60},   Row{111, kL + 122, 84, 30, 12},
                         Row{122, kL + 152, 84, 10, 12},   Row{112, kL + 192, 84, 26, 12},   Row{123, kL + 218, 84, 10, 12},
                         Row{113, kL + 18, 101, 150, 80},  Row{114, kL + 18, 118, 30, 12},   Row{116, kL + 18, 135, 30, 12},
                         Row{118, 14, 156, 10, 11},        Row{1118, 26, 157, kL + 244, 9},  Row{119, 7, 179, 10, 11},
                         Row{1119, 19, 180, w - 26, 9},    Row{120, 7, 196, 54, 14},         Row{1, w - 119, 196, 54, 14},
                         Row{2, w - 61, 196, 54, 14}}) {
    SCOPED_TRACE(row.id);
    const ControlSpec* control = layout.Find(row.id);
    ASSERT_NE(control, nullptr);
    EXPECT_EQ(control->rect.x, row.x);
    EXPECT_EQ(control->rect.y, row.y);
    EXPECT_EQ(control->rect.width, row.width);
    EXPECT_EQ(control->rect.height, row.height);
  }
}

TEST(SettingsLayout, IsNarrowerWithoutPicture) {
  const SettingsLayout layout = MakeSettingsLayout(0, false, PlainWidth);
  EXPECT_EQ(layout.width, kL + 284);
  for (const int id : {kPreviewPicture, kFrameSlider, kPositionText}) EXPECT_EQ(layout.Find(id), nullptr);
}

TEST(SettingsLayout, LimitsItsColumns) {
  const SettingsLayout narrow = MakeSettingsLayout(0, false, [](std::string_view) { return 3; });
  EXPECT_EQ(narrow.width, 40 + 284);
  const SettingsLayout wide = MakeSettingsLayout(0, false, [](std::string_view) { return 400; });
  EXPECT_EQ(wide.width, 150 + 284);
  for (const int id : {kChooseLutButton, kLutOffButton}) EXPECT_EQ(wide.Find(id)->rect.width, 76);
  EXPECT_EQ(wide.Find(kTintEdit)->rect.x, 150 + 174 + 56);  // a tint label takes at most 54
}

TEST(SettingsLayout, SplitsTheLutButtonsOnlyWhenTheyDoNotFit) {
  const auto layout = [](int first, int second) {
    return MakeSettingsLayout(0, false, [=](std::string_view text) { return text.starts_with("Choose") ? first : second; });
  };
  EXPECT_EQ(layout(100, 28).Find(kChooseLutButton)->rect.width, 112);  // 100 + 28 + 24 is just 152
  EXPECT_EQ(layout(101, 28).Find(kChooseLutButton)->rect.width, 76);
}

TEST(SettingsLayout, KeepsControlsInsideTheWindowAndApart) {
  const auto overlap = [](const DialogRect& a, const DialogRect& b) {
    return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
  };
  for (int language = 0; language < kLanguageCount; ++language) {
    SettingsLayout layout = MakeSettingsLayout(language, true, PlainWidth);
    std::vector<ControlSpec> active;
    for (ControlSpec& control : layout.controls) {
      if (control.kind == ControlKind::kCombo) control.rect.height = kClosedComboHeight;
      EXPECT_GE(control.rect.x, 0);
      EXPECT_LE(control.rect.x + control.rect.width, layout.width);
      EXPECT_LE(control.rect.y + control.rect.height, layout.height);
      if (control.id != kNoControl) active.push_back(control);
    }
    for (size_t i = 0; i < active.size(); ++i) {
      for (size_t k = 0; k < i; ++k) EXPECT_FALSE(overlap(active[i].rect, active[k].rect)) << active[i].id << " and " << active[k].id;
    }
  }
}

TEST(SettingsLayout, Mirrors) {
  const DialogRect mirrored = Mirrored({14, 26, 40, 9}, 300);
  EXPECT_EQ(mirrored.x, 246);
  EXPECT_EQ(mirrored.width, 40);
  EXPECT_EQ(mirrored.y, 26);
}

TEST(FitPicture, KeepsTheShapeInTheMiddle) {
  struct Row {
    int areaWidth, areaHeight, width, height;
    DialogRect place;
  };
  for (const Row& row :
       {Row{200, 100, 400, 100, {0, 25, 200, 50}}, Row{200, 100, 50, 50, {50, 0, 100, 100}}, Row{200, 100, 4000, 2000, {0, 0, 200, 100}},
        Row{200, 100, 10000, 1, {0, 49, 200, 1}}, Row{200, 100, 0, 10, {0, 0, 0, 0}}, Row{0, 100, 10, 10, {0, 0, 0, 0}}}) {
    const DialogRect place = FitPicture(row.areaWidth, row.areaHeight, row.width, row.height);
    EXPECT_EQ(std::tie(place.x, place.y, place.width, place.height), std::tie(row.place.x, row.place.y, row.place.width, row.place.height))
        << row.width << " x " << row.height;
  }
}

}  // namespace
}  // namespace qx
