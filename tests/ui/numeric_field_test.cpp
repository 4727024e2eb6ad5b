#include "ui/numeric_field.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "ui/settings_layout.h"

namespace qx {
namespace {

const NumericField& Field(int id) {
  return NumericFields()[NumericFieldOf(id).value()];
}

TEST(NumericField, ReadsWhatPeopleType) {
  struct Row {
    const char* text;
    std::optional<double> value;
  };
  for (const Row& row : {Row{"1,5", 1.5}, Row{"1.5", 1.5}, Row{"  +2", 2.0}, Row{"-0,25", -0.25}, Row{"\u22123", -3.0}, Row{",5", 0.5},
                         Row{"7.", 7.0}, Row{"1.2.3", 1.2}, Row{"5600 K", 5600.0}, Row{"9e9", 9.0}, Row{"", {}}, Row{" ", {}}, Row{"-", {}},
                         Row{".", {}}, Row{"abc", {}}, Row{"inf", {}}, Row{"nan", {}}, Row{"K 5", {}}}) {
    EXPECT_EQ(ParseNumber(row.text), row.value) << "'" << row.text << "'";
  }
  EXPECT_EQ(Field(kKelvinEdit).Clamp(ParseNumber(std::string(500, '9')).value()), 15000);
}

TEST(NumericField, PrintsAsItsFieldDoes) {
  struct Row {
    int field;
    double value;
    const char* text;
  };
  for (const Row& row : {Row{kExposureEdit, 1.5, "+1.50"}, Row{kExposureEdit, 0, "+0.00"}, Row{kExposureEdit, -0.004, "+0.00"},
                         Row{kExposureEdit, -0.25, "-0.25"}, Row{kKelvinEdit, 5600, "5600"}, Row{kTintEdit, 12, "+12"},
                         Row{kTintEdit, -0.0, "+0"}, Row{kTintEdit, -7, "-7"}, Row{kVignettingEdit, 100, "100"}}) {
    EXPECT_EQ(FormatNumber(Field(row.field), row.value), row.text);
  }
}

TEST(NumericField, Steps) {
  constexpr StepKeys kNone, kShift{true, false}, kControl{false, true}, kBoth{true, true};
  struct Row {
    int field;
    const char* before;
    int count;
    StepKeys keys;
    const char* after;
  };
  for (const Row& row : {
           Row{kExposureEdit, "+0.00", 1, kNone, "+0.10"},
           Row{kExposureEdit, "1,5", 1, kShift, "+1.51"},
           Row{kExposureEdit, "+0.00", -1, kControl, "-0.50"},
           Row{kExposureEdit, "+0.00", 1, kBoth, "+0.01"},    // shift wins
           Row{kExposureEdit, "-0.10", 1, kNone, "+0.00"},    // no negative zero
           Row{kExposureEdit, "+3.95", 1, kNone, "+4.00"},    // stops at the end
           Row{kExposureEdit, "nothing", 2, kNone, "+0.20"},  // unreadable counts as 0
           Row{kKelvinEdit, "5600", 1, kNone, "5650"},
           Row{kKelvinEdit, "5603.4", 1, kShift, "5613"},  // snaps to whole kelvins
           Row{kKelvinEdit, "5600", 1, kControl, "6100"},
           Row{kKelvinEdit, "", 1, kNone, "2000"},
           Row{kTintEdit, "-1", 1, kNone, "+0"},
           Row{kTintEdit, "1.5", 1, kShift, "+3"},   // 2.5, half away from zero
           Row{kTintEdit, "-1.5", -1, kNone, "-3"},  // -2.5 likewise
           Row{kTintEdit, "+145", 1, kControl, "+150"},
           Row{kDistortionEdit, "95", 1, kControl, "100"},
           Row{kVignettingSpin, "5", -1, kControl, "0"},
       }) {
    EXPECT_EQ(StepText(Field(row.field), row.before, row.count, row.keys), row.after) << row.field << " from '" << row.before << "'";
  }
}

TEST(WheelSum, MakesAStepOfEveryNotch) {
  struct Row {
    const char* why;
    std::vector<int> deltas, steps;
  };
  for (const Row& row :
       {Row{"whole notches", {120, 240, -120}, {1, 2, -1}}, Row{"fractions add up, the rest is kept", {50, 50, 50, 90}, {0, 0, 1, 1}},
        Row{"turning back forgets the rest", {110, -110, -10, 119, 1}, {0, 0, -1, 0, 1}}}) {
    WheelSum sum;
    for (size_t i = 0; i < row.deltas.size(); ++i) EXPECT_EQ(sum.Turn(row.deltas[i]), row.steps[i]) << row.why << ", turn " << i;
  }
}

}  // namespace
}  // namespace qx
