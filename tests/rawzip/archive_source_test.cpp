#include "rawzip/archive_source.h"

#include <gtest/gtest.h>

#include "media/frame_timeline.h"
#include "rawzip/first_frame.h"
#include "rawzip/timecode_check.h"
#include "tests/rawzip/archive_test_support.h"

namespace qx {
namespace {

const std::string kHeader = "name,sensor_timestamp_ns,slot\n";
constexpr int64_t kHour = 25 * 3600;

TEST(ArchiveSource, OrdersFramesByTheNumbersInNames) {
  struct Row {
    const char* what;
    std::vector<const char*> names;
    const char* order;
    int64_t missing = 0;
    int32_t duplicates = 0;
    bool outOfOrder = false, renumbered = false;
  };
  const Row rows[] = {
      {.what = "gap",
       .names = {"s/a_2.dng", "s/a_1.dng", "s/a_5.DNG"},
       .order = "s/a_1.dng:1 s/a_2.dng:2 s/a_5.DNG:5 ",
       .missing = 2,
       .outOfOrder = true},
      {.what = "duplicates keep archive order",
       .names = {"b7.dng", "a7.dng", "a8.dng"},
       .order = "b7.dng:7 a7.dng:7 a8.dng:8 ",
       .duplicates = 1},
      {.what = "one name without digits", .names = {"9.dng", "x.dng", "3.dng"}, .order = "9.dng:0 x.dng:1 3.dng:2 "},
      {.what = "31 ahead is left over from before",
       .names = {"44.dng", "11.dng", "12.dng", "13.dng"},
       .order = "44.dng:10 11.dng:11 12.dng:12 13.dng:13 ",
       .renumbered = true},
      {.what = "30 ahead is not",
       .names = {"43.dng", "11.dng", "12.dng", "13.dng"},
       .order = "11.dng:11 12.dng:12 13.dng:13 43.dng:43 ",
       .missing = 29,
       .outOfOrder = true},
      {.what = "three frames are too few to tell",
       .names = {"900.dng", "11.dng", "12.dng"},
       .order = "11.dng:11 12.dng:12 900.dng:900 ",
       .missing = 887,
       .outOfOrder = true},
      {.what = "digits in folder and extension do not count", .names = {"5/x.dng", "4/x.dng"}, .order = "5/x.dng:0 4/x.dng:1 "},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    TestArchive archive;
    for (const char* name : row.names) archive.Frame(name, SmallFrame());
    OpenedArchive opened(archive.Finish());
    ASSERT_EQ(opened.result, 0) << opened.message;
    EXPECT_EQ(opened.Order(), row.order);
    EXPECT_EQ(opened.source.missingFrames, row.missing);
    EXPECT_EQ(opened.source.duplicates, row.duplicates);
    EXPECT_EQ(opened.source.outOfOrder, row.outOfOrder);
    EXPECT_EQ(opened.source.firstFrameRenumbered, row.renumbered);
    EXPECT_EQ(opened.source.indexState, 0);
  }
}

TEST(ArchiveSource, LeftOverIsMoreThanASecondAheadAtTheCommentsRate) {
  TestArchive archive;
  for (const char* name : {"50.dng", "11.dng", "12.dng", "13.dng"}) archive.Frame(name, SmallFrame());
  EXPECT_FALSE(OpenedArchive(archive.Finish("FrameRate:60")).source.firstFrameRenumbered);
}

TEST(ArchiveSource, TellsMembersByTheirEndings) {
  TestArchive archive;
  archive.Text("empty.dng", "II*").Frame("f1.dng", SmallFrame(), ZipMethod::kDeflate).Text("a.WAV", "x").Text("b.opus", "x");
  archive.Text("g.GCSV", "x").Text("x.frames.csv", "header without the columns\n").Text("plain.csv", "x").Text("notes.txt", "x");
  archive.Text("lens-20240102.lensprofile.json", "x").Text("lens-20240103.lensprofile.json", "x");
  OpenedArchive opened(archive.Finish());
  ASSERT_EQ(opened.result, 0);
  const MemberRoles& roles = opened.state().roles;
  EXPECT_EQ(roles.sound, 3);
  EXPECT_EQ(roles.gyro, 4);
  EXPECT_EQ(roles.frameIndex, 5);
  EXPECT_EQ(roles.lensProfile, 8) << "a dated profile does not replace an earlier one";
  EXPECT_EQ(opened.source.emptyFrames, 1);
  EXPECT_EQ(opened.source.frames.size(), 1u);
  EXPECT_EQ(opened.source.compressedFrames, 1);
  EXPECT_EQ(opened.source.largestFrameBytes, WriteDng(SmallFrame(), TestSamples()).size());
  EXPECT_EQ(opened.source.indexNote, "frame index: no header name,sensor_timestamp_ns,slot");

  TestArchive undated;
  undated.Frame("f1.dng", SmallFrame()).Text("lens-20240102.lensprofile.json", "x").Text("lens.lensprofile.json", "x");
  EXPECT_EQ(OpenedArchive(undated.Finish()).state().roles.lensProfile, 2);
}

TEST(ArchiveSource, FailsOnlyWithoutFrames) {
  TestArchive noFrames;
  noFrames.Text("a.txt", "x").Text("short.dng", "1234567");
  OpenedArchive opened(noFrames.Finish());
  EXPECT_EQ(opened.result, -1);
  EXPECT_EQ(opened.message, "no .dng frames in the archive (2 records)");
  EXPECT_EQ(opened.source.container, nullptr);

  OpenedArchive notZip(std::vector<uint8_t>(30, 'x'));
  EXPECT_EQ(notZip.result, -1);
  EXPECT_EQ(notZip.message, "not ZIP or no whole record");

  TestArchive damaged;
  damaged.Text("a1.dng", "no image at all").Frame("a2.dng", SmallFrame());
  OpenedArchive parsed(damaged.Finish("FrameRate:60"));
  EXPECT_EQ(parsed.result, 0);
  EXPECT_FALSE(parsed.source.hasFirstDng);
  EXPECT_EQ(parsed.source.openMessage, "not TIFF");
  EXPECT_EQ(parsed.source.fps, 60);

  TestArchive unreadable;
  unreadable.RawMember("a1.dng", 14, {1, 2, 3, 4}, 100);
  EXPECT_EQ(OpenedArchive(unreadable.Finish()).source.openMessage,
            "first frame (a1.dng, ZIP LZMA): ZIP compression method not supported (only STORE, DEFLATE, ZSTD)");
}

TEST(ArchiveSource, TellsHowFramesOfADamagedFileWereFound) {
  struct Row {
    const char* what;
    size_t bytesCut;  // from the end
    std::vector<uint8_t> appended;
    std::string note;
  };
  const auto archive = [] {
    TestArchive made;
    made.Frame("a1.dng", SmallFrame()).Frame("a2.dng", SmallFrame());
    return made.Finish();
  };
  const std::vector<uint8_t> whole = archive();
  // The second frame's data ends where the directory begins: two records of 46 bytes and a name, and an end record of 22.
  const size_t directory = 2 * (46 + 6) + 22;
  const size_t frameBytes = WriteDng(SmallFrame(), TestSamples()).size();
  const std::string found = "no usable directory; records found by their own headers: ";
  for (const Row& row :
       {Row{"whole", 0, {}, ""}, Row{"no directory", directory, {}, found + "2 (frames: 2)"},
        Row{"cut in the last frame",
            directory + 1,
            {},
            found + "1 (frames: 1); the last record is cut off (" + std::to_string(30 + 6 + frameBytes - 1) + " bytes of it)"},
        Row{"zeros instead of a directory", directory, std::vector<uint8_t>(500),
            found + "2 (frames: 2); no record found in the last 500 bytes"}}) {
    SCOPED_TRACE(row.what);
    std::vector<uint8_t> bytes(whole.begin(), whole.end() - ptrdiff_t(row.bytesCut));
    bytes.insert(bytes.end(), row.appended.begin(), row.appended.end());
    OpenedArchive opened(bytes);
    EXPECT_EQ(opened.result, 0);
    EXPECT_EQ(opened.source.damageNote, row.note);
  }
}

TEST(ArchiveSource, TakesRatesFromFrameCommentOrDefault) {
  struct Row {
    std::optional<std::pair<int32_t, int32_t>> tag;
    const char* comment;
    const char* reel;
    double fps, capture;
    FpsSource from;
  };
  for (const Row& row :
       {Row{{{30000, 1001}}, "FrameRate:25", "", 30000.0 / 1001, 30000.0 / 1001, FpsSource::kDng},
        Row{{}, "FrameRate:25", "", 25, 25, FpsSource::kMetadata}, Row{{}, "FrameRate:0.5", "", 24, 24, FpsSource::kDefault},
        Row{{{0, 1}}, "", "", 24, 24, FpsSource::kDefault}, Row{{{-30, 1}}, "", "", 24, 24, FpsSource::kDefault},
        Row{{{30, 1}}, "", "A001-120t30fps", 30, 120, FpsSource::kDng}, Row{{{30, 1}}, "", "A-x-30t30fps", 30, 30, FpsSource::kDng}}) {
    DngDescription frame = SmallFrame();
    frame.frameRate = row.tag;
    frame.reelName = row.reel;
    OpenedArchive opened(TestArchive().Frame("1.dng", frame).Finish(row.comment));
    EXPECT_EQ(opened.source.fps, row.fps) << row.comment;
    EXPECT_EQ(opened.source.captureFps, row.capture) << row.reel;
    EXPECT_EQ(opened.source.fpsSource, row.from) << row.comment;
    EXPECT_EQ(opened.source.speedChanged, row.capture != row.fps) << row.reel;
  }
}

TEST(ReelSpeed, NeedsTwoRatesAndTheUnit) {
  struct Row {
    const char* reel;
    bool found;
  };
  for (const Row& row : {Row{"-120t30fps", true}, Row{"a--120t30fps-b", true}, Row{"-0t30fps-60t30fpsx", true}, Row{"120t30fps", false},
                         Row{"-120t30", false}, Row{"-120t30Fps", false}, Row{"-120T30fps", false}, Row{"-99999999999t30fps", false},
                         Row{"", false}, Row{"-", false}}) {
    int captured = 0, played = 0;
    EXPECT_EQ(ParseReelSpeed(row.reel, &captured, &played), row.found) << row.reel;
  }
}

TEST(TimeCodes, CountOnlyRealTimes) {
  struct Row {
    const char* what;
    std::array<uint8_t, 8> codes;
    int64_t rate, frames;
  };
  for (const Row& row : {Row{"01:02:03:04", {0x04, 0x03, 0x02, 0x01}, 25, ((60 + 2) * 60 + 3) * 25 + 4},
                         Row{"flags beside the tens", {0xC4, 0x83, 0x82, 0xC1}, 25, ((60 + 2) * 60 + 3) * 25 + 4},
                         Row{"59 frames at 60", {0x59, 0, 0, 0}, 60, 59}, Row{"40 frames at 30 lose a bit", {0x40, 0, 0, 0}, 30, 0},
                         Row{"units of frames", {0x0A, 0, 0, 0}, 25, -1}, Row{"units of hours", {0, 0, 0, 0x0B}, 25, -1},
                         Row{"sixty seconds", {0, 0x60, 0, 0}, 25, -1}, Row{"sixty minutes", {0, 0, 0x60, 0}, 25, -1},
                         Row{"tens of frames above nine", {0xA0, 0, 0, 0}, 60, -1}}) {
    EXPECT_EQ(TimeCodesToFrames(row.codes, row.rate), row.frames) << row.what;
  }
}

TEST(ArchiveSource, FollowsTheFrameIndex) {
  TestArchive archive;
  archive.Frame("c3.dng", SmallFrame()).Frame("c1.dng", SmallFrame()).Frame("c2.dng", SmallFrame());
  archive.Text("c.frames.csv", kHeader + "c1.dng,1000000000,0\nc2.dng,1040000000,1\nc3.dng,1120000000,3\n");
  OpenedArchive opened(archive.Finish());
  EXPECT_EQ(opened.source.indexState, 1);
  EXPECT_EQ(opened.source.indexRows, 3);
  EXPECT_EQ(opened.Order(), "c1.dng:0 c2.dng:1 c3.dng:3 ");
  EXPECT_EQ(opened.source.captureTimes, (std::vector<double>{0, 0.04, 0.12}));
  EXPECT_EQ(opened.source.missingFrames, 1);
  EXPECT_EQ(opened.source.firstTimestampNs, 1000000000);
  EXPECT_EQ(opened.source.lastNumber, 3);
  EXPECT_TRUE(opened.source.outOfOrder);
}

TEST(ArchiveSource, AnUnreadableIndexIsNotedAndReplacedByNumbers) {
  struct Row {
    const char* what;
    uint16_t method;
    std::vector<uint8_t> data;
    uint64_t size;
    const char* note;
  };
  for (const Row& row :
       {Row{"too short", 0, std::vector<uint8_t>(7, 'x'), 7, "frame index: record of 7 bytes"},
        Row{"too long", 8, std::vector<uint8_t>(70000, 0), 67108865, "frame index: record of 67108865 bytes"},
        Row{"corrupt", 8, std::vector<uint8_t>(16, 0xFF), 100, "frame index: not read (compressed record data is corrupt)"},
        Row{"more than DEFLATE can hold", 8, std::vector<uint8_t>(16, 0), 16 * 1032 + 1,
            "frame index: not read (record size does not match)"},
        Row{"unknown method", 12, std::vector<uint8_t>(16, 0), 100,
            "frame index: not read (ZIP compression method not supported (only STORE, DEFLATE, ZSTD))"}}) {
    SCOPED_TRACE(row.what);
    TestArchive archive;
    archive.Frame("2.dng", SmallFrame()).Frame("1.dng", SmallFrame()).RawMember("x.frames.csv", row.method, row.data, row.size);
    OpenedArchive opened(archive.Finish());
    EXPECT_EQ(opened.source.indexState, -1);
    EXPECT_EQ(opened.source.indexNote, row.note);
    EXPECT_EQ(opened.Order(), "1.dng:1 2.dng:2 ");
  }
}

TEST(ArchiveSource, TimeCodesConfirmOrRejectTheIndex) {
  struct Row {
    const char* what;
    int64_t first = kHour + 2, last = kHour + 5;  // TimeCodes, -1 none
    std::optional<DngPrivateTimecode> mark = {};
    int64_t start = kHour;
    std::string note = "";  // behind "frame index: "
    int32_t state = -4;
  };
  const int64_t noon = 12 * kHour;
  const std::string accepted = "3 rows, timeline by sensor timestamps";
  const Row rows[] = {
      {.what = "as the slots say", .note = accepted, .state = 1},
      {.what = "sensor mark is one hour", .mark = {{0, 777}}, .note = accepted, .state = 1},
      {.what = "local time",
       .first = noon + 2,
       .last = noon + 5,
       .mark = {{1, noon}},
       .start = noon,
       .note = accepted + "; time-of-day timecode (local) — from the mark",
       .state = 1},
      {.what = "UTC",
       .first = noon + 2,
       .last = noon + 5,
       .mark = {{2, noon}},
       .start = noon,
       .note = accepted + "; time-of-day timecode (UTC) — from the mark",
       .state = 1},
      {.what = "none at all", .first = -1, .last = -1, .note = accepted, .state = 1},
      {.what = "first off by one", .first = kHour + 3, .note = "first frame slot 2, but TimeCodes 3"},
      {.what = "first off by one from the mark",
       .first = noon + 1,
       .last = noon + 5,
       .mark = {{1, noon}},
       .start = noon,
       .note = "first frame slot 2, but TimeCodes 1 (start from the timecode mark)"},
      {.what = "last off by one", .last = kHour + 6, .note = "last frame slot 5, but TimeCodes 6 (start from the first 90000)"},
      {.what = "last has none", .last = -1, .note = "last frame slot 5, but TimeCodes -90001 (start from the first 90000)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    DngDescription first = row.first < 0 ? SmallFrame() : FrameAt(row.first);
    first.privateTimecode = row.mark;
    TestArchive archive;
    archive.Frame("x7.dng", first).Frame("x8.dng", SmallFrame()).Frame("x3.dng", row.last < 0 ? SmallFrame() : FrameAt(row.last));
    archive.Text("c.frames.csv", kHeader + "x7.dng,1000000000,2\nx8.dng,1040000000,3\nx3.dng,1120000000,5\n");
    OpenedArchive opened(archive.Finish());
    EXPECT_EQ(opened.source.indexState, row.state);
    EXPECT_EQ(opened.source.indexNote, "frame index: " + row.note);
    EXPECT_EQ(opened.source.timecodeSource, row.mark ? row.mark->source : -1);
    EXPECT_EQ(opened.source.timecodeStart, row.start);
    const bool isIndexed = row.state == 1;
    EXPECT_EQ(opened.source.captureTimes.size(), isIndexed ? 3u : 0u);
    EXPECT_EQ(opened.Order(), isIndexed ? "x7.dng:2 x8.dng:3 x3.dng:5 " : "x3.dng:3 x7.dng:7 x8.dng:8 ");
    EXPECT_EQ(opened.source.timeCodesConsistent, isIndexed && row.first >= 0);
  }
}

TEST(ArchiveSource, TimeCodesMayFollowTheClockInTheName) {
  const int64_t clock = ((14 * 60 + 25) * 60 + 30) * 25;  // 14:25:30
  struct Row {
    const char* what;
    const char* name;
    int64_t start;
    bool follows;
  };
  for (const Row& row :
       {Row{"the same time", "V240131-142530_1.dng", clock, true}, Row{"29 s later", "V240131-142530_1.dng", clock + 29 * 25, true},
        Row{"29 s earlier", "V240131-142530_1.dng", clock - 29 * 25, true},
        Row{"30 s later", "V240131-142530_1.dng", clock + 30 * 25, false},
        Row{"three quarter hours west", "V240131-142530_1.dng", clock - 45 * 60 * 25, true},
        Row{"half way to a quarter hour", "V240131-142530_1.dng", clock + 450 * 25, false},
        Row{"other letter", "W240131-142530_1.dng", clock, false}, Row{"dash elsewhere", "V2401310-142530_1.dng", clock, false},
        Row{"no such time", "V240131-242530_1.dng", clock, false}, Row{"five digits", "V240131-14253_1.dng", clock, false},
        Row{"earlier dash", "V24-131-142530_1.dng", clock, false}}) {
    SCOPED_TRACE(row.what);
    TestArchive archive;
    archive.Frame(row.name, FrameAt(row.start)).Frame("z2.dng", FrameAt(row.start + 1));
    archive.Text("c.frames.csv", kHeader + row.name + ",1000000000,0\nz2.dng,1040000000,1\n");
    OpenedArchive opened(archive.Finish());
    EXPECT_EQ(opened.source.indexState, row.follows ? 1 : -4);
    EXPECT_EQ(opened.source.timecodeStart, row.follows ? row.start : kHour);
  }
}

TEST(ArchiveSource, TheMarkMayStandInTheFirstMember) {
  DngDescription marked = SmallFrame();
  marked.privateTimecode = DngPrivateTimecode{1, 1234};
  for (const ZipMethod method : {ZipMethod::kStore, ZipMethod::kDeflate, ZipMethod::kZstd}) {
    TestArchive archive;
    archive.Frame("9.dng", marked, method).Frame("1.dng", SmallFrame()).Frame("2.dng", SmallFrame());
    OpenedArchive opened(archive.Finish());
    EXPECT_EQ(opened.Name(0), "1.dng");
    EXPECT_EQ(opened.source.timecodeSource, 1) << int(method);
    EXPECT_EQ(opened.source.timecodeStart, 1234) << int(method);
  }
}

TEST(ArchiveSource, ComparesNameNumbersWithTimeStamps) {
  struct Row {
    const char* what;
    const char* comment;
    const char* lastName;
    bool withIndex;
    int32_t result;
    const char* note;
  };
  for (const Row& row : {Row{"not asked", "", "x13.dng", true, 0, ""},
                         Row{"all agree", "DngNumbering:sensor", "x13.dng", true, 1, "numbers = timestamp step for 3 frames, first 10"},
                         Row{"one off", "DngNumbering:sensor", "x12.dng", true, -1, "frame 2: number 12, by timestamp step 13"},
                         Row{"no index", "DngNumbering:sensor", "x13.dng", false, -1, "frame index not accepted (state 0)"},
                         Row{"other value", "DngNumbering:name", "x13.dng", true, -1, "mark value is not «sensor»"}}) {
    SCOPED_TRACE(row.what);
    TestArchive archive;
    archive.Frame("x10.dng", SmallFrame()).Frame("x11.dng", SmallFrame()).Frame(row.lastName, SmallFrame());
    if (row.withIndex) {
      // Steps of one and of two frame periods.
      archive.Text("c.frames.csv", kHeader + "x10.dng,1000000000,0\nx11.dng,1039000000,1\n" + row.lastName + ",1121000000,3\n");
    }
    OpenedArchive opened(archive.Finish(row.comment));
    EXPECT_EQ(opened.source.numberingResult, row.result);
    EXPECT_EQ(opened.source.numberingNote, row.note);
  }
  TestArchive close;  // less than half a period apart: still the next number
  close.Frame("x1.dng", SmallFrame())
      .Frame("x2.dng", SmallFrame())
      .Text("c.frames.csv", kHeader + "x1.dng,1000000000,0\nx2.dng,1001000000,1\n");
  EXPECT_EQ(OpenedArchive(close.Finish("DngNumbering:sensor")).source.numberingResult, 1);
}

/// Frames 1.dng, 2.dng, … with these TimeCodes (-1: none) and no index.
std::vector<uint8_t> ArchiveOfTimeCodes(const std::vector<int64_t>& timeCodes) {
  TestArchive archive;
  for (size_t i = 0; i < timeCodes.size(); ++i) {
    archive.Frame(std::to_string(i + 1) + ".dng", timeCodes[i] < 0 ? SmallFrame() : FrameAt(timeCodes[i]));
  }
  return archive.Finish();
}

std::vector<int64_t> Numbers(const SourceTimeline& source) {
  std::vector<int64_t> numbers;
  for (const FrameRecord& frame : source.frames) numbers.push_back(frame.number);
  return numbers;
}

TEST(ArchiveSource, RebuildsNumbersFromTimeCodes) {
  struct Row {
    const char* what;
    std::vector<int64_t> timeCodes;
    std::vector<int64_t> opened, complete;
    bool renumbered;
  };
  for (const Row& row : {
           Row{"names agree", {100, 101, 102, 103}, {1, 2, 3, 4}, {1, 2, 3, 4}, false},
           Row{"a gap of two, found in between", {100, 101, 102, 105, 106}, {100, 101, 103, 104, 106}, {100, 101, 102, 105, 106}, false},
           Row{"frames without time codes stay interpolated",
               {100, 101, -1, -1, 107},
               {100, 101, 103, 105, 107},
               {100, 101, 103, 105, 107},
               false},
           Row{"the first frame is from elsewhere", {5000, 101, 102, 105}, {100, 101, 103, 105}, {100, 101, 102, 105}, true},
           Row{"the first frame has none", {-1, 101, 102, 105}, {100, 101, 103, 105}, {100, 101, 102, 105}, true},
           Row{"a first frame at midnight", {-1, 0, 1, 4}, {-1, 0, 2, 4}, {-1, 0, 1, 4}, true},
           Row{"time codes that stand still are raised",
               {100, 101, 101, 101, 101},
               {100, 101, 102, 103, 104},
               {100, 101, 102, 103, 104},
               false},
           Row{"without the last there is nothing to go by", {100, 101, 102, -1}, {1, 2, 3, 4}, {1, 2, 3, 4}, false},
           Row{"two frames are not looked at", {100, 105}, {1, 2}, {1, 2}, false},
       }) {
    SCOPED_TRACE(row.what);
    OpenedArchive opened(ArchiveOfTimeCodes(row.timeCodes));
    EXPECT_EQ(Numbers(opened.source), row.opened);
    EXPECT_EQ(opened.source.firstFrameRenumbered, row.renumbered);
    EXPECT_EQ(opened.source.timeCodesTimeline, row.opened[0] != 1);
    FrameTimeline timeline;
    ASSERT_EQ(frame_timeline_build(&timeline, opened.source, Message()), 0);
    EXPECT_EQ(Numbers(opened.source), row.complete);
    EXPECT_EQ(timeline.length, row.complete.back() - row.complete.front() + 1);
    EXPECT_EQ(archive_state(opened.source).anchorsRaised, std::string_view(row.what) == "time codes that stand still are raised");
    EXPECT_EQ(opened.source.missingFrames, timeline.length - int64_t(row.complete.size()));
  }
}

TEST(ArchiveSource, FindsAFullWarpForTheCameraData) {
  struct Row {
    const char* what;
    std::string warps;  // a letter a frame: r radial, f full, n none
    std::string deflated;
    int32_t frame, reads;
  };
  for (const Row& row :
       {Row{"the third", "rrf", "", 2, 2}, Row{"the first has it", "frf", "", -1, 0}, Row{"the first has no warp", "nff", "", -1, 0},
        Row{"none has it", "rrr", "", -1, 2}, Row{"a compressed one ends the search", "rrf", " d", -1, 0},
        Row{"a frame without a warp is passed over", "rnf", "", 2, 2}, Row{"the 300th frame", std::string(299, 'r') + "f", "", 299, 299},
        Row{"not the 301st", std::string(300, 'r') + "f", "", -1, 299}}) {
    SCOPED_TRACE(row.what);
    TestArchive archive;
    for (size_t i = 0; i < row.warps.size(); ++i) {
      DngDescription frame = SmallFrame();
      frame.imageDataLast = true;
      DngWarp warp;
      warp.planes = {{1.01, -0.02, 0.003, row.warps[i] == 'f' ? 0.5 : 0, 0, 0}};
      if (row.warps[i] != 'n') frame.opcodeList3.Add(warp);
      const bool deflated = i < row.deflated.size() && row.deflated[i] == 'd';
      archive.Frame(std::to_string(i) + ".dng", frame, deflated ? ZipMethod::kDeflate : ZipMethod::kStore);
    }
    const auto& bytes = archive.Finish();
    OpenedArchive opened(bytes);
    EXPECT_EQ(opened.state().referenceWarpFrame, row.frame);
    EXPECT_EQ(opened.state().referenceWarpReads, row.reads);
    EXPECT_EQ(opened.source.firstDng.warp.plane[0].kr[3], row.frame >= 0 || row.warps[0] == 'f' ? 0.5 : 0);
    EXPECT_EQ(OpenedArchive(bytes, kSkipWarpScan).state().referenceWarpReads, 0);
  }
}

}  // namespace
}  // namespace qx
