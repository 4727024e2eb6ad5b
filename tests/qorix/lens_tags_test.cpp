// Gain maps and lens warp of a frame, as the opcode lists of its tags give them back.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "tests/qorix/tagged_frame.h"

namespace qx {
namespace {

constexpr double kRoot2 = std::numbers::sqrt2;

/// Point p of channel j has the gain 1 + 100 · j + p.
std::vector<uint8_t> ShadingMap(int columns, int rows) {
  QorixFields map;
  map.U16(uint64_t(columns)).U16(uint64_t(rows)).U32(0);
  for (int point = 0; point < columns * rows; ++point) {
    for (int channel = 0; channel < 4; ++channel) map.F32(float(1 + 100 * channel + point));
  }
  return map.bytes();
}

Shot ShotWithMap(std::vector<uint8_t> map) {
  Shot shot;
  shot.blobs = {{kQorixShadingMap, 5, std::move(map)}};
  shot.items.U32(QorixItem::kShadingSeq, {5});
  return shot;
}

TEST(LensTags, GainMapsLieOnTheirColors) {
  for (uint8_t code = 0; code < 4; ++code) {
    SCOPED_TRACE(int(code));
    Shot shot = ShotWithMap(ShadingMap(3, 2));
    shot.file.header.cfaCode = code;
    shot.file.header.fullField = {0, 0, 20, 16};
    shot.format.left = 3;  // odd: the pattern is the next column's
    const TaggedFrame tagged(shot);
    const DngInfo& dng = tagged.dng();
    EXPECT_TRUE(dng.opcodeLists[1].valid);
    EXPECT_TRUE(tagged.frame.fieldIsCropped);
    ASSERT_EQ(dng.gainMaps.size(), 4u);
    // Channels: red, green of the upper row, green of the lower row, blue.
    for (uint32_t channel = 0; channel < 4; ++channel) {
      const GainMap& map = dng.gainMaps[channel];
      EXPECT_EQ(dng.cfa[2 * map.top + map.left], (std::array{0, 1, 1, 2}[channel]));
      if (channel == 1 || channel == 2) {
        EXPECT_EQ(map.top, channel - 1);
      }
      EXPECT_EQ(map.bottom, 16 - map.top);
      EXPECT_EQ(map.right, 20 - map.left);
      EXPECT_EQ((std::array{map.plane, map.planes, map.rowPitch, map.colPitch, map.mapPlanes}), (std::array{0u, 1u, 2u, 2u, 1u}));
      EXPECT_EQ((std::array{map.pointsV, map.pointsH}), (std::array{2u, 3u}));
      // 16 rows of the field over 1 step and 20 columns over 2, in heights and widths of the frame; half the excess lies before it.
      EXPECT_DOUBLE_EQ(map.spacingV, 16.0 / 12);
      EXPECT_DOUBLE_EQ(map.spacingH, 10.0 / 16);
      EXPECT_DOUBLE_EQ(map.originV, -2.0 / 12);
      EXPECT_DOUBLE_EQ(map.originH, -2.0 / 16);
      const float first = float(1 + 100 * channel);
      EXPECT_EQ(map.gains, (std::vector<float>{first, first + 1, first + 2, first + 3, first + 4, first + 5}));
    }
  }
}

TEST(LensTags, ResizedFieldIsToldInFramePixels) {
  Shot shot = ShotWithMap(ShadingMap(3, 3));
  shot.file.header.fullField = {0, 0, 40, 40};
  shot.file.staticItems.U8(QorixItem::kResize, {1, 0, 0, 0});
  const TaggedFrame tagged(shot);  // 40 × 40 covers 16 × 12 as 16 × 16
  ASSERT_EQ(tagged.dng().gainMaps.size(), 4u);
  const GainMap& map = tagged.dng().gainMaps[0];
  EXPECT_EQ((std::array{map.bottom, map.right}), (std::array{16u, 16u}));
  EXPECT_DOUBLE_EQ(map.spacingV, 8.0 / 12);
  EXPECT_DOUBLE_EQ(map.spacingH, 0.5);
  EXPECT_DOUBLE_EQ(map.originV, -2.0 / 12);
  EXPECT_EQ(map.originH, 0);
}

TEST(LensTags, MapsThatAreNotWholeAreIgnored) {
  std::vector<uint8_t> cut = ShadingMap(3, 2);
  cut.pop_back();
  for (const std::vector<uint8_t>& map : {ShadingMap(1, 4), ShadingMap(4, 1), cut, std::vector<uint8_t>{2, 0, 2}}) {
    const TaggedFrame tagged(ShotWithMap(map));
    EXPECT_TRUE(tagged.frame.hasTags);
    EXPECT_FALSE(tagged.dng().opcodeLists[1].present) << map.size();
  }
  Shot other = ShotWithMap(ShadingMap(2, 2));
  other.items.U32(QorixItem::kShadingSeq, {6});
  EXPECT_TRUE(TaggedFrame(other).dng().gainMaps.empty());
}

void ExpectWarp(const DngInfo& dng, const std::array<double, 6>& coefficients, double centreX, double centreY) {
  ASSERT_TRUE(dng.warp.valid);
  EXPECT_EQ(dng.warp.planes, 1u);
  EXPECT_EQ(dng.opcodeLists[2].size, 88u);
  const RectilinearWarp::Plane& plane = dng.warp.plane[0];
  // The items are in single precision.
  for (size_t i = 0; i < 4; ++i) EXPECT_NEAR(plane.kr[i], coefficients[i], 1e-6) << "kr" << i;
  for (size_t i = 0; i < 2; ++i) EXPECT_NEAR(plane.kt[i], coefficients[4 + i], 1e-6) << "kt" << i;
  EXPECT_NEAR(dng.warp.centreX, centreX, 1e-6);
  EXPECT_NEAR(dng.warp.centreY, centreY, 1e-6);
}

TEST(LensTags, RadialDistortion) {
  Shot shot;
  shot.items.F32(QorixItem::kRadialDistortion, {0.75f, -0.01f, 0.002f, 0.0005f, 0.0003f, -0.0004f});
  // Powers of √2 for the radial and 2 for the tangential ones; centre (8, 6).
  ExpectWarp(TaggedFrame(shot).dng(), {0.75 * kRoot2, -0.02 * kRoot2, 0.008 * kRoot2, 0.004 * kRoot2, 0.0006, -0.0008}, 8 / 15.0, 6 / 11.0);

  // A field of twice the diagonal: g² = 4, so 4, 16, 64, 256 and 4 times that.
  shot.file.header.fullField = {0, 0, 32, 24};
  ExpectWarp(TaggedFrame(shot).dng(), {3 * kRoot2, -0.32 * kRoot2, 0.512 * kRoot2, 1.024 * kRoot2, 0.0024, -0.0032}, 8 / 15.0, 6 / 11.0);

  shot.items = QorixItemList().F32(QorixItem::kRadialDistortion, {0, 0.25f, 0, 0, 0, 0});
  EXPECT_EQ(TaggedFrame(shot).dng().warp.plane[0].kr[0], 1);
  shot.items = QorixItemList().F32(QorixItem::kRadialDistortion, {1, 0.25f, 0, 0, 0});
  EXPECT_FALSE(TaggedFrame(shot).dng().opcodeLists[2].present);
}

TEST(LensTags, LensPair) {
  Shot shot;
  shot.items.F32(QorixItem::kIntrinsics, {12, 12, 8, 6, 0}).F32(QorixItem::kDistortion, {0, 0, 0, 0, 0});
  ExpectWarp(TaggedFrame(shot).dng(), {1, 0, 0, 0, 0, 0}, 8 / 15.0, 6 / 11.0);

  // Corners are R = 10 from the centre, (R / f)² = 100 / 144. They stay inside when s · (1 + 0.1 · 0.69444 · s²) ≤ 1: 0.99768 for
  // s = 0.94, but 1.00005 for 0.942. Then kr1 = 0.069444 · 0.94³.
  shot.items.F32(QorixItem::kDistortion, {0.1f, 0, 0, 0, 0});
  ExpectWarp(TaggedFrame(shot).dng(), {0.94, 0.0576794, 0, 0, 0, 0}, 8 / 15.0, 6 / 11.0);

  // The pair goes before the radial item; a centre of exactly 0 reads as the middle.
  shot.items = QorixItemList()
                   .F32(QorixItem::kIntrinsics, {12, 12, 0, 30, 0})
                   .F32(QorixItem::kDistortion, {0, 0, 0, 0, 0})
                   .F32(QorixItem::kRadialDistortion, {0.5f, 0, 0, 0, 0, 0});
  ExpectWarp(TaggedFrame(shot).dng(), {1, 0, 0, 0, 0, 0}, 8 / 15.0, 1);
}

TEST(LensTags, StaticItemsCompleteThePair) {
  Shot shot;
  shot.file.staticItems.F32(QorixItem::kStaticIntrinsics, {12, 12, 8, 6, 0}).F32(QorixItem::kStaticDistortion, {0.1f, 0, 0, 0, 0});
  EXPECT_NEAR(TaggedFrame(shot).dng().warp.plane[0].kr[0], 0.94, 1e-9);
  shot.items.F32(QorixItem::kDistortion, {0, 0, 0, 0, 0});
  EXPECT_EQ(TaggedFrame(shot).dng().warp.plane[0].kr[0], 1);
}

/// WarpRectilinear as DNG 1.7 tells it, for a destination point: does its source lie in the frame?
bool SourceInside(const std::array<double, 6>& k, std::array<double, 2> centre, double reach, double x, double y) {
  const double dx = (x - centre[0]) / reach, dy = (y - centre[1]) / reach, r2 = dx * dx + dy * dy;
  const double f = k[0] + k[1] * r2 + k[2] * r2 * r2 + k[3] * r2 * r2 * r2;
  const double sourceX = centre[0] + reach * (f * dx + k[4] * 2 * dx * dy + k[5] * (r2 + 2 * dx * dx));
  const double sourceY = centre[1] + reach * (f * dy + k[5] * 2 * dx * dy + k[4] * (r2 + 2 * dy * dy));
  return sourceX >= 0 && sourceX <= 16 && sourceY >= 0 && sourceY <= 12;
}

/// Coefficients after a zoom: every power of the distance shrinks with it.
std::array<double, 6> Zoomed(std::array<double, 6> k, double s) {
  constexpr std::array kPowers = {1, 3, 5, 7, 2, 2};
  for (size_t i = 0; i < 6; ++i) k[i] *= std::pow(s, kPowers[i]);
  return k;
}

TEST(LensTags, ZoomKeepsThePictureInside) {
  // Calibrated on a field of 20 × 16 around the frame, off its centre: (11, 9) there is (9, 7) in the frame. The farthest corner is
  // (9, 7) away, R² = 130, R / f = √130 / 12.
  constexpr std::array kCentre = {9.0, 7.0};
  constexpr std::array<std::array<float, 5>, 4> kLenses = {{{0.1f, -0.02f, 0.01f, 0.004f, -0.003f},
                                                            {-0.08f, 0.02f, 0, 0.002f, 0.001f},
                                                            {0.3f, 0.1f, 0.05f, -0.01f, 0.02f},
                                                            {0, 0, 0, 0.03f, 0}}};
  const double reach = std::sqrt(130.0), ratio = reach / 12;
  for (const std::array<float, 5>& d : kLenses) {
    SCOPED_TRACE(d[0]);
    Shot shot;
    shot.file.header.fullField = {0, 0, 20, 16};
    shot.items.F32(QorixItem::kIntrinsics, {12, 13, 11, 9, 0}).F32(QorixItem::kDistortion, {d[0], d[1], d[2], d[3], d[4]});
    const std::array<double, 6> model = {
        1, d[0] * std::pow(ratio, 2), d[1] * std::pow(ratio, 4), d[2] * std::pow(ratio, 6), d[3] * ratio, d[4] * ratio};
    const auto allInside = [&](double s) {
      const std::array<double, 6> k = Zoomed(model, s);
      for (const double x : {0, 8, 16}) {
        for (const double y : {0, 6, 12}) {
          if (!SourceInside(k, kCentre, reach, x, y)) return false;
        }
      }
      return true;
    };
    int step = 0;
    while (!allInside(1 - step / 500.0)) ++step;
    ASSERT_LT(step, 250);
    ExpectWarp(TaggedFrame(shot).dng(), Zoomed(model, 1 - step / 500.0), 9 / 15.0, 7 / 11.0);
  }
}

TEST(LensTags, NoZoomIsGoodEnough) {
  Shot shot;
  // Even at half the size the corners would be 1 + 10 · 0.69444 · 0.25 = 2.7 times as far out: 1.37.
  shot.items.F32(QorixItem::kIntrinsics, {12, 12, 8, 6, 0}).F32(QorixItem::kDistortion, {10, 0, 0, 0, 0});
  ExpectWarp(TaggedFrame(shot).dng(), {1, 1000 / 144.0, 0, 0, 0, 0}, 8 / 15.0, 6 / 11.0);
}

TEST(LensTags, CorrectedFramesHaveNoWarp) {
  struct Case {
    std::vector<uint8_t> item;
    bool warped;
  };
  for (const Case& c : {Case{{0, 0, 0, 0}, false}, Case{{1, 0, 0, 0}, true}, Case{{}, true}}) {
    Shot shot;
    shot.file.staticItems.Raw(QorixItem::kDistortionCorrection, c.item);
    shot.items.F32(QorixItem::kRadialDistortion, {0.75f, -0.01f, 0, 0, 0, 0});
    EXPECT_EQ(TaggedFrame(shot).dng().opcodeLists[2].present, c.warped);
  }
}

}  // namespace
}  // namespace qx
