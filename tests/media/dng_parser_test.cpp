#include "media/dng_parser.h"

#include <gtest/gtest.h>

#include <limits>

#include "media/dng_info.h"
#include "samples/dng_writer.h"

namespace qx {
namespace {

using Record = std::vector<uint8_t>;

DngDescription Small(uint32_t width = 8, uint32_t height = 6) {
  DngDescription d;
  d.width = width;
  d.height = height;
  return d;
}

Record Write(const DngDescription& d) {
  return WriteDng(d, std::vector<uint16_t>(size_t(d.width) * d.height));
}

/// A record of a small frame whose tags `edit` changed.
Record Edited(const std::function<void(TiffIfd& main, TiffIfd& raw)>& edit) {
  DngDescription d = Small();
  d.edit = edit;
  return Write(d);
}

/// Parses or fails the test with the parser's message.
DngInfo Parsed(const Record& record) {
  DngInfo info;
  MessageBuffer<200> message;
  EXPECT_EQ(dng_parse(record, &info, message), 0) << message.text();
  return info;
}

std::string Refusal(const Record& record) {
  DngInfo info;
  MessageBuffer<200> message;
  return dng_parse(record, &info, message) == 0 ? "accepted" : message.text();
}

constexpr Matrix9 kColorMatrix = {0.6722, -0.0635, -0.0963, -0.4287, 1.246, 0.2028, -0.0908, 0.2162, 0.5668};

DngDescription EverythingSet() {
  DngDescription d = Small(16, 12);
  d.bitsPerSample = 12;
  d.rowsPerStrip = 5;
  d.preview = true;
  d.orientation = 6;
  d.cfa = {1, 2, 0, 1};
  d.black = {64, 65.5, 66, 67};
  d.blackRows = d.blackCols = 2;
  d.white = 4000;
  d.linearization = {0, 5, 65535};
  d.activeArea = {{2, 4, 10, 14}};
  d.crop = {{1, 0.5, 8, 7}};
  d.colorMatrix1 = d.forwardMatrix2 = kColorMatrix;
  d.cameraCalibration1 = Matrix9{1, 0, 0, 0, 1, 0, 0, 0, 1};
  d.analogBalance = {{1, 0.5, 2}};
  d.asShotNeutral = {{0.5, 1, 0.75}};
  d.asShotWhiteXY = {{0.3127, 0.329}};
  d.baselineExposure = -0.25;
  d.illuminant1 = 17;
  d.illuminant2 = 21;
  d.timeCodes = {{0x12, 0x34, 0x56, 0x01, 0, 0, 0, 0}};
  d.frameRate = {24000, 1001};
  d.privateTimecode = DngPrivateTimecode{2, 86399};
  d.make = "Maker";
  d.model = "Model";
  d.software = "Software";
  d.uniqueCameraModel = "Maker Model";
  d.reelName = "A001";
  d.exif = DngExif{0.02, 1.8, 5.4, 800, "Wide"};
  d.gps = DngGps{-33.5, 151.25, -12.5};
  return d;
}

TEST(DngParser, ReadsEveryTagInBothByteOrders) {
  for (const bool bigEndian : {false, true}) {
    SCOPED_TRACE(bigEndian ? "MM" : "II");
    DngDescription d = EverythingSet();
    d.bigEndian = bigEndian;
    const DngInfo info = Parsed(Write(d));
    EXPECT_EQ(info.bigEndian, bigEndian);
    EXPECT_EQ(std::tuple(info.width, info.height, info.bitsPerSample, info.samplesPerPixel, info.compression, info.photometric),
              std::tuple(16u, 12u, 12u, 1u, 1u, 32803u));
    EXPECT_EQ(std::tuple(info.planarConfiguration, info.fillOrder, info.rowsPerStrip, info.tileWidth), std::tuple(1u, 1u, 5u, 0u));
    EXPECT_EQ(info.bytesPerRow, 24u);  // 16 × 12 bits
    EXPECT_EQ(info.stripByteCounts, (std::vector<uint64_t>{120, 120, 48}));
    EXPECT_EQ(info.totalStripBytes, 288u);
    EXPECT_TRUE(info.contiguous);
    EXPECT_EQ(info.cfa, (std::array<uint8_t, 4>{1, 2, 0, 1}));
    EXPECT_EQ(info.black, (std::array<float, 4>{64, 65.5f, 66, 67}));
    EXPECT_EQ(info.white, 4000);
    EXPECT_EQ(info.linearization, (std::vector<uint16_t>{0, 5, 65535}));
    EXPECT_EQ(std::tuple(info.activeTop, info.activeLeft, info.activeBottom, info.activeRight), std::tuple(2u, 4u, 10u, 14u));
    EXPECT_EQ(std::tuple(info.cropX, info.cropY, info.cropWidth, info.cropHeight), std::tuple(1.0f, 0.5f, 8.0f, 7.0f));
    EXPECT_EQ(info.dngVersion, (std::array<uint8_t, 4>{1, 4, 0, 0}));
    EXPECT_TRUE(info.hasColorMatrix1 && info.hasForwardMatrix2 && info.hasCameraCalibration1);
    EXPECT_FALSE(info.hasColorMatrix2 || info.hasForwardMatrix1 || info.hasCameraCalibration2);
    for (int i = 0; i < 9; ++i) {
      EXPECT_EQ(info.colorMatrix1.m[i / 3][i % 3], kColorMatrix[i]);
      EXPECT_EQ(info.forwardMatrix2.m[i / 3][i % 3], kColorMatrix[i]);
    }
    EXPECT_EQ(info.analogBalance, (std::array<double, 3>{1, 0.5, 2}));
    EXPECT_EQ(info.asShotNeutral, (std::array<double, 3>{0.5, 1, 0.75}));
    EXPECT_EQ(info.asShotWhiteXY, (std::array<double, 2>{0.3127, 0.329}));
    EXPECT_EQ(std::tuple(info.baselineExposure, info.calibrationIlluminant1, info.calibrationIlluminant2), std::tuple(-0.25, 17u, 21u));
    EXPECT_TRUE(info.hasTimeCodes);
    EXPECT_EQ(info.timeCodes, *d.timeCodes);
    EXPECT_TRUE(info.hasFrameRate);
    EXPECT_EQ(std::tuple(info.frameRateNumerator, info.frameRateDenominator), std::tuple(24000, 1001));
    EXPECT_EQ(std::tuple(info.hasPrivateTimecode, info.timecodeSource, info.timecodeStart), std::tuple(true, 2, 86399));
    EXPECT_EQ(std::tuple(info.make, info.model, info.software), std::tuple("Maker", "Model", "Software"));
    EXPECT_EQ(std::tuple(info.uniqueCameraModel, info.reelName, info.orientation), std::tuple("Maker Model", "A001", 6u));
    EXPECT_EQ(std::tuple(info.exposureTime, info.fNumber, info.focalLength, info.iso), std::tuple(0.02, 1.8, 5.4, 800u));
    EXPECT_EQ(info.lensModel, "Wide");
    EXPECT_TRUE(info.hasPosition && info.hasAltitude);
    EXPECT_EQ(std::tuple(info.latitude, info.longitude, info.altitude), std::tuple(-33.5, 151.25, -12.5));
  }
}

TEST(DngParser, FillsInWhatIsAbsent) {
  const DngInfo info = Parsed(Edited([](TiffIfd&, TiffIfd& raw) {
    for (const uint16_t tag : {254, 258, 259, 277, 278, 284, 33421, 33422}) raw.Remove(tag);
  }));
  EXPECT_EQ(std::tuple(info.bitsPerSample, info.samplesPerPixel, info.compression, info.rowsPerStrip), std::tuple(1u, 1u, 1u, 6u));
  EXPECT_EQ(info.cfa, (std::array<uint8_t, 4>{0, 1, 1, 2}));
  EXPECT_EQ(info.black, (std::array<float, 4>{0, 0, 0, 0}));
  EXPECT_EQ(info.white, 1);  // 2^1 − 1
  EXPECT_EQ(std::tuple(info.activeBottom, info.activeRight, info.cropWidth, info.cropHeight), std::tuple(6u, 8u, 8.0f, 6.0f));
  EXPECT_EQ(std::tuple(info.scaleH, info.scaleV), std::tuple(1.0f, 1.0f));
  EXPECT_FALSE(info.hasFrameRate || info.hasTimeCodes || info.hasPrivateTimecode || info.hasPosition || info.hasAltitude);
}

TEST(DngParser, RefusesWithTheReason) {
  Record bigTiff = Write(Small());
  bigTiff[2] = 43;
  Record mixedMark = Write(Small());
  mixedMark[1] = 'M';
  Record lostIfd = Write(Small());
  lostIfd[7] = 0x7F;
  for (const auto& [record, expected, why] : {
           std::tuple(Record{'I', 'I', 42, 0, 8, 0, 0}, "not TIFF", "seven bytes"),
           std::tuple(Record{}, "not TIFF", "empty"),
           std::tuple(mixedMark, "not TIFF", "byte order mark IM"),
           std::tuple(lostIfd, "not TIFF", "IFD0 outside the record"),
           std::tuple(bigTiff, "BigTIFF is not supported", "version 43"),
           std::tuple(Edited([](TiffIfd&, TiffIfd& raw) { raw.Short(262, uint16_t(2)); }), "no IFD with RAW (Photometric CFA/LinearRaw)",
                      "RGB only"),
           std::tuple(Edited([](TiffIfd&, TiffIfd& raw) { raw.Long(254, 5u); }), "no IFD with RAW (Photometric CFA/LinearRaw)",
                      "a reduced-resolution image"),
           std::tuple(Edited([](TiffIfd&, TiffIfd& raw) { raw.Remove(273); }), "no IFD with RAW (Photometric CFA/LinearRaw)", "no strips"),
       }) {
    EXPECT_EQ(Refusal(record), expected) << why;
  }
}

TEST(DngParser, RefusesAbsurdlyManyStripsLikeShortMemory) {
  for (const auto& [count, expected] : {std::pair(1 << 20, "accepted"), std::pair((1 << 20) + 1, "")}) {
    const std::vector<uint8_t> offsets(size_t(count), 8);
    EXPECT_EQ(Refusal(Edited([&](TiffIfd&, TiffIfd& raw) { raw.Byte(273, offsets), raw.Byte(279, std::vector<uint8_t>{0}); })), expected);
  }
}

TEST(DngParser, AcceptsAStripThatEndsWithTheRecord) {
  DngDescription d = Small();
  d.rowsPerStrip = 3;
  d.imageDataLast = true;
  Record record = Write(d);
  const DngInfo info = Parsed(record);
  EXPECT_EQ(info.stripOffsets[1] + info.stripByteCounts[1], record.size());
  record.pop_back();
  EXPECT_EQ(Refusal(record),
            "strip 1 outside the record (" + std::to_string(record.size() - 47) + "+48 > " + std::to_string(record.size()) + ")");
}

TEST(DngParser, ChoosesTheLargestRawImage) {
  const auto rawIfd = [](uint32_t width, uint32_t height, uint16_t photometric, uint32_t subFileType) {
    TiffIfd ifd(TiffOrder::kLittle);
    ifd.Long(254, subFileType);
    ifd.Long(256, width);
    ifd.Long(257, height);
    ifd.Short(262, photometric);
    ifd.Long(273, 8u);
    return ifd;
  };
  struct Row {
    std::vector<TiffIfd> subIfds;
    uint32_t width, photometric;
    const char* why;
  };
  for (const Row& row : {
           Row{{rawIfd(4, 4, 32803, 0), rawIfd(8, 4, 32803, 0)}, 8, 32803, "larger"},
           Row{{rawIfd(8, 2, 34892, 0), rawIfd(4, 4, 32803, 0)}, 8, 34892, "first of equal area"},
           Row{{rawIfd(4, 4, 32803, 0), rawIfd(8, 8, 32803, 1)}, 4, 32803, "reduced resolution does not count"},
           Row{{rawIfd(8, 8, 6, 0), rawIfd(4, 4, 32803, 0)}, 4, 32803, "a JPEG does not count"},
           Row{{rawIfd(0, 0, 32803, 0)}, 0, 32803, "an empty image is still one"},
       }) {
    TiffIfd main = rawIfd(100, 100, 2, 0);
    for (const TiffIfd& sub : row.subIfds) main.AddChild(330, sub);
    const DngInfo info = Parsed(WriteTiff(std::span(&main, 1), {}));
    EXPECT_EQ(info.width, row.width) << row.why;
    EXPECT_EQ(info.photometric, row.photometric) << row.why;
  }
}

TEST(DngParser, ReadsWhiteLevelInEveryType) {
  struct Row {
    uint16_t type;
    std::vector<uint8_t> bytes;
    float expected;
  };
  for (const Row& row : {
           Row{1, {200}, 200}, Row{3, {0x34, 0x12}, 0x1234}, Row{4, {0, 0, 1, 0}, 65536}, Row{5, {7, 0, 0, 0, 2, 0, 0, 0}, 3.5f},
           Row{5, {7, 0, 0, 0, 0, 0, 0, 0}, 0}, Row{6, {0xFE}, -2}, Row{7, {9}, 9}, Row{8, {0xFE, 0xFF}, -2},
           Row{9, {0xFD, 0xFF, 0xFF, 0xFF}, -3}, Row{10, {0xF9, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0}, -3.5f},
           Row{11, {0, 0, 0x20, 0x41}, 10},               // 0x41200000
           Row{12, {0, 0, 0, 0, 0, 0, 0x59, 0x40}, 100},  // 0x4059000000000000
           Row{99, {1, 2, 3, 4}, 65535},                  // unknown: as if absent, 2^16 − 1
       }) {
    EXPECT_EQ(Parsed(Edited([&](TiffIfd&, TiffIfd& raw) { raw.Raw(50717, row.type, 1, row.bytes); })).white, row.expected)
        << "type " << row.type;
  }
}

TEST(DngParser, CutsNamesBetweenCharacters) {
  const std::string a62(62, 'a'), a63(63, 'a');
  const std::string continuation(70, '\x80');
  for (const auto& [make, expected, why] : {
           std::tuple(a63, a63, "63 bytes are kept whole"),
           std::tuple(a63 + "bcdefgh", a63, "63 of 70"),
           std::tuple(a62 + "\xC3\xA9", a62, "64 bytes: the two-byte character across the cut is lost entirely"),
           std::tuple(a62.substr(2) + "\xE2\x82\xAC" + "z", a62.substr(2) + "\xE2\x82\xAC", "the character ends at the cut"),
           std::tuple(continuation, std::string(), "nothing to cut at"),
           std::tuple(std::string("ab\0cd", 5), std::string("ab"), "ends at a zero byte"),
       }) {
    EXPECT_EQ(Parsed(Edited([&text = make](TiffIfd& main, TiffIfd&) { main.Ascii(271, text); })).make, expected) << why;
  }
}

TEST(DngParser, SpreadsBlackLevelsOverTheFourPhases) {
  struct Row {
    std::vector<uint16_t> repeat;
    std::vector<uint16_t> black;
    uint16_t samplesPerPixel;
    std::array<float, 4> expected;
    const char* why;
  };
  for (const Row& row : {
           Row{{}, {}, 1, {0, 0, 0, 0}, "no tag"},
           Row{{}, {7}, 1, {7, 7, 7, 7}, "one value"},
           Row{{2, 2}, {7}, 1, {7, 0, 0, 0}, "array too short"},
           Row{{1, 2}, {7, 8}, 1, {7, 8, 7, 8}, "one row"},
           Row{{2, 1}, {7, 8}, 1, {7, 7, 8, 8}, "one column"},
           Row{{2, 3}, {1, 2, 3, 4, 5, 6}, 1, {1, 2, 4, 5}, "three columns"},
           Row{{0, 0}, {7, 8}, 1, {7, 7, 7, 7}, "dimensions of 0 count as 1"},
           Row{{1, 2}, {1, 2, 3, 4, 5, 6}, 3, {1, 4, 1, 4}, "three planes: the first one's"},
           Row{{65535, 65535}, {7, 8}, 65535, {7, 0, 0, 0}, "far outside the array"},
       }) {
    const DngInfo info = Parsed(Edited([&](TiffIfd&, TiffIfd& raw) {
      if (!row.repeat.empty()) raw.Short(50713, row.repeat);
      if (!row.black.empty()) raw.Short(50714, row.black);
      raw.Short(277, row.samplesPerPixel);
    }));
    EXPECT_EQ(info.black, row.expected) << row.why;
  }
}

TEST(DngParser, MapsTheColourFilterArray) {
  using Pattern = std::array<uint8_t, 4>;
  struct Row {
    std::vector<uint16_t> dims;
    std::vector<uint8_t> pattern, planeColor;
    Pattern expected;
    bool bayer;
    const char* why;
  };
  for (const Row& row : {
           Row{{2, 2}, {2, 1, 1, 0}, {}, {2, 1, 1, 0}, true, "B G G R"},
           Row{{2, 2}, {1, 0, 2, 1}, {}, {1, 0, 2, 1}, true, "G R B G"},
           Row{{2, 2}, {0, 1, 1, 2}, {2, 1, 0}, {2, 1, 1, 0}, true, "planes named in reverse"},
           Row{{2, 2}, {0, 1, 1, 2}, {2, 1}, {0, 1, 1, 2}, true, "too few plane colours"},
           Row{{2, 2}, {0, 1, 1, 3}, {}, {0, 1, 1, 3}, false, "a fourth colour"},
           Row{{2, 2}, {0, 1, 2, 1}, {}, {0, 1, 2, 1}, false, "not Bayer"},
           Row{{2, 2}, {0, 1, 1}, {}, {0, 1, 1, 2}, true, "too few colours: default"},
           Row{{6, 6}, {1, 0, 2, 1}, {}, {0, 1, 1, 2}, false, "6 × 6 is no Bayer array"},
       }) {
    const DngInfo info = Parsed(Edited([&](TiffIfd&, TiffIfd& raw) {
      raw.Short(33421, row.dims);
      raw.Byte(33422, row.pattern);
      if (!row.planeColor.empty()) raw.Byte(50710, row.planeColor);
    }));
    EXPECT_EQ(info.cfa, row.expected) << row.why;
    EXPECT_EQ(IsBayer(info), row.bayer) << row.why;
  }
}

TEST(DngParser, KnowsWhenStripsFollowEachOther) {
  struct Row {
    std::vector<uint32_t> offsets, counts;
    bool tiles, contiguous;
    uint64_t total;
    const char* why;
  };
  for (const Row& row : {
           Row{{8, 20, 30}, {12, 10, 10}, false, true, 32, "one behind the other"},
           Row{{8, 21}, {12, 10}, false, false, 22, "a gap"},
           Row{{20, 8}, {12, 12}, false, false, 24, "out of order"},
           Row{{8, 20, 30}, {12}, false, false, 12, "missing counts are 0"},
           Row{{8, 8, 8}, {}, false, true, 0, "missing counts, but the offsets coincide"},
           Row{{8}, {12}, true, false, 12, "tiles never"},
       }) {
    const DngInfo info = Parsed(Edited([&](TiffIfd&, TiffIfd& raw) {
      raw.Long(273, row.offsets);
      raw.Long(279, row.counts);
      if (row.tiles) raw.Long(322, 16u);
    }));
    EXPECT_EQ(info.contiguous, row.contiguous) << row.why;
    EXPECT_EQ(info.totalStripBytes, row.total) << row.why;
    EXPECT_EQ(info.stripOffsets.size(), row.offsets.size()) << row.why;
    EXPECT_EQ(info.stripByteCounts.size(), row.offsets.size()) << row.why;
  }
}

TEST(DngParser, ReadsPrivateTimecodeFromTheWholeRecordAndFromTheSource) {
  const std::string app("qorixcam\0", 9);
  struct Row {
    std::string value;
    int32_t source;  // -1: none
    int64_t start;
    const char* why;
  };
  for (const Row& row : {
           Row{app + "TimecodeSource:1\nTimecodeStart:90000\n", 1, 90000, "as written"},
           Row{app + "Other:x\nTimecodeStart:0\nTimecodeSource:0", 0, 0, "any order, no last line feed, other keys"},
           Row{app + "TimecodeSource:2\nTimecodeStart:5\n" + std::string(8, '\0'), 2, 5, "zero padding"},
           Row{app + "TimecodeSource:3\nTimecodeStart:5\n", -1, 0, "no such source"},
           Row{app + "TimecodeSource:1\nTimecodeStart:-5\n", -1, 0, "negative start"},
           Row{app + "TimecodeSource:1\nTimecodeStart:5 \n", -1, 0, "something behind the number"},
           Row{app + "TimecodeSource:1\n", -1, 0, "only one key"},
           Row{app + "TimecodeSource:1\nTimecodeStart:99999999999999999999\n", -1, 0, "no 64-bit number"},
           Row{app, -1, 0, "nothing behind the name"},
           Row{"qorixcam\nTimecodeSource:1\nTimecodeStart:5\n", -1, 0, "name not ended by a zero byte"},
       }) {
    SCOPED_TRACE(row.why);
    for (const bool bigEndian : {false, true}) {
      DngDescription d = Small();
      d.bigEndian = bigEndian;
      d.edit = [&](TiffIfd& main, TiffIfd&) { main.Byte(50740, std::vector<uint8_t>(row.value.begin(), row.value.end())); };
      Record record = Write(d);
      const DngInfo whole = Parsed(record);
      const uint64_t recordSize = record.size();
      record.insert(record.begin(), 100, 0xEE);
      DngInfo cheap;
      EXPECT_EQ(dng_read_private_timecode(MemorySource(record), 100, recordSize, &cheap), row.source >= 0 ? 1 : 0);
      for (const DngInfo* info : {&whole, static_cast<const DngInfo*>(&cheap)}) {
        EXPECT_EQ(info->hasPrivateTimecode, row.source >= 0);
        EXPECT_EQ(info->timecodeSource, row.source);
        EXPECT_EQ(info->timecodeStart, row.start);
        EXPECT_EQ(info->privateDataLength, row.source >= 0 ? row.value.size() : 0);
      }
      EXPECT_EQ(cheap.privateDataOffset, whole.privateDataOffset);
    }
  }
}

TEST(DngParser, CheapTimecodeReaderRefusesWhatItShouldNotRead) {
  const std::string good("qorixcam\0TimecodeSource:1\nTimecodeStart:7\n", 42);
  const auto read = [](const Record& record, uint64_t recordSize) {
    DngInfo info;
    return dng_read_private_timecode(MemorySource(record), 0, recordSize, &info);
  };
  const auto withValue = [](uint16_t type, const std::string& value) {
    return Edited([&](TiffIfd& main, TiffIfd&) { main.Raw(50740, type, value.size(), {value.begin(), value.end()}); });
  };
  const Record byte = withValue(1, good);
  EXPECT_EQ(read(byte, byte.size()), 1);
  EXPECT_EQ(read(byte, 60), 0) << "IFD0 outside the record";
  EXPECT_EQ(read(byte, byte.size() + 1000), 1) << "a record that claims more than the source holds";
  const Record undefined = withValue(7, good + std::string(256 - good.size(), '\n'));
  EXPECT_EQ(read(undefined, undefined.size()), 1) << "256 bytes";
  const Record longValue = withValue(7, good + std::string(257 - good.size(), '\n'));
  EXPECT_EQ(read(longValue, longValue.size()), 0) << "257 bytes";
  const Record ascii = withValue(2, good);
  EXPECT_EQ(read(ascii, ascii.size()), 0) << "ASCII";
}

TEST(DngParser, TakesPositionsOnlyInPairs) {
  const std::array<double, 3> place = {10, 30, 36};  // 10.51 degrees
  struct Row {
    bool latitude, longitude;
    const char *latitudeRef, *longitudeRef;
    bool expected;
    double expectedLatitude, expectedLongitude;
  };
  for (const Row& row :
       {Row{true, true, "N", "E", true, 10.51, 10.51}, Row{true, true, "S", "W", true, -10.51, -10.51},
        Row{true, true, "", "", true, 10.51, 10.51}, Row{true, false, "S", "W", false, 0, 0}, Row{false, true, "S", "W", false, 0, 0}}) {
    TiffIfd gps(TiffOrder::kLittle);
    gps.Ascii(1, row.latitudeRef);
    gps.Ascii(3, row.longitudeRef);
    if (row.latitude) gps.Rational(2, place);
    if (row.longitude) gps.Rational(4, place);
    const DngInfo info = Parsed(Edited([&](TiffIfd& main, TiffIfd&) { main.AddChild(34853, gps); }));
    EXPECT_EQ(info.hasPosition, row.expected);
    EXPECT_DOUBLE_EQ(info.latitude, row.expectedLatitude);
    EXPECT_DOUBLE_EQ(info.longitude, row.expectedLongitude);
  }
}

TEST(DngParser, IgnoresMalformedCameraTags) {
  const DngInfo info = Parsed(Edited([](TiffIfd& main, TiffIfd&) {
    main.SRational(50721, std::vector<double>(8, 1.0));  // eight of nine
    main.Rational(50728, std::vector<double>(2, 1.0));   // two of three
    main.Byte(51043, std::vector<uint8_t>(7));           // seven of eight
    main.Double(51044, std::array{25.0});                // no fraction
    main.Raw(50722, 10, 9, {0xF0, 0xFF, 0xFF, 0xFF});    // outside the record
  }));
  EXPECT_FALSE(info.hasColorMatrix1 || info.hasColorMatrix2 || info.hasAsShotNeutral || info.hasTimeCodes || info.hasFrameRate);

  const auto rate = [](uint16_t type, int64_t numerator, int64_t denominator) {
    return Parsed(Edited([&](TiffIfd& main, TiffIfd&) { main.Fractions(51044, type, std::array{std::pair(numerator, denominator)}); }));
  };
  EXPECT_FALSE(rate(10, 25, 0).hasFrameRate);
  EXPECT_EQ(rate(10, -25, 1).frameRateNumerator, -25);
  EXPECT_EQ(rate(5, 0xFFFFFFFF, 1).frameRateNumerator, 0xFFFFFFFF);
}

TEST(DngParser, SurvivesAbsurdNumbers) {
  const uint32_t most = std::numeric_limits<uint32_t>::max();
  Record record = Edited([&](TiffIfd&, TiffIfd& raw) {
    for (const uint16_t tag : {256, 257, 258, 277, 278, 50713}) raw.Long(tag, most);
    raw.Long(50829, std::array{most, most, 0u, 0u});
    raw.Double(50714, std::array{std::numeric_limits<double>::quiet_NaN()});
    raw.Double(50712, std::array{-1.0, 1e300, std::numeric_limits<double>::quiet_NaN(), 7.9});
  });
  const DngInfo info = Parsed(record);
  EXPECT_EQ(info.bytesPerRow, std::numeric_limits<uint64_t>::max()) << "no 64-bit size";
  EXPECT_EQ(info.linearization, (std::vector<uint16_t>{0, 65535, 0, 7}));
  EXPECT_EQ(info.cropWidth, -4294967295.0f);
  EXPECT_EQ(info.white, 4294967295.0f);
  uint16_t sample = 0;
  EXPECT_EQ(dng_unpack_strips(info, record, &sample), -1);
}

TEST(DngParser, LeavesNothingOfTheFrameBefore) {
  DngDescription rich = EverythingSet();
  rich.opcodeList2.Add(DngGainMap{.bottom = 8, .right = 8, .pointsV = 1, .pointsH = 1, .gains = {2}});
  rich.opcodeList3.Add(DngWarp{});
  DngInfo info = Parsed(Write(rich));
  ASSERT_EQ(info.gainMaps.size(), 1u);
  const Record plain = Write(Small());
  ASSERT_EQ(dng_parse(plain, &info, Message()), 0);
  EXPECT_TRUE(info.gainMaps.empty() && info.linearization.empty() && info.make.empty() && !info.warp.valid && !info.hasColorMatrix1);
  EXPECT_EQ(info.stripOffsets.size(), 1u);

  ASSERT_EQ(dng_parse(Write(rich), &info, Message()), 0);
  EXPECT_EQ(dng_parse(Bytes(plain).first(7), &info, Message()), -1);
  EXPECT_TRUE(info.gainMaps.empty() && info.stripOffsets.empty() && info.make.empty() && info.width == 0) << "empty after a failure";
}

TEST(DngInfo, DescribesDecodedSamples) {
  DngDescription d = EverythingSet();
  d.bigEndian = true;
  d.compression = 7;
  d.tileWidth = 8;
  d.tileLength = 12;
  const DngInfo info = Parsed(WriteDngStreams(d, std::vector<Record>{{1, 2, 3}, {4, 5}}));
  ASSERT_EQ(info.stripOffsets.size(), 2u);
  DngInfo decoded;
  dng_describe_decoded(info, &decoded);
  EXPECT_EQ(std::tuple(decoded.bigEndian, decoded.bitsPerSample, decoded.samplesPerPixel, decoded.compression, decoded.fillOrder),
            std::tuple(false, 16u, 1u, 1u, 1u));
  EXPECT_EQ(decoded.stripOffsets, std::vector<uint64_t>{0});
  EXPECT_EQ(decoded.stripByteCounts, std::vector<uint64_t>{16 * 12 * 2});
  EXPECT_EQ(std::tuple(decoded.rowsPerStrip, decoded.tileWidth, decoded.tileLength, decoded.contiguous), std::tuple(12u, 0u, 0u, true));
  EXPECT_EQ(std::tuple(decoded.totalStripBytes, decoded.bytesPerRow), std::tuple(384u, 32u));
  EXPECT_EQ(decoded.white, 4000) << "levels stay";
  EXPECT_EQ(decoded.linearization, info.linearization);
}

}  // namespace
}  // namespace qx
