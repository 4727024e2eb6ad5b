// Camera data of recordings, as the parser sees it.
#include <array>
#include <map>

#include "media/dng_parser.h"
#include "qorix/exif_tags.h"
#include "qorix/tag_inputs.h"
#include "tests/qorix/recording_support.h"

namespace qx {
namespace {

struct FirstFrame {
  explicit FirstFrame(const TestRecording& recording, int32_t index = 0) : file(recording.file) {
    MessageBuffer<256> message;
    EXPECT_EQ(recording_scan(&scan, file, message), 0);
    EXPECT_EQ(frame_setup(&scan, index, &tables, &modules, nullptr, &frame), 0);
  }
  const DngInfo& dng() const { return frame.dng; }
  MemorySource file;
  RecordingScan scan;
  TableCache tables;
  CameraModules modules;
  DecodedFrame frame;
};

TEST(CameraTags, PatternFollowsTheFramesOrigin) {
  constexpr std::array<uint8_t, 4> kPatterns[] = {{0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}, {2, 1, 1, 0}};
  for (uint8_t code = 0; code < 4; ++code) {
    for (uint16_t left : {0, 5}) {
      for (uint16_t top : {0, 3}) {
        const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
          options.file.header.cfaCode = code;
          options.format.left = left;
          options.format.top = top;
          options.frames = 1;
        });
        const FirstFrame first(recording);
        ASSERT_TRUE(first.frame.hasTags) << first.frame.message.text();
        std::array<uint8_t, 4> expected;  // the sensor's pattern, read from the frame's corner
        for (int row = 0; row < 2; ++row) {
          for (int col = 0; col < 2; ++col)
            expected[size_t(2 * row + col)] = kPatterns[code][size_t(2 * ((row + top) & 1) + ((col + left) & 1))];
        }
        EXPECT_EQ(first.dng().cfa, expected) << int(code) << " at " << left << "," << top;
      }
    }
  }
}

TEST(CameraTags, LevelsFollowDynamicItemsAndTables) {
  // 12 bits: black 64, white 4095.
  struct Row {
    double factor;  // of the dynamic levels
    double black, white;
  };
  for (const Row& row : {Row{0, 64, 4095}, Row{16, 1024, 65520}, Row{4.1, 262.4, 16380}}) {
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.dynamicLevels = row.factor;
      options.frames = 1;
    });
    const FirstFrame first(recording);
    EXPECT_NEAR(first.dng().black[0], row.black, 0.01) << row.factor;
    if (row.factor == 0) {
      EXPECT_EQ(first.dng().white, row.white);
      EXPECT_EQ(first.dng().bitsPerSample, 12u);
      ASSERT_EQ(first.dng().linearization.size(), 4096u) << "a declared RAW depth comes with the identity";
      EXPECT_EQ(first.dng().linearization[4095], 4095);
    }
  }
  const TestRecording table = MakeTestRecording([](QorixRecordingOptions& options) {
    options.table = QorixTable::kBitDepthLinear;
    options.codeBits = 9;
    options.frames = 1;
  });
  const FirstFrame first(table);
  EXPECT_EQ(first.dng().white, 511);
  EXPECT_EQ(first.dng().black[0], 8) << "64 × 511 / 4095, rounded";
  EXPECT_EQ(first.dng().bitsPerSample, 9u);
}

TEST(CameraTags, NeutralFromItemGainsOrDaylight) {
  struct Row {
    QorixWhiteBalance source;
    double red, blue;
  };
  for (const Row& row : {Row{QorixWhiteBalance::kNeutral, 0.5, 0.62}, Row{QorixWhiteBalance::kGains, 0.5, 0.62},
                         Row{QorixWhiteBalance::kNone, 0.5493230223655701, 0.8021439909934998}}) {
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.whiteBalance = row.source;
      options.frames = 1;
    });
    const FirstFrame first(recording);
    EXPECT_NEAR(first.dng().asShotNeutral[0], row.red, 1e-4);
    EXPECT_NEAR(first.dng().asShotNeutral[1], 1, 1e-6);
    EXPECT_NEAR(first.dng().asShotNeutral[2], row.blue, 1e-4);
  }
}

