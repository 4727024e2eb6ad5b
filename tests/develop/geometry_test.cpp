#include "develop/geometry.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qx {
namespace {

DngInfo CameraOf(uint32_t width, uint32_t height) {
  DngInfo camera;
  camera.width = camera.activeRight = width;
  camera.height = camera.activeBottom = height;
  camera.cropWidth = float(width);
  camera.cropHeight = float(height);
  return camera;
}

DevelopParams ParamsOf(int32_t scaleCode) {
  DevelopParams params;
  params.scaleCode = scaleCode;
  return params;
}

RectilinearWarp WarpOf(std::array<double, 4> kr, std::array<double, 2> kt) {
  RectilinearWarp warp;
  warp.valid = true;
  warp.planes = 1;
  std::copy(kr.begin(), kr.end(), warp.plane[0].kr);
  std::copy(kt.begin(), kt.end(), warp.plane[0].kt);
  return warp;
}

TEST(OutputSizes, OffersExactHalvesOnly) {
  struct Row {
    uint32_t width, height;
    OutputSizes expected;
    const char* why;
  };
  for (const Row& row :
       {Row{3840, 2160, {{3840, 2160}, {1920, 1080}, {960, 540}}, "UHD"}, Row{1920, 1080, {{1920, 1080}, {}, {}}, "already fits"},
        Row{4096, 2160, {{4096, 2160}, {}, {}}, "1920 × 1012 is not half"}, Row{4032, 3024, {{4032, 3024}, {}, {}}, "fits as 1440 × 1080"},
        Row{2880, 2160, {{2880, 2160}, {1440, 1080}, {720, 540}}, "4:3"},
        Row{3840, 1600, {{3840, 1600}, {1920, 800}, {960, 400}}, "wide, height above 1080"},
        Row{3840, 1080, {{3840, 1080}, {}, {}}, "height must be above 1080"},
        Row{3840, 1602, {{3840, 1602}, {}, {}}, "801 rows become 802"},
        // 2898 × 0.5 = 1449 becomes the even 1450, aligned to 1448, which is half of the aligned 2896.
        Row{2898, 2160, {{2896, 2160}, {1448, 1080}, {724, 540}}, "both widths lose columns"},
        Row{3847, 2161, {{3840, 2160}, {}, {}}, "odd sides become even, then the width a multiple of 8"},
        Row{14, 1200, {{8, 1200}, {}, {}}, "narrow"}}) {
    const OutputSizes sizes = ComputeOutputSizes(CameraOf(row.width, row.height), 8);
    EXPECT_EQ(sizes.full, row.expected.full) << row.why;
    EXPECT_EQ(sizes.half, row.expected.half) << row.why;
    EXPECT_EQ(sizes.quarter, row.expected.quarter) << row.why;
  }
}

TEST(Geometry, CropsWithinActiveAreaAndImage) {
  DngInfo camera = CameraOf(4000, 3000);
  camera.activeLeft = 8;
  camera.activeTop = 4;
  camera.cropX = 100.7f;
  camera.cropY = 50.9f;
  DevelopGeometry geometry;
  ASSERT_TRUE(ComputeGeometry(camera, {}, ParamsOf(0), &geometry));
  EXPECT_EQ(geometry.activeLeft, 8);
  EXPECT_EQ(geometry.activeTop, 4);
  EXPECT_EQ(geometry.activeWidth, 3992);
  EXPECT_EQ(geometry.activeHeight, 2996);
  // 4000 − 108 = 3892 columns are left, 3888 after alignment: 2 of the 4 removed ones lie on the left.
  EXPECT_EQ(geometry.output, (Size{3888, 2946}));
  EXPECT_EQ(geometry.cropX, 102);
  EXPECT_EQ(geometry.cropY, 50);
  EXPECT_TRUE(geometry.isCopy());
}

TEST(Geometry, AlignmentRemovesColumnsOnBothSides) {
  struct Row {
    int32_t align, width, left;
  };
  // 1934 = 241 · 8 + 6 = 175 · 11 + 9; of an odd number the smaller part goes on the left.
  for (const Row& row : {Row{8, 1928, 3}, Row{11, 1925, 4}, Row{1, 1934, 0}, Row{0, 1934, 0}}) {
    DevelopParams params;
    params.widthAlign = row.align;
    DevelopGeometry geometry;
    ASSERT_TRUE(ComputeGeometry(CameraOf(1934, 1080), {}, params, &geometry));
    EXPECT_EQ(geometry.output.width, row.width) << row.align;
    EXPECT_EQ(geometry.cropX, row.left) << row.align;
  }
}

TEST(Geometry, HalfSizeMapsWholeCropToUnalignedHalf) {
  DevelopGeometry geometry;
  ASSERT_TRUE(ComputeGeometry(CameraOf(3840, 2160), {}, ParamsOf(2), &geometry));
  EXPECT_EQ(geometry.output, (Size{1920, 1080}));
  EXPECT_EQ(geometry.cropX, 0);
  EXPECT_EQ(geometry.scaleX(), 2);
  EXPECT_EQ(geometry.scaleY(), 2);
  EXPECT_FALSE(geometry.isCopy());

  // 2898 columns map to 1450, of which one on either side is removed.
  ASSERT_TRUE(ComputeGeometry(CameraOf(2898, 2160), {}, ParamsOf(2), &geometry));
  EXPECT_EQ(geometry.output, (Size{1448, 1080}));
  EXPECT_DOUBLE_EQ(geometry.cropX, 2898.0 / 1450);
  EXPECT_DOUBLE_EQ(geometry.scaleX(), 2898.0 / 1450);
  EXPECT_DOUBLE_EQ(geometry.cropX * 2 + geometry.cropWidth, 2898) << "centred";

  EXPECT_FALSE(ComputeGeometry(CameraOf(4096, 2160), {}, ParamsOf(2), &geometry)) << "no half size is offered";
}

TEST(Geometry, RefusesWhatCannotBeDeveloped) {
  struct Row {
    void (*change)(DngInfo*);
    const char* why;
  };
  const DngInfo good = CameraOf(64, 48);
  DevelopGeometry geometry;
  ASSERT_TRUE(ComputeGeometry(good, {}, ParamsOf(0), &geometry));
  for (const Row& row :
       {Row{[](DngInfo* c) { c->activeRight = 65; }, "active area past the image"},
        Row{[](DngInfo* c) { c->activeLeft = 57; }, "active area of 7 columns"},
        Row{[](DngInfo* c) { c->activeTop = 41; }, "active area of 7 rows"}, Row{[](DngInfo* c) { c->activeTop = 60; }, "top below bottom"},
        Row{[](DngInfo* c) { c->cropX = 64; }, "crop behind the image"}, Row{[](DngInfo* c) { c->cropHeight = 1; }, "less than two rows"},
        Row{[](DngInfo* c) { c->cropWidth = 7; }, "no aligned column"}, Row{[](DngInfo* c) { c->cropWidth = -64; }, "negative width"},
        Row{[](DngInfo* c) { c->cropHeight = std::nanf(""); }, "not a number"}, Row{[](DngInfo* c) { c->cropY = 3e38f; }, "far away"},
        Row{[](DngInfo* c) { c->width = c->activeRight = 0xFFFFFFFF; }, "wider than any image"}}) {
    DngInfo camera = good;
    row.change(&camera);
    EXPECT_FALSE(ComputeGeometry(camera, {}, ParamsOf(0), &geometry)) << row.why;
    EXPECT_EQ(ComputeOutputSizes(camera, 8).full, Size{}) << row.why;
  }
}

TEST(LensWarp, WorksInPixelsOfTheActiveArea) {
  RectilinearWarp camera = WarpOf({1, 0.1, 0, 0}, {0, 0});
  camera.centreX = 0.5;
  camera.centreY = 0.25;
  DevelopGeometry geometry;
  ASSERT_TRUE(ComputeGeometry(CameraOf(800, 400), camera, ParamsOf(0), &geometry));
  const LensWarp& warp = geometry.warp;
  ASSERT_TRUE(warp.active);
  EXPECT_FALSE(geometry.isCopy());
  EXPECT_EQ(warp.centreX, 400);
  EXPECT_EQ(warp.centreY, 100);
  EXPECT_DOUBLE_EQ(warp.radius, 500);  // to (0, 400): 400 and 300
  struct Row {
    Point from, to;
    const char* why;
  };
  for (const Row& row : {Row{{400, 100}, {400, 100}, "centre"}, Row{{650, 100}, {656.25, 100}, "half the radius: 1 + 0.1 / 4"},
                         Row{{800, 400}, {840, 430}, "corner: 1.1"}, Row{{1200, 700}, {1280, 760}, "beyond it the factor stays 1.1"}}) {
    const Point warped = ApplyLensWarp(warp, row.from);
    EXPECT_NEAR(warped.x, row.to.x, 1e-9) << row.why;
    EXPECT_NEAR(warped.y, row.to.y, 1e-9) << row.why;
  }
}

// At n = (0.6, 0): r² = 0.36; x moves by kt1 (0.36 + 2 · 0.36), y by kt0 · 0.36, in units of the radius.
TEST(LensWarp, TangentialTermsFollowTheDngFormula) {
  DevelopGeometry geometry;
  ASSERT_TRUE(ComputeGeometry(CameraOf(1600, 1200), WarpOf({1, 0, 0, 0}, {0.01, 0.02}), ParamsOf(0), &geometry));
  ASSERT_DOUBLE_EQ(geometry.warp.radius, 1000);
  const Point along = ApplyLensWarp(geometry.warp, {1400, 600});
  EXPECT_NEAR(along.x, 1400 + 1000 * 0.02 * 1.08, 1e-9);
  EXPECT_NEAR(along.y, 600 + 1000 * 0.01 * 0.36, 1e-9);
  // n = (0.6, 0.5): r² = 0.61, 2 nx ny = 0.6.
  const Point across = ApplyLensWarp(geometry.warp, {1400, 1100});
  EXPECT_NEAR(across.x, 1400 + 1000 * (0.02 * (0.61 + 0.72) + 0.01 * 0.6), 1e-9);
  EXPECT_NEAR(across.y, 1100 + 1000 * (0.01 * (0.61 + 0.5) + 0.02 * 0.6), 1e-9);
}

TEST(LensWarp, StrengthScalesTowardsIdentity) {
  const RectilinearWarp camera = WarpOf({1.1, 0.2, -0.04, 0.008}, {0.01, -0.02});
  const auto warpAt = [&](float strength, const RectilinearWarp& from) {
    DevelopParams params;
    params.warpStrength = strength;
    DevelopGeometry geometry;
    EXPECT_TRUE(ComputeGeometry(CameraOf(640, 480), from, params, &geometry));
    return geometry.warp;
  };
  const LensWarp half = warpAt(0.5f, camera);
  EXPECT_DOUBLE_EQ(half.k[0], 1.05);
  EXPECT_DOUBLE_EQ(half.k[1], 0.1);
  EXPECT_DOUBLE_EQ(half.k[3], 0.004);
  EXPECT_DOUBLE_EQ(half.t[1], -0.01);
  EXPECT_EQ(warpAt(1, camera).k[0], 1.1);
  EXPECT_FALSE(warpAt(0, camera).active);
  EXPECT_FALSE(warpAt(1, WarpOf({1, 0, 0, 0}, {0, 0})).active);
  EXPECT_FALSE(warpAt(1, RectilinearWarp{}).active);
  EXPECT_TRUE(warpAt(1, WarpOf({1, 0, 0, std::nan("")}, {0, 0})).active) << "what is not a number differs from the identity";
}

}  // namespace
}  // namespace qx
