#include "tools/qorix-check/health.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/qorix/recording_support.h"
#include "tests/rawzip/archive_test_support.h"
#include "tools/qorix-check/report.h"

namespace tool {
namespace {

using qx::TestRecording;

void SpoilFrame(TestRecording* recording, uint32_t frame) {
  for (uint32_t slice = 0; slice < 4; ++slice) qx::CorruptSlice(&recording->file, frame, slice);
}

void CutIntoLastFrame(TestRecording* recording) {
  const qx::QorixPlacedChunk& last = recording->contents.chunks[recording->contents.frames.back().chunk];
  qx::CutAt(&recording->file, last.end() - 64);
}

void SpoilAllFrames(TestRecording* recording) {
  for (uint32_t frame = 0; frame < 8; ++frame) SpoilFrame(recording, frame);
}

void ZeroAFrame(TestRecording* recording) {
  const qx::QorixPlacedChunk& frame = recording->contents.chunks[recording->contents.frames[4].chunk];
  qx::ZeroBytes(&recording->file, {frame.offset, frame.end()});
}

using Options = qx::QorixRecordingOptions;

// Eight frames of four slices each. Verdicts are the exit codes of the command.
TEST(Health, TellsWhatIsWholeDamagedOrLost) {
  struct Row {
    const char* what;
    void (*edit)(Options&) = [](Options&) {};
    void (*damage)(TestRecording*) = [](TestRecording*) {};
    int verdict = 0;
    int64_t frames = 8, lost = 0, cutOff = 0, neverRecorded = 0;
    std::vector<std::vector<int32_t>> faults = {};  // frame, bad slices, filled ones
    int foreign = 0;                                // chunks of another recording
    size_t damagedAreas = 0;
    const char* reason = "";
  };
  const auto withRemains = [](Options& options) { options.foreignEvery = 2; };
  const Row rows[] = {
      {.what = "whole"},
      {.what = "a frame is not in the file",
       .edit = [](Options& options) { options.lostSlots = {2}; },
       .verdict = 1,
       .frames = 7,
       .lost = 1},
      {.what = "cut", .damage = CutIntoLastFrame, .verdict = 1, .cutOff = 1, .faults = {{7, 1, 1}}},
      {.what = "a bad slice",
       .damage = [](TestRecording* recording) { qx::CorruptSlice(&recording->file, 3, 1); },
       .verdict = 1,
       .faults = {{3, 1, 1}}},
      {.what = "a frame of bad slices",
       .damage = [](TestRecording* recording) { SpoilFrame(recording, 5); },
       .verdict = 1,
       .faults = {{5, 4, 0}}},
      {.what = "remains of another recording",
       .edit = withRemains,
       .damage = [](TestRecording* recording) { qx::DropTrailer(&recording->file, true); },
       .verdict = 1,
       .foreign = 4},
      {.what = "remains of another recording in a file that was closed", .edit = withRemains, .foreign = 4},
      {.what = "zeros where a chunk was", .damage = ZeroAFrame, .verdict = 1, .frames = 7, .lost = 1, .damagedAreas = 1},
      {.what = "a later part", .edit = [](Options& options) { options.file.header.partNumber = 1, options.file.framesBefore = 100; }},
      {.what = "a frame that the phone missed",
       .edit = [](Options& options) { options.droppedSlots = {4}; },
       .frames = 7,
       .neverRecorded = 1},
      {.what = "no frame can be decoded",
       .damage = SpoilAllFrames,
       .verdict = 2,
       .faults = {{0, 4, 0}, {1, 4, 0}, {2, 4, 0}, {3, 4, 0}, {4, 4, 0}, {5, 4, 0}, {6, 4, 0}, {7, 4, 0}}},
      {.what = "header alone",
       .damage = [](TestRecording* recording) { qx::CutAt(&recording->file, recording->contents.chunks[1].offset); },
       .verdict = 2,
       .frames = 0,
       .reason = ".qorix: no whole frames (records 1, damaged areas 0)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    TestRecording recording = qx::MakeTestRecording(row.edit);
    row.damage(&recording);
    const qx::MemorySource file(recording.file);
    const Health health = CheckHealth(file, true, [](size_t, size_t) {});
    EXPECT_EQ(int(health.verdict()), row.verdict) << HealthText("file", health);
    EXPECT_EQ(health.reason, row.reason);

    const nlohmann::json json = nlohmann::json::parse(HealthJson("file", health), nullptr, false);
    ASSERT_TRUE(json.is_object());
    EXPECT_EQ(json["verdict"], (std::vector<std::string>{"whole", "damaged", "unreadable"}[size_t(row.verdict)]));
    EXPECT_EQ(json["reason"], row.reason);
    EXPECT_EQ(json["frames"]["count"], row.frames);
    EXPECT_EQ(json["frames"]["lost"], row.lost);
    EXPECT_EQ(json["frames"]["cutOff"], row.cutOff);
    EXPECT_EQ(json["frames"]["neverRecorded"], row.neverRecorded);
    EXPECT_EQ(json["foreignChunks"], row.foreign);
    EXPECT_EQ(json["foreignAreas"].size(), size_t(row.foreign));
    EXPECT_EQ(json["damagedAreas"].size(), row.damagedAreas);
    std::vector<std::vector<int32_t>> faults;
    for (const auto& fault : json["frameFaults"]) faults.push_back({fault["frame"], fault["badSlices"], fault["substitutedSlices"]});
    EXPECT_EQ(faults, row.faults);
  }
}

std::vector<uint8_t> SmallArchive(size_t bytesCut) {
  qx::TestArchive archive;
  for (const char* name : {"a1.dng", "a2.dng", "a3.dng"}) archive.Frame(name, qx::SmallFrame());
  std::vector<uint8_t> bytes = archive.Finish();
  bytes.resize(bytes.size() - bytesCut);
  return bytes;
}

TEST(Health, CountsTheFrameThatAnArchiveEndsIn) {
  const size_t directory = 3 * (46 + 6) + 22;  // three records with a name of six, and the end record
  const std::vector<uint8_t> bytes = SmallArchive(directory + 10);
  const Health health = CheckHealth(qx::MemorySource(bytes), true, [](size_t, size_t) {});
  EXPECT_EQ(health.frames, 2);
  EXPECT_EQ(health.truncated, 1);
  EXPECT_EQ(health.damagedAreas.size(), 1u);
  EXPECT_EQ(health.verdict(), Verdict::kDamaged);
}

// The directory names only the first of three members any more; they are all there.
TEST(Health, TellsHowToReachWhatADamagedDirectoryHides) {
  std::vector<uint8_t> bytes = SmallArchive(0);
  const size_t directory = bytes.size() - (3 * (46 + 6) + 22);
  bytes[directory + 46 + 6] = 0;
  const auto check = [&bytes] { return CheckHealth(qx::MemorySource(bytes), true, [](size_t, size_t) {}); };
  const Health health = check();
  EXPECT_EQ(health.verdict(), Verdict::kDamaged);
  EXPECT_EQ(health.frames, 1);
  EXPECT_NE(health.reindex.find(std::to_string(directory) + " bytes"), std::string::npos) << health.reindex;
  bytes.resize(directory);
  EXPECT_EQ(check().frames, 3) << "as promised";
}

// Uncompressed samples have nothing but the member's checksum against which a changed bit shows.
TEST(Health, TellsChangedSamplesOfAnArchive) {
  std::vector<uint8_t> bytes = SmallArchive(0);
  const std::string_view localHeader = "PK\x03\x04";
  const auto second = std::search(bytes.begin() + 1, bytes.end(), localHeader.begin(), localHeader.end());
  ASSERT_NE(second, bytes.end());
  EXPECT_EQ(CheckHealth(qx::MemorySource(bytes), true, [](size_t, size_t) {}).verdict(), Verdict::kWhole);
  second[-1] ^= 1;
  const Health health = CheckHealth(qx::MemorySource(bytes), true, [](size_t, size_t) {});
  EXPECT_EQ(health.verdict(), Verdict::kDamaged);
  ASSERT_EQ(health.frameFaults.size(), 1u);
  EXPECT_TRUE(health.frameFaults[0].frame == 0 && health.frameFaults[0].wrongChecksum);
}

// A frame whose compressed bytes are no DEFLATE stream, and an archive that promises numbers which nothing confirms.
TEST(Health, SaysCodesInWords) {
  qx::TestArchive archive;
  archive.Frame("a1.dng", qx::SmallFrame()).RawMember("a2.dng", 8, std::vector<uint8_t>(500, 0xFF), 500);
  const std::vector<uint8_t> bytes = archive.Finish("DngNumbering:sensor");
  const std::string text = HealthText("file", CheckHealth(qx::MemorySource(bytes), true, [](size_t, size_t) {}));
  EXPECT_NE(text.find("frame 1: not read: "), std::string::npos) << text;
  EXPECT_EQ(text.find("frame 1: frame 1"), std::string::npos) << text;
  EXPECT_EQ(text.find("(-3)"), std::string::npos) << text;
  EXPECT_EQ(text.find("(state"), std::string::npos) << text;
}

TEST(Health, NotesAWrongName) {
  struct Row {
    const char* path;
    bool isQorix;
    const char* note;  // part of it; "" for none
  };
  for (const Row& row : {Row{"/a/b.qorix", true, ""}, Row{"/a/b.ZIP", false, ""}, Row{"b.zip", true, "ends in .zip, but this is a .qorix"},
                         Row{"b.qorix", false, "ends in .qorix, but this is a RAW-ZIP"}, Row{"b.bin", true, "does not end in .qorix"}}) {
    SCOPED_TRACE(row.path);
    Health health;
    health.kind = "kind";
    health.isQorix = row.isQorix;
    NoteWrongName(row.path, &health);
    const std::string note = health.notes.empty() ? "" : health.notes[0];
    EXPECT_EQ(note.empty(), *row.note == '\0') << note;
    EXPECT_NE(note.find(row.note), std::string::npos) << note;
  }
}

// A screen shows eight faults and says how many there are; JSON lists them all.
TEST(Health, ShortensLongListsInTextOnly) {
  TestRecording recording = qx::MakeTestRecording([](qx::QorixRecordingOptions& options) { options.frames = 12; });
  for (uint32_t frame = 1; frame < 11; ++frame) qx::CorruptSlice(&recording.file, frame, 0);
  const qx::MemorySource file(recording.file);
  const Health health = CheckHealth(file, true, [](size_t, size_t) {});
  const std::string text = HealthText("file", health);
  EXPECT_NE(text.find("file: damaged, but readable\n"), std::string::npos) << text;
  EXPECT_NE(text.find("12 frames, 10 with faults\n"), std::string::npos) << text;
  EXPECT_NE(text.find("frame 8: 1 bad slice,"), std::string::npos) << text;
  EXPECT_EQ(text.find("frame 9: 1 bad slice,"), std::string::npos) << text;
  EXPECT_NE(text.find("… and 2 more"), std::string::npos) << text;
  EXPECT_EQ(nlohmann::json::parse(HealthJson("file", health))["frameFaults"].size(), 10u);
}

}  // namespace
}  // namespace tool
