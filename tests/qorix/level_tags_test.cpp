// Levels, areas, colour and names of a frame, each rule by itself; lens_tags_test.cpp has the opcode lists, exif_tags_test.cpp times and
// places.
#include <gtest/gtest.h>

#include <array>
#include <numeric>

#include "tests/qorix/tagged_frame.h"

namespace qx {
namespace {

TEST(LevelTags, PatternAndBlackLevelsFollowTheOrigin) {
  constexpr std::string_view kPatterns[4] = {"RGGB", "GRBG", "GBRG", "BGGR"};
  for (uint8_t code = 0; code < 4; ++code) {
    for (int origin = 0; origin < 4; ++origin) {
      const int left = origin & 1, top = origin >> 1;
      Shot shot;
      shot.file.header.cfaCode = code;
      shot.file.header.black = {10, 20, 30, 40};
      shot.format.left = uint16_t(6 + left);
      shot.format.top = uint16_t(2 + top);
      const TaggedFrame tagged(shot);
      ASSERT_TRUE(tagged.frame.hasTags) << tagged.frame.message.text();
      for (int position = 0; position < 4; ++position) {
        const int row = (position / 2 + top) % 2, column = (position % 2 + left) % 2;  // on the sensor
        const size_t color = std::string_view("RGB").find(kPatterns[code][size_t(2 * row + column)]);
        EXPECT_EQ(tagged.dng().cfa[size_t(position)], color) << int(code) << ' ' << origin;
        EXPECT_EQ(tagged.dng().black[size_t(position)], float(10 + 10 * (2 * row + column))) << int(code) << ' ' << origin;
      }
    }
  }
}

TEST(LevelTags, LevelsOfTheFrameReplaceTheStaticOnes) {
  struct Case {
    const char* what;
    int32_t black;
    uint32_t white;
    float dynamicBlack;  // negative: no item
    int32_t dynamicWhite;
    float expectedBlack, expectedWhite;
  };
  for (const Case& c : std::initializer_list<Case>{
           {"static", 64, 1023, -1, 0, 64, 1023},
           {"no static white", 64, 0, -1, 0, 64, 1023},
           {"white alone", 64, 1023, -1, 900, 64, 900},
           {"as the static ones", 64, 1023, 64.25f, 0, 64.25f, 1023},
           {"2 times", 64, 1023, 128, 0, 128, 2046},
           {"4 times", 64, 1023, 256, 0, 256, 4092},
           {"8 times", 64, 1023, 512, 0, 512, 8184},
           {"12 times is none of them", 64, 1023, 768, 0, 768, 1023},
           {"16 times", 64, 1023, 1024, 0, 1024, 16368},
           {"16 times, 4 % above", 64, 1023, 1065, 0, 1065, 16368},
           {"16 times, 6 % above", 64, 1023, 1086, 0, 1086, 1023},
           {"16 times with a white", 64, 1023, 1024, 2000, 1024, 32000},
           {"limited", 256, 4096, 4096, 0, 4096, 65535},
           {"no static black to compare with", 0, 1023, 64, 0, 64, 1023},
       }) {
    SCOPED_TRACE(c.what);
    Shot shot;
    shot.file.header.black.fill(c.black);
    shot.file.header.white = c.white;
    const float black = c.dynamicBlack;
    if (black >= 0) shot.items.F32(QorixItem::kDynamicBlack, {black, black, black, black});
    if (c.dynamicWhite != 0) shot.items.I32(QorixItem::kDynamicWhite, {c.dynamicWhite});
    const TaggedFrame tagged(shot);
    EXPECT_EQ(tagged.dng().black, (std::array{c.expectedBlack, c.expectedBlack, c.expectedBlack, c.expectedBlack}));
    EXPECT_EQ(tagged.dng().white, c.expectedWhite);
    EXPECT_EQ(tagged.dng().bitsPerSample, 16u);
  }
}

TEST(LevelTags, RawTypeTellsTheBits) {
  struct Case {
    uint8_t type;
    uint32_t white, bits;
  };
  // A depth of 8 … 15 that holds the white level.
  for (const Case& c : std::initializer_list<Case>{{8, 255, 8},
                                                   {8, 1023, 16},
                                                   {9, 512, 16},
                                                   {9, 511, 9},
                                                   {10, 1023, 10},
                                                   {12, 1023, 12},
                                                   {15, 1023, 15},
                                                   {16, 1023, 16},
                                                   {7, 100, 16}}) {
    Shot shot;
    shot.file.header.white = c.white;
    shot.file.staticItems.U8(QorixItem::kRawType, {c.type, 0, 0, 0});
    const TaggedFrame tagged(shot);
    EXPECT_EQ(tagged.dng().bitsPerSample, c.bits) << int(c.type);
    std::vector<uint16_t> identity(c.bits < 16 ? size_t(1) << c.bits : 0);
    std::iota(identity.begin(), identity.end(), uint16_t(0));
    EXPECT_EQ(tagged.dng().linearization, identity) << int(c.type);
  }
}

TEST(LevelTags, ConditionalMeansScaleTheLevels) {
  struct Case {
    size_t entries;
    uint32_t bits;
  };
  TaggedFrame tagged{Shot()};
  tagged.frame.tableMode = 1;
  for (const Case& c : {Case{200, 8}, Case{256, 8}, Case{257, 10}, Case{1025, 12}, Case{4097, 14}, Case{16385, 16}}) {
    auto table = std::make_shared<DecodingTable>();
    table->mode = 1;
    table->shift = 2;
    table->lut.resize(c.entries);
    std::iota(table->lut.begin(), table->lut.end(), uint16_t(7));
    tagged.frame.table = table;
    for (const uint16_t own : {0, 1000}) {
      tagged.frame.head.table.p88 = own;
      tagged.Rebuild();
      EXPECT_EQ(tagged.dng().bitsPerSample, c.bits);
      EXPECT_EQ(tagged.dng().linearization, table->lut);
      EXPECT_EQ(tagged.dng().black[0], 256);  // 64 · 2²
      EXPECT_EQ(tagged.dng().white, own == 0 ? 4092 : 4000);
    }
  }
}

TEST(LevelTags, BitDepthTableLimitsTheLevels) {
  Shot shot;
  shot.file.header.white = 4095;
  shot.file.header.black = {256, 256, 260, 0};
  TaggedFrame tagged(shot);
  auto table = std::make_shared<DecodingTable>();
  table->mode = 2;
  table->bitDepth = 10;
  tagged.frame.tableMode = 2;
  tagged.frame.table = table;
  tagged.Rebuild();
  EXPECT_EQ(tagged.dng().bitsPerSample, 10u);
  EXPECT_EQ(tagged.dng().white, 1023);
  EXPECT_EQ(tagged.dng().black, (std::array{64.f, 64.f, 65.f, 0.f}));  // 256 · 1023 / 4095 = 63.95, 260 · … = 64.95
  EXPECT_TRUE(tagged.dng().linearization.empty());

  tagged.scan.header.white = 800;
  tagged.Rebuild();
  EXPECT_EQ(tagged.dng().white, 800);
  EXPECT_EQ(tagged.dng().black[0], 256);
}

TEST(LevelTags, AreasComeFromTheRectangles) {
  struct Case {
    const char* what;
    QorixRect field, crop;
    uint16_t sensorWidth, sensorHeight;
    uint32_t activeRight, activeBottom;
    float x, y, width, height;
  };
  // The frame has 16 × 12 samples.
  for (const Case& c : std::initializer_list<Case>{
           {"larger field", {10, 10, 30, 26}, {12, 12, 24, 20}, 40, 40, 16, 12, 2, 2, 12, 8},
           {"field without crop", {0, 0, 15, 11}, {}, 40, 40, 12, 8, 1, 1, 14, 10},
           {"crop of the field is too wide", {0, 0, 18, 13}, {}, 40, 40, 16, 12, 0, 0, 16, 12},
           {"crop is too wide", {0, 0, 16, 12}, {0, 0, 18, 8}, 40, 40, 16, 12, 0, 0, 16, 12},
           {"no rectangles", {}, {}, 14, 10, 12, 8, 1, 1, 13, 9},
           {"rectangle that is inside out", {16, 0, 0, 12}, {0, 8, 8, 0}, 16, 12, 16, 12, 0, 0, 15, 11},
       }) {
    SCOPED_TRACE(c.what);
    Shot shot;
    shot.file.header.fullField = c.field;
    shot.file.header.crop = c.crop;
    shot.file.header.sensorWidth = c.sensorWidth;
    shot.file.header.sensorHeight = c.sensorHeight;
    const TaggedFrame tagged(shot);
    const DngInfo& dng = tagged.dng();
    EXPECT_EQ((std::array{dng.activeTop, dng.activeLeft, dng.activeBottom, dng.activeRight}),
              (std::array{0u, 0u, c.activeBottom, c.activeRight}));
    EXPECT_EQ((std::array{dng.cropX, dng.cropY, dng.cropWidth, dng.cropHeight}), (std::array{c.x, c.y, c.width, c.height}));
  }
}

TEST(LevelTags, Neutral) {
  constexpr double kRed = 0.5493230223655701, kBlue = 0.8021439909934998;
  constexpr std::array kNeutral = {0.5, 1.0, 0.625};
  struct Case {
    const char* what;
    QorixItemList items;
    double red, blue;
  };
  const std::vector<Case> cases = {
      {"none", {}, kRed, kBlue},
      {"neutral", QorixItemList().Rationals(QorixItem::kNeutral, kNeutral).F32(QorixItem::kWbGains, {4, 1, 1, 4}), 0.5, 0.625},
      // Mean green (1/1 + 1/0.5) / 2 = 1.5.
      {"gains", QorixItemList().F32(QorixItem::kWbGains, {2, 1, 0.5f, 1.6f}), 0.5 / 1.5, 0.625 / 1.5},
      {"a zero gain", QorixItemList().F32(QorixItem::kWbGains, {2, 0, 1, 1.6f}), kRed, kBlue},
      {"a negative gain", QorixItemList().F32(QorixItem::kWbGains, {2, 1, 1, -1.6f}), kRed, kBlue},
      {"neutral too short", QorixItemList().U32(QorixItem::kNeutral, {1, 2, 1, 1, 5}).F32(QorixItem::kWbGains, {2, 1, 1, 4}), 0.5, 0.25},
      {"gains too short", QorixItemList().F32(QorixItem::kWbGains, {2, 1, 1}), kRed, kBlue},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Shot shot;
    shot.items = c.items;
    const TaggedFrame tagged(shot);
    EXPECT_TRUE(tagged.dng().hasAsShotNeutral);
    EXPECT_NEAR(tagged.dng().asShotNeutral[0], c.red, 1e-7);
    EXPECT_EQ(tagged.dng().asShotNeutral[1], 1);
    EXPECT_NEAR(tagged.dng().asShotNeutral[2], c.blue, 1e-7);
  }
}

TEST(LevelTags, BoostAsBaselineExposure) {
  struct Case {
    int32_t boost;
    double stops;
  };
  for (const Case& c : {Case{100, 0}, Case{200, 1}, Case{50, -1}, Case{141, 0.495695}, Case{0, 0}, Case{-200, 0}}) {
    Shot shot;
    shot.items.I32(QorixItem::kPostRawBoost, {c.boost});
    EXPECT_NEAR(TaggedFrame(shot).dng().baselineExposure, c.stops, 1e-6) << c.boost;
  }
  EXPECT_EQ(TaggedFrame(Shot()).dng().baselineExposure, 0);
}

TEST(LevelTags, MatricesNeedAllTheirNumbers) {
  constexpr std::array<double, 9> kMatrix = {1.5, -0.25, 0, 0.125, 2, -1, 0, 0.5, 0.75};
  Shot shot;
  shot.file.staticItems.Rationals(QorixItem::kColorMatrix1, kMatrix)
      .Rationals(QorixItem::kColorMatrix2, std::span(kMatrix).first(8))
      .Rationals(QorixItem::kForwardMatrix2, kMatrix)
      .Rationals(QorixItem::kCalibration1, kMatrix)
      .U16(QorixItem::kIlluminants, {17, 21});
  const TaggedFrame tagged(shot);
  const DngInfo& dng = tagged.dng();
  EXPECT_TRUE(dng.hasColorMatrix1 && dng.hasForwardMatrix2 && dng.hasCameraCalibration1);
  EXPECT_FALSE(dng.hasColorMatrix2 || dng.hasForwardMatrix1 || dng.hasCameraCalibration2);
  for (const Matrix3* matrix : {&dng.colorMatrix1, &dng.forwardMatrix2, &dng.cameraCalibration1}) {
    for (size_t i = 0; i < 9; ++i) EXPECT_EQ(matrix->m[i / 3][i % 3], kMatrix[i]);
  }
  EXPECT_EQ(dng.calibrationIlluminant1, 17u);
  EXPECT_EQ(dng.calibrationIlluminant2, 21u);

  Shot half;
  half.file.staticItems.U16(QorixItem::kIlluminants, {17});
  EXPECT_EQ(TaggedFrame(half).dng().calibrationIlluminant1, 0u);
}

TEST(LevelTags, TheFramesModuleOverridesTheHeader) {
  constexpr std::array<double, 9> kMatrix = {1, 0, 0, 0, 2, 0, 0, 0, 3};
  Shot shot;
  shot.file.staticItems.Text(QorixItem::kMake, "Maker").Text(QorixItem::kModel, "Wide").Rationals(QorixItem::kColorMatrix1, kMatrix);
  const auto module = [](std::string_view id) {
    return QorixItemList()
        .Text(QorixItem::kPhysicalCameraId, id)
        .Text(QorixItem::kModel, "Tele")
        .U8(QorixItem::kModuleCfa, {3, 0, 0, 0})
        .U16(QorixItem::kModuleArrays, {40, 40, 0, 0, 12, 8, 0, 0, 10, 6})
        .I32(QorixItem::kModuleLevels, {500, 1, 2, 3, 4})
        .U32(QorixItem::kColorMatrix1, {1, 1})  // too short: the recording's own counts
        .Encoded();
  };
  shot.blobs = {{kQorixCameraModule, 0, module("2")}};
  shot.items.Text(QorixItem::kPhysicalId, "2");
  const TaggedFrame tele(shot);
  EXPECT_EQ(tele.dng().cfa, (std::array<uint8_t, 4>{2, 1, 1, 0}));
  EXPECT_EQ(tele.dng().black, (std::array{1.f, 2.f, 3.f, 4.f}));
  EXPECT_EQ(tele.dng().white, 500);
  EXPECT_EQ((std::array{tele.dng().activeRight, tele.dng().activeBottom}), (std::array{12u, 8u}));
  EXPECT_EQ((std::array{tele.dng().cropX, tele.dng().cropWidth}), (std::array{3.f, 10.f}));
  EXPECT_EQ(tele.dng().make, "Maker");
  EXPECT_EQ(tele.dng().model, "Tele");
  EXPECT_TRUE(tele.dng().hasColorMatrix1);
  EXPECT_EQ(tele.dng().colorMatrix1.m[2][2], 3);

  shot.items = QorixItemList().Text(QorixItem::kPhysicalId, "0");
  const TaggedFrame wide(shot);
  EXPECT_EQ(wide.dng().cfa, (std::array<uint8_t, 4>{0, 1, 1, 2}));
  EXPECT_EQ(wide.dng().white, 1023);
  EXPECT_EQ(wide.dng().model, "Wide");
}

TEST(LevelTags, NamesAndOrientation) {
  Shot shot;
  shot.file.staticItems.Text(QorixItem::kMake, std::string_view("Maker\0\0\0", 8))
      .Text(QorixItem::kSoftware, "1.2")
      .Text(QorixItem::kUniqueModel, "Maker Wide")
      .Text(QorixItem::kReel, "A001")
      .Text(QorixItem::kCameraName, "Lens");
  const TaggedFrame tagged(shot);
  EXPECT_EQ(tagged.Text("IFD0", 271), "Maker");
  EXPECT_EQ(tagged.dng().software, "1.2");
  EXPECT_EQ(tagged.dng().uniqueCameraModel, "Maker Wide");
  EXPECT_EQ(tagged.dng().reelName, "A001");
  EXPECT_EQ(tagged.dng().lensModel, "Lens");
  EXPECT_EQ(tagged.dng().dngVersion, (std::array<uint8_t, 4>{1, 4, 0, 0}));

  struct Case {
    int16_t degrees;
    uint32_t orientation;
  };
  for (const Case& c : {Case{0, 1}, Case{90, 6}, Case{180, 3}, Case{270, 8}, Case{-90, 1}, Case{45, 1}}) {
    Shot turned;
    turned.file.header.rotationDegrees = c.degrees;
    EXPECT_EQ(TaggedFrame(turned).dng().orientation, c.orientation) << c.degrees;
  }
}

TEST(LevelTags, NoTagsWithoutHeaderOrBayerPattern) {
  Shot mono;
  mono.file.header.cfaCode = 5;
  const TaggedFrame tagged(mono);
  EXPECT_FALSE(tagged.frame.hasTags);
  EXPECT_STREQ(tagged.frame.message.text(), "CFA 5 is not Bayer (RGB/MONO/NIR): tags are not built");

  TaggedFrame headless{Shot()};
  ASSERT_TRUE(headless.frame.hasTags);
  headless.scan.header.present = false;
  headless.Rebuild();
  EXPECT_FALSE(headless.frame.hasTags);
  EXPECT_STREQ(headless.frame.message.text(), "no header (neither original nor copy): camera static data unknown, tags cannot be built");
}

}  // namespace
}  // namespace qx
