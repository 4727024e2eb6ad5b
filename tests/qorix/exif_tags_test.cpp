// Time codes, exposure, dates and places of a frame.
#include "qorix/exif_tags.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/qorix/tagged_frame.h"

namespace qx {
namespace {

constexpr uint64_t kSecond = 1'000'000'000;

TEST(ExifTags, TimeCodes) {
  struct Case {
    const char* what;
    QorixRate rate;
    int64_t slot;
    std::optional<uint32_t> start;
    std::array<uint8_t, 4> code;  // frames, seconds, minutes, hours
  };
  for (const Case& c : std::initializer_list<Case>{
           {"begins at one o'clock", {30, 1}, 0, {}, {0x00, 0x00, 0x00, 0x01}},
           {"unless told", {30, 1}, 0, 0, {0x00, 0x00, 0x00, 0x00}},
           {"digits", {30, 1}, (11 * 3600 + 42 * 60 + 35) * 30 + 29, 0, {0x29, 0x35, 0x42, 0x11}},
           {"start and slot add up", {25, 1}, 30, 3600 * 25 - 5, {0x00, 0x01, 0x00, 0x01}},
           {"hours wrap at 100", {25, 1}, 0, 100 * 3600 * 25 + 24, {0x24, 0x00, 0x00, 0x00}},
           {"frames wrap at 100", {120, 1}, 119, 0, {0x19, 0x00, 0x00, 0x00}},
           // At 30000/1001 a second lasts 29.97 frames and a minute 1798.2: frame 30 is 0.03 frames into the second.
           {"29.97, last of a second", {30000, 1001}, 29, 0, {0x29, 0x00, 0x00, 0x00}},
           {"29.97, first of a second", {30000, 1001}, 30, 0, {0x00, 0x01, 0x00, 0x00}},
           {"29.97, last of a minute", {30000, 1001}, 1798, 0, {0x29, 0x59, 0x00, 0x00}},
           {"29.97, first of a minute", {30000, 1001}, 1799, 0, {0x00, 0x00, 0x01, 0x00}},
           {"before the first frame", {30, 1}, -5, 0, {0x00, 0x00, 0x00, 0x00}},
       }) {
    SCOPED_TRACE(c.what);
    Shot shot;
    shot.file.header.playback = c.rate;
    if (c.start) shot.file.staticItems.U32(QorixItem::kTimecode, {*c.start, 0});
    TaggedFrame tagged(shot);
    tagged.scan.frameSlots.assign(1, c.slot);
    tagged.Rebuild();
    EXPECT_TRUE(tagged.dng().hasTimeCodes);
    EXPECT_EQ(tagged.dng().timeCodes, (std::array<uint8_t, 8>{c.code[0], c.code[1], c.code[2], c.code[3], 0, 0, 0, 0}));
    EXPECT_EQ(tagged.dng().frameRateNumerator, c.rate.numerator);
    EXPECT_EQ(tagged.dng().frameRateDenominator, c.rate.denominator);
  }

  Shot shortItem;
  shortItem.file.staticItems.U8(QorixItem::kTimecode, {7, 0, 0});
  EXPECT_EQ(TaggedFrame(shortItem).dng().timeCodes, (std::array<uint8_t, 8>{0, 0, 0, 1}));
  Shot noRate;
  noRate.file.header.playback = {30, 0};
  EXPECT_FALSE(TaggedFrame(noRate).dng().hasTimeCodes);
}

TEST(ExifTags, ExposureTimeIsAReducedFraction) {
  struct Case {
    int64_t nanoseconds;
    std::vector<uint32_t> fraction;  // empty: no tag
    double shutterSpeed;             // −log2 of the seconds
  };
  for (const Case& c : std::initializer_list<Case>{{20'000'000, {1, 50}, 5.643856},
                                                   {250'000'000, {1, 4}, 2},
                                                   {8'333'333, {8'333'333, 1'000'000'000}, 6.906891},
                                                   {8'000'000'000, {8, 1}, -3},
                                                   {5'000'000'001, {500'000'000, 100'000'000}, -2.321928},  // 33 bits lose a digit
                                                   {0, {}, -1},
                                                   {-5, {}, -1}}) {
    Shot shot;
    shot.items.I64(QorixItem::kExposureNs, c.nanoseconds);
    const TaggedFrame tagged(shot);
    EXPECT_EQ(tagged.Words("IFD0.EXIF", 33434), c.fraction) << c.nanoseconds;
    EXPECT_NEAR(tagged.Fraction("IFD0.EXIF", 37377), c.shutterSpeed, 1e-6) << c.nanoseconds;
  }
}

TEST(ExifTags, LensAndSensitivity) {
  Shot shot;
  shot.items.F32(QorixItem::kAperture, {2.0f}).F32(QorixItem::kFocalLength, {5.5f}).I32(QorixItem::kIso, {102400});
  const TaggedFrame tagged(shot);
  EXPECT_EQ(tagged.dng().fNumber, 2);
  const std::vector<uint32_t> aperture = tagged.Words("IFD0.EXIF", 37378);
  ASSERT_EQ(aperture.size(), 2u);
  EXPECT_EQ(double(aperture[0]) / aperture[1], 2);  // log2(2²)
  EXPECT_EQ(tagged.dng().focalLength, 5.5);
  EXPECT_EQ(tagged.dng().iso, 65535u);

  Shot odd;
  odd.items.F32(QorixItem::kAperture, {0}).F32(QorixItem::kFocalLength, {-1}).I32(QorixItem::kIso, {0});
  const TaggedFrame without(odd);
  for (const uint16_t tag : {33437, 37378, 37386, 34855}) EXPECT_TRUE(without.Tag("IFD0.EXIF", tag).empty()) << tag;
}

TEST(ExifTags, ModesOfTheCamera) {
  struct Case {
    std::vector<uint8_t> modes;
    int program, exposureMode, whiteBalance;
    double bias;
  };
  for (const Case& c : {Case{{}, 2, 0, 0, 0.5}, Case{{1, 1}, 2, 0, 0, 0.5}, Case{{0, 1}, 1, 1, 0, 0}, Case{{2, 0}, 2, 0, 1, 0.5},
                        Case{{0}, 2, 0, 0, 0.5}}) {  // one byte is too short
    Shot shot;
    shot.items.F32(QorixItem::kEvCompensation, {0.5f});
    if (!c.modes.empty()) shot.items.Raw(QorixItem::kModes, c.modes);
    const TaggedFrame tagged(shot);
    const auto low = [&](uint16_t tag) { return int(tagged.Tag("IFD0.EXIF", tag).at(0)); };
    EXPECT_EQ(low(34850), c.program);
    EXPECT_EQ(low(41986), c.exposureMode);
    EXPECT_EQ(low(41987), c.whiteBalance);
    EXPECT_EQ(tagged.Fraction("IFD0.EXIF", 37380), c.bias);
  }
}

TEST(ExifTags, DatesAreLocalWithTheirOffset) {
  struct Case {
    int16_t minutes;
    const char *date, *offset;
  };
  // The recording starts on 2026-02-28 at 23:30:00 UTC, the frame 61.000000005 s later.
  for (const Case& c : {Case{0, "2026:02:28 23:31:01", "Z"}, Case{-90, "2026:02:28 22:01:01", "-01:30"},
                        Case{60, "2026:03:01 00:31:01", "+01:00"}, Case{345, "2026:03:01 05:16:01", "+05:45"}}) {
    Shot shot;
    shot.file.header.sensorStartNs = 77 * kSecond;
    shot.file.header.wallClockStartNs = 1'772'321'400 * kSecond;
    shot.file.header.timeZoneMinutes = c.minutes;
    shot.timestampNs = (77 + 61) * kSecond + 5;
    const TaggedFrame tagged(shot);
    for (const uint16_t tag : {306, 36867, 36868}) EXPECT_EQ(tagged.Text("IFD0.EXIF", tag), c.date) << tag;
    for (const uint16_t tag : {36880, 36881, 36882}) EXPECT_EQ(tagged.Text("IFD0.EXIF", tag), c.offset) << tag;
    for (const uint16_t tag : {37520, 37521, 37522}) EXPECT_EQ(tagged.Text("IFD0.EXIF", tag), "000000005") << tag;
  }
  EXPECT_EQ(TaggedFrame(Shot()).Text("IFD0.EXIF", 306), "(none)");
}

TEST(ExifTags, CalendarTimes) {
  struct Case {
    int64_t nanoseconds;
    const char* text;
  };
  // The ends of the range are those of any 64-bit count of nanoseconds since 1970; `date -u` gives the same.
  for (const Case& c : {Case{0, "1970-01-01 00:00:00.000000000"}, Case{-1, "1969-12-31 23:59:59.999999999"},
                        Case{1'709'164'800 * int64_t(kSecond), "2024-02-29 00:00:00.000000000"},
                        Case{INT64_MIN, "1677-09-21 00:12:43.145224192"}, Case{INT64_MAX, "2262-04-11 23:47:16.854775807"}}) {
    const CalendarTime t = ToCalendarTime(c.nanoseconds);
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d.%09lld", int(t.year), t.month, t.day, t.hour, t.minute, t.second,
                  static_cast<long long>(t.nanosecond));
    EXPECT_STREQ(text, c.text);
  }
}

TEST(ExifTags, PlaceOfTheFrameOrOfTheStart) {
  // 1,700,000,000 s after 1970: 2023-11-14 22:13:20 UTC.
  const QorixGps start = {-33.8125, 151.25, 0, 0, 0};
  const QorixGps own = {47.5625, -7.25, -12.5, 1'700'000'000'250, 4};
  Shot shot;
  shot.file.staticItems.Gps(QorixItem::kGpsStart, start);
  const TaggedFrame atStart(shot);
  EXPECT_TRUE(atStart.dng().hasPosition);
  EXPECT_FALSE(atStart.dng().hasAltitude);
  EXPECT_NEAR(atStart.dng().latitude, -33.8125, 1e-9);
  EXPECT_NEAR(atStart.dng().longitude, 151.25, 1e-9);
  EXPECT_EQ(atStart.Text("IFD0.GPS", 1), "S");
  EXPECT_EQ(atStart.Text("IFD0.GPS", 3), "E");
  EXPECT_EQ(atStart.Text("IFD0.GPS", 18), "WGS-84");
  for (const uint16_t tag : {5, 6, 7, 29}) EXPECT_TRUE(atStart.Tag("IFD0.GPS", tag).empty()) << tag;

  shot.items.Gps(QorixItem::kGps, own);
  const TaggedFrame here(shot);
  EXPECT_NEAR(here.dng().latitude, 47.5625, 1e-9);
  EXPECT_NEAR(here.dng().longitude, -7.25, 1e-9);
  EXPECT_EQ(here.dng().altitude, -12.5);
  EXPECT_EQ(here.Text("IFD0.GPS", 1), "N");
  EXPECT_EQ(here.Text("IFD0.GPS", 3), "W");
  EXPECT_EQ(here.Text("IFD0.GPS", 29), "2023:11:14");
  const std::vector<uint32_t> latitude = here.Words("IFD0.GPS", 2), time = here.Words("IFD0.GPS", 7);
  ASSERT_EQ(latitude.size(), 6u);
  ASSERT_EQ(time.size(), 6u);
  EXPECT_EQ((std::array{latitude[0], latitude[1], latitude[2], latitude[3]}), (std::array{47u, 1u, 33u, 1u}));
  EXPECT_EQ(double(latitude[4]) / latitude[5], 45);  // 0.5625° = 33′ 45″
  EXPECT_EQ((std::array{time[0], time[1], time[2], time[3]}), (std::array{22u, 1u, 13u, 1u}));
  EXPECT_EQ(double(time[4]) / time[5], 20.25);

  Shot shortItem;
  shortItem.items.F64(QorixItem::kGps, {1, 2, 3, 0});  // 32 of 36 bytes
  EXPECT_FALSE(TaggedFrame(shortItem).dng().hasPosition);
}

}  // namespace
}  // namespace qx