TEST(CameraTags, TimecodeOfEachFrame) {
  // At 29.97 frames/s an hour has 107,892.1 frames.
  struct Row {
    std::optional<uint32_t> start;
    QorixRate rate;
    int32_t frame;
    std::array<uint8_t, 4> bcd;  // frames, seconds, minutes, hours
  };
  for (const Row& row :
       {Row{std::nullopt, {24, 1}, 7, {0x07, 0x00, 0x00, 0x01}},
        Row{uint32_t(24 * (3600 * 12 + 60 * 34 + 56) + 20), {24, 1}, 7, {0x03, 0x57, 0x34, 0x12}},
        Row{107892u, {30000, 1001}, 0, {0x29, 0x59, 0x59, 0x00}}, Row{107893u, {30000, 1001}, 0, {0x00, 0x00, 0x00, 0x01}}}) {
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.timecodeStart = row.start;
      options.file.header.playback = options.file.header.capture = row.rate;
    });
    const FirstFrame first(recording, row.frame);
    ASSERT_TRUE(first.dng().hasTimeCodes);
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(first.dng().timeCodes[i], row.bcd[i]) << i;
    EXPECT_EQ(first.dng().frameRateNumerator, row.rate.numerator);
  }
}

TEST(CameraTags, ShadingMapsBecomeOneGainMapAPhase) {
  const TestRecording recording = MakeTestRecording([](QorixRecordingOptions& options) {
    options.shadingMaps = true;
    options.frames = 1;
  });
  const FirstFrame first(recording);
  ASSERT_EQ(first.dng().gainMaps.size(), 4u);
  for (uint32_t i = 0; i < 4; ++i) {
    const GainMap& map = first.dng().gainMaps[i];
    EXPECT_EQ(map.top, i / 2) << "RGGB: red, green of the red row, green of the blue row, blue";
    EXPECT_EQ(map.left, i % 2);
    EXPECT_EQ(map.rowPitch, 2u);
    EXPECT_GE(map.gains.front(), 1) << "gains undo vignetting";
  }
}

RecordingHeader PlainHeader(uint16_t width, uint16_t height) {
  RecordingHeader header;
  header.present = true;
  header.sensorWidth = width;
  header.sensorHeight = height;
  header.white = 1023;
  header.playbackNumerator = 24;
  header.playbackDenominator = 1;
  return header;
}

template <typename T>
void PutItem(std::vector<uint8_t>* list, Item id, const std::vector<T>& values) {
  const auto put16 = [list](uint16_t v) { list->insert(list->end(), {uint8_t(v), uint8_t(v >> 8)}); };
  put16(uint16_t(id));
  put16(uint16_t(values.size() * sizeof(T)));
  const auto* bytes = reinterpret_cast<const uint8_t*>(values.data());
  list->insert(list->end(), bytes, bytes + values.size() * sizeof(T));
  while (list->size() % 4 != 0) list->push_back(0);
}

/// A frame of width × height whose static items are `items`, set up without a file.
struct BareFrame {
  BareFrame(uint16_t width, uint16_t height, std::vector<uint8_t> items) {
    scan.header = PlainHeader(width, height);
    scan.staticMetadata = std::move(items);
    scan.frameSlots = {0};
    scan.file = &nothing;
    frame.frameIndex = 0;
    frame.chunk = &chunk;
    frame.head.width = width;
    frame.head.height = height;
  }
  bool Build() { return build_frame_tags(&scan, &modules, &frame) == 0 && frame.hasTags; }
  MemorySource nothing{Bytes()};
  RecordingScan scan;
  CameraModules modules;
  ChunkRecord chunk;
  DecodedFrame frame;
};

