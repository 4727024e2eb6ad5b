#include "develop/gain_table.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qx {
namespace {

constexpr int32_t kWidth = 40, kHeight = 20;

// Covers the whole active area: the corners' gains at the corners of the area, linear in between.
GainMap CornerMap(uint32_t top, uint32_t left, uint32_t pitch, std::vector<float> corners) {
  GainMap map;
  map.top = top;
  map.left = left;
  map.bottom = kHeight;
  map.right = kWidth;
  map.planes = map.mapPlanes = 1;
  map.rowPitch = map.colPitch = pitch;
  map.pointsV = map.pointsH = 2;
  map.spacingV = map.spacingH = 1;
  map.gains = std::move(corners);
  return map;
}

DngInfo CameraWith(std::vector<GainMap> maps) {
  DngInfo camera;
  camera.gainMaps = std::move(maps);
  return camera;
}

TEST(GainTable, PitchAndOriginSelectThePhases) {
  struct Row {
    uint32_t top, left, rowPitch, colPitch;
    std::array<bool, 4> expected;
    const char* why;
  };
  for (const Row& row : {Row{0, 0, 2, 2, {true, false, false, false}, "even rows, even columns"},
                         Row{0, 1, 2, 2, {false, true, false, false}, "even rows, odd columns"},
                         Row{3, 2, 2, 2, {false, false, true, false}, "odd rows, even columns"},
                         Row{1, 1, 2, 2, {false, false, false, true}, "odd rows, odd columns"},
                         Row{1, 1, 1, 1, {true, true, true, true}, "every site"}, Row{1, 0, 2, 1, {false, false, true, true}, "odd rows"},
                         Row{0, 0, 4, 4, {false, false, false, false}, "only some sites of a phase"},
                         Row{kHeight, 0, 1, 1, {false, false, false, false}, "empty area"}}) {
    GainMap map = CornerMap(row.top, row.left, 1, {2, 2, 2, 2});
    map.rowPitch = row.rowPitch;
    map.colPitch = row.colPitch;
    const GainTable table = BuildGainTable(CameraWith({map}), 1);
    for (int phase = 0; phase < 4; ++phase) EXPECT_EQ(table.phase[phase].active, row.expected[phase]) << row.why << ", phase " << phase;
  }
}

TEST(GainTable, InterpolatesAtPixelCentres) {
  const GainTable table = BuildGainTable(CameraWith({CornerMap(4, 6, 2, {1, 2, 3, 6})}), 1);
  struct Row {
    int32_t x, y;
    double expected;
    const char* why;
  };
  for (const Row& row :
       {Row{6, 4, 1 + 6.5 / 40 + 2 * (4.5 / 20) + 2 * (6.5 / 40) * (4.5 / 20), "first pixel of the area"},
        Row{38, 18, 1 + 38.5 / 40 + 2 * (18.5 / 20) + 2 * (38.5 / 40) * (18.5 / 20), "last pixel of the phase"},
        Row{4, 4, 1, "left of the area"}, Row{6, 2, 1, "above it"}, Row{kWidth, 4, 1, "right of it"}, Row{6, kHeight, 1, "below it"}}) {
    EXPECT_NEAR(GainAt(table.phase[0], row.x, row.y, kWidth, kHeight), row.expected, 1e-6) << row.why;
  }
  EXPECT_EQ(GainAt(table.phase[3], 7, 5, kWidth, kHeight), 1) << "no map for this phase";
}

TEST(GainTable, HoldsTheOuterPointsBeyondTheGrid) {
  GainMap map = CornerMap(0, 0, 1, {2, 4, 2, 4});
  map.originH = 0.25;
  map.spacingH = 0.5;  // the points lie at columns 10 and 30
  const GainTable table = BuildGainTable(CameraWith({map}), 1);
  EXPECT_EQ(GainAt(table.phase[0], 0, 0, kWidth, kHeight), 2);
  EXPECT_EQ(GainAt(table.phase[0], 39, 0, kWidth, kHeight), 4);
  EXPECT_NEAR(GainAt(table.phase[0], 20, 0, kWidth, kHeight), 3 + 2 * 0.5 / 20, 1e-6);
}

TEST(GainTable, FirstPlaneAndFirstMapOfAPhaseCount) {
  GainMap planes = CornerMap(0, 0, 1, {2, 9, 2, 9, 2, 9, 2, 9});
  planes.mapPlanes = 2;
  const GainTable table = BuildGainTable(CameraWith({planes, CornerMap(0, 0, 1, {5, 5, 5, 5})}), 1);
  EXPECT_EQ(GainAt(table.phase[0], 11, 7, kWidth, kHeight), 2);
}

TEST(GainTable, StrengthIsAnExponent) {
  const DngInfo camera = CameraWith({CornerMap(0, 0, 1, {4, 4, 4, 4})});
  EXPECT_EQ(BuildGainTable(camera, 1).phase[0].gains[0], 4);
  EXPECT_FLOAT_EQ(BuildGainTable(camera, 0.5f).phase[0].gains[0], 2);
  EXPECT_FALSE(BuildGainTable(camera, 0).active());
}

TEST(GainTable, DamagedMapsGiveDefinedGains) {
  const float inf = std::numeric_limits<float>::infinity();
  const GainTable gains = BuildGainTable(CameraWith({CornerMap(0, 0, 1, {std::nanf(""), inf, -3, 0})}), 0.5f);
  EXPECT_EQ(gains.phase[0].gains, (std::vector<float>{1, 1, 0, 0}));

  GainMap flat = CornerMap(0, 0, 1, {2, 3, 2, 3});
  flat.spacingH = flat.spacingV = 0;
  const GainTable noSpacing = BuildGainTable(CameraWith({flat}), 1);
  EXPECT_EQ(GainAt(noSpacing.phase[0], 5, 5, kWidth, kHeight), 3) << "every pixel lies beyond the last point";
  flat.spacingH = std::nan("");
  const GainTable noNumber = BuildGainTable(CameraWith({flat}), 1);
  EXPECT_EQ(GainAt(noNumber.phase[0], 5, 5, kWidth, kHeight), 2);

  GainMap cut = CornerMap(0, 0, 1, {2, 2, 2});
  GainMap huge = CornerMap(0, 0, 1, {2, 2, 2, 2});
  huge.pointsV = huge.pointsH = huge.mapPlanes = 0xFFFFFFFF;
  EXPECT_FALSE(BuildGainTable(CameraWith({cut, huge}), 1).active()) << "fewer gains than points";
}

}  // namespace
}  // namespace qx