// The pair of items as the camera's interface tells them: f, fy, cx, cy, skew and five coefficients.
TEST(CameraTags, WarpFromIntrinsicsStaysInsideTheFrame) {
  struct Row {
    float d0;
    double zoom;
  };
  // Focal length 100, centre (50, 40) of 100 × 80: the corner lies at r² = (50² + 40²) / 100² = 0.41. Barrel (d0 < 0) maps inside at any
  // zoom; pincushion needs s (1 + d0 r² s²) ≤ 1 at the corner: d0 = 0.1 → s ≈ 0.9634 (the first of 1, 0.998, … is 0.962).
  for (const Row& row : {Row{0, 1}, Row{-0.1f, 1}, Row{0.1f, 0.962}}) {
    std::vector<uint8_t> items;
    PutItem<float>(&items, Item::STATIC_INTRINSICS, {100, 100, 50, 40, 0});
    PutItem<float>(&items, Item::STATIC_DISTORTION, {row.d0, 0, 0, 0, 0});
    BareFrame bare(100, 80, items);
    ASSERT_TRUE(bare.Build()) << bare.frame.message.text();
    const RectilinearWarp& warp = bare.frame.dng.warp;
    ASSERT_TRUE(warp.valid);
    EXPECT_NEAR(warp.plane[0].kr[0], row.zoom, 1e-9);
    EXPECT_NEAR(warp.plane[0].kr[1], double(row.d0) * 0.41 * row.zoom * row.zoom * row.zoom, 1e-6);
    EXPECT_NEAR(warp.centreX, 50.0 / 99, 1e-6);
    EXPECT_NEAR(warp.centreY, 40.0 / 79, 1e-6);
  }
}

TEST(CameraTags, WarpIsLeftOutWhenTheCameraCorrected) {
  std::vector<uint8_t> items;
  PutItem<float>(&items, Item::STATIC_INTRINSICS, {100, 100, 50, 40, 0});
  PutItem<float>(&items, Item::STATIC_DISTORTION, {0.1f, 0, 0, 0, 0});
  PutItem<uint8_t>(&items, Item::DISTORTION_CORR, {0, 0, 0, 0});
  BareFrame bare(100, 80, items);
  ASSERT_TRUE(bare.Build());
  EXPECT_FALSE(bare.frame.dng.warp.valid);
}

TEST(CameraTags, SaysWhyThereAreNone) {
  BareFrame noHeader(100, 80, {});
  noHeader.scan.header.present = false;
  EXPECT_FALSE(noHeader.Build());
  EXPECT_STREQ(noHeader.frame.message.text(), "no header (neither original nor copy): camera static data unknown, tags cannot be built");
  BareFrame mono(100, 80, {});
  mono.scan.header.cfaCode = 4;
  EXPECT_FALSE(mono.Build());
  EXPECT_STREQ(mono.frame.message.text(), "CFA 4 is not Bayer (RGB/MONO/NIR): tags are not built");
}

std::map<uint16_t, std::string> TextTags(const DecodedFrame& frame) {
  std::map<uint16_t, std::string> texts;
  tiff_walk(frame.tags, [&](const TiffEntry& entry) {
    if (entry.type == 2 && entry.hasValue) texts[entry.tag] = std::string(TextOf(entry.value));
  });
  return texts;
}

TEST(CameraTags, WallClockWithTimeZone) {
  struct Row {
    int16_t minutes;
    const char* date;
    const char* zone;
  };
  // 2024-02-29 00:30:00 UTC and 123456789 ns.
  for (const Row& row :
       {Row{0, "2024:02:29 00:30:00", "Z"}, Row{-90, "2024:02:28 23:00:00", "-01:30"}, Row{345, "2024:02:29 06:15:00", "+05:45"}}) {
    BareFrame bare(100, 80, {});
    bare.scan.header.sensorStartNs = 5000;
    bare.scan.header.wallClockStartNs = uint64_t(1709166600) * 1000000000 + 123456000;
    bare.scan.header.timeZoneMinutes = row.minutes;
    bare.chunk.timestamp = 5789;
    ASSERT_TRUE(bare.Build());
    std::map<uint16_t, std::string> texts = TextTags(bare.frame);
    EXPECT_EQ(texts[36867], row.date);
    EXPECT_EQ(texts[36880], row.zone);
    EXPECT_EQ(texts[37520], "123456789");
  }
}

TEST(CameraTags, PositionComesFromTheRecordingsStart) {
  const TestRecording recording = MakeTestRecording([](QorixRecordingOptions& options) {
    options.gpsStart = true;
    options.frames = 1;
  });
  const FirstFrame first(recording);
  ASSERT_TRUE(first.dng().hasPosition);
  const std::optional<Bytes> item = recording_find_meta(first.scan, Item::GPS_START);
  ASSERT_TRUE(item);
  EXPECT_NEAR(first.dng().latitude, std::bit_cast<double>(LoadU64Le(item->data())), 1e-6);
  EXPECT_NEAR(first.dng().longitude, std::bit_cast<double>(LoadU64Le(item->data() + 8)), 1e-6);
}

}  // namespace
}  // namespace qx
