#include <algorithm>
#include <new>
#include <string_view>

#include "media/frame_timeline.h"
#include "qorix/qorix_rates.h"
#include "qorix/scan_lists.h"
#include "tests/qorix/recording_support.h"

namespace qx {
namespace {

struct OpenSource {
  explicit OpenSource(const TestRecording& recording) : file(recording.file) {
    MessageBuffer<256> message;
    EXPECT_EQ(qorix_source_open(&source, file, message), 0) << message.text();
  }
  MemorySource file;
  SourceTimeline source;
};

TEST(QorixSource, PlacesFramesInSlotsOfTheirTimestamps) {
  const TestRecording recording = MakeTestRecording([](QorixRecordingOptions& options) {
    options.frames = 10;
    options.droppedSlots = {3, 4};
    options.stalledSlots = {7};
  });
  OpenSource open(recording);
  FrameTimeline timeline;
  MessageBuffer<128> message;
  ASSERT_EQ(frame_timeline_build(&timeline, open.source, message), 0) << message.text();
  EXPECT_EQ(timeline.length, 11);
  std::vector<int32_t> shown;
  for (const DisplaySlot& slot : timeline.map) shown.push_back(slot.frame);
  EXPECT_EQ(shown, (std::vector<int32_t>{0, 1, 2, 2, 2, 3, 4, 5, 5, 6, 7}))
      << "slots 3 and 4 repeat frame 2; the stalled frame moves on by one slot, the next one by the two periods since the last advance";
  EXPECT_EQ(open.source.missingFrames, 3);
  EXPECT_EQ(open.source.indexNote, ".qorix: 8 frames, timeline by sensor timestamps, slots by timestamp step (spec §6.4)");
  EXPECT_EQ(open.source.numberingNote, ".qorix slots — sensor timestamp step, first 0");
}

TEST(QorixSource, RatesSpeedAndTimecode) {
  struct Row {
    uint32_t captureNumerator, captureDenominator, playbackNumerator, playbackDenominator;
    double fps, captureFps;
    bool changed;
    int64_t timecodeStart;
  };
  for (const Row& row :
       {Row{24, 1, 24, 1, 24, 24, false, 24 * 3600}, Row{120, 1, 30, 1, 30, 120, true, 30 * 3600},
        Row{60, 2, 30, 1, 30, 30, false, 30 * 3600}, Row{30000, 1001, 30000, 1001, 30000 / 1001.0, 30000 / 1001.0, false, 30 * 3600},
        Row{0, 1, 25, 1, 25, 25, false, 25 * 3600}, Row{24, 1, 0, 0, 30, 24, true, 30 * 3600}}) {
    RecordingHeader header;
    header.present = true;
    header.captureNumerator = row.captureNumerator;
    header.captureDenominator = row.captureDenominator;
    header.playbackNumerator = row.playbackNumerator;
    header.playbackDenominator = row.playbackDenominator;
    const RecordingRates rates = RatesOf(header);
    EXPECT_DOUBLE_EQ(rates.fps, row.fps);
    EXPECT_DOUBLE_EQ(rates.captureFps, row.captureFps);
    EXPECT_EQ(rates.speedChanged, row.changed) << row.captureNumerator << "/" << row.captureDenominator;
    EXPECT_EQ(OneHourOfFrames(rates.fps), row.timecodeStart);
  }
}

TEST(QorixSource, NamesItsLevel) {
  struct Row {
    float k;
    int32_t level;
    const char* name;
  };
  for (const Row& row :
       {Row{0, 0, "Lossless"}, Row{-1, 0, "Lossless"}, Row{0.5f, 1, "HQ"}, Row{1, 2, "SQ"}, Row{2, 3, "LT"}, Row{0.75f, -1, ""}}) {
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.fillHeader = false;
      options.file = Completed(options).file;
      options.file.header.quantization = row.k;
      options.frames = 1;
    });
    OpenSource open(recording);
    EXPECT_EQ(open.source.qualityLevel, row.level) << row.k;
    EXPECT_EQ(qorix_state(open.source).levelName, row.name);
  }
}

TEST(QorixSource, CountsLostRepeatedAndTruncatedFrames) {
  TestRecording recording = MakeTestRecording([](QorixRecordingOptions& options) {
    options.lostSlots = {2};
    options.repeatedSlots = {5};
  });
  {
    OpenSource open(recording);
    EXPECT_EQ(open.source.duplicates, 1);
    EXPECT_EQ(qorix_state(open.source).framesTotal, 8);
    EXPECT_EQ(qorix_state(open.source).framesLost, 1);
    EXPECT_EQ(qorix_state(open.source).truncatedFrames, 0);
    EXPECT_EQ(open.source.damageNote, "frames lost: 1");
  }
  const QorixPlacedChunk& last = recording.contents.chunks[recording.contents.frames.back().chunk];
  recording.file.resize(last.offset + last.totalSize - 64);
  OpenSource open(recording);
  EXPECT_EQ(qorix_state(open.source).truncatedFrames, 1);
  EXPECT_EQ(qorix_state(open.source).scan.openState, OpenState::kRecovered);
  const std::string chunks = std::to_string(qorix_state(open.source).scan.records.size());
  EXPECT_EQ(open.source.damageNote, "not closed properly (no index at its end); chunks found by searching the file: " + chunks +
                                        "; frames lost: 1; frames cut off: 1");
}

// The frames of the parts before are not lost, but one of this part is.
TEST(QorixSource, ALaterPartMissesOnlyItsOwnFrames) {
  const TestRecording recording = MakeTestRecording([](QorixRecordingOptions& options) {
    options.file.header.partNumber = 1;
    options.file.framesBefore = 100;
    options.lostSlots = {2};
  });
  OpenSource open(recording);
  EXPECT_EQ(qorix_state(open.source).framesTotal, 108);
  EXPECT_EQ(qorix_state(open.source).framesBefore, 100);
  EXPECT_EQ(qorix_state(open.source).framesLostHere, 1);
}

TEST(QorixSource, DescribesAndReadsSound) {
  for (const uint8_t format : {1, 2, 3, 4}) {
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.sound.format = format;
      options.sound.chunkFrames = 1000;
      options.sound.missingChunks = {3};
      options.sound.firstSample = 500;
    });
    OpenSource open(recording);
    const SoundDescription& sound = open.source.sound;
    ASSERT_EQ(sound.kind, SoundKind::kQorix);
    EXPECT_EQ(sound.channels, 2u);
    EXPECT_EQ(sound.sampleRate, 48000u);
    EXPECT_EQ(sound.bitsPerSample, format == 1 ? 16u : format == 2 ? 24u : 32u);
    EXPECT_EQ(sound.formatTag, format == 4 ? 3u : 1u);
    EXPECT_NEAR(open.source.sound.offsetSeconds, 0.01, 1e-3);
    EXPECT_EQ(open.source.sound.note, "ts of the first .qorix chunk (+0.010 s)");

    // Across the gap: the end of chunk 2, all of the missing chunk 3, the beginning of chunk 4.
    const size_t frameBytes = size_t(sound.blockAlign);
    std::vector<uint8_t> got(1200 * frameBytes, 0xFF);
    ASSERT_EQ(qorix_read_sound(&qorix_state(open.source).scan, 2900, 1200, got.data()), 1200);
    std::vector<uint8_t> expected(1200 * frameBytes, 0);
    const std::vector<uint8_t> before = SoundBytes(recording.options.sound, 2900, 100),
                               after = SoundBytes(recording.options.sound, 4000, 100);
    std::copy(before.begin(), before.end(), expected.begin());
    std::copy(after.begin(), after.end(), expected.end() - ptrdiff_t(after.size()));
    EXPECT_EQ(got, expected) << "format " << int(format);
  }
}

TEST(QorixSource, ReadsOnlyChunksOfTheFirstFormatAndWhatTheyHold) {
  const TestRecording recording = MakeTestRecording([](QorixRecordingOptions& options) {
    options.sound.format = 1;
    options.sound.chunkFrames = 1000;
    options.sound.foreignChunks = {2};
    options.sound.oddSizedChunks = {4};  // ends within its last sample frame
  });
  OpenSource open(recording);
  RecordingScan& scan = qorix_state(open.source).scan;
  std::vector<uint8_t> expected = SoundBytes(recording.options.sound, 0, 6000);
  std::fill_n(expected.begin() + 2000 * 4, 1000 * 4, 0);
  std::fill_n(expected.begin() + 4999 * 4, 4, 0);
  std::vector<uint8_t> got(expected.size(), 0xFF);
  ASSERT_EQ(qorix_read_sound(&scan, 0, 6000, got.data()), 6000);
  EXPECT_EQ(got, expected);
  EXPECT_EQ(qorix_state(open.source).soundInfo.oddChunkSeqs, std::vector<uint32_t>{4});

  // Chunks that do not follow each other in time are all looked at.
  std::swap(scan.records[size_t(scan.sound[1].record)].extra0, scan.records[size_t(scan.sound[5].record)].extra0);
  scan.soundSummary = SummariseSound(scan.records, scan.sound);
  EXPECT_FALSE(scan.soundSummary.monotonic);
  std::swap_ranges(expected.begin() + 1000 * 4, expected.begin() + 2000 * 4, expected.begin() + 5000 * 4);
  for (const uint64_t first : {1000u, 5000u}) {
    ASSERT_EQ(qorix_read_sound(&scan, first, 1000, got.data()), 1000);
    EXPECT_TRUE(std::equal(got.begin(), got.begin() + 4000, expected.begin() + ptrdiff_t(first) * 4)) << first;
  }
}

TEST(QorixSource, CountsGapsAndForeignChunksOfItsSound) {
  struct Row {
    const char* why;
    std::vector<uint32_t> missing, foreign, odd;
    int32_t gaps;
    uint64_t gapFrames;
  };
  // Chunks of 1000 sample frames from 0 on.
  for (const Row& row : {Row{"whole", {}, {}, {}, 0, 0}, Row{"one missing", {3}, {}, {}, 1, 1000},
                         Row{"two in a row", {3, 4}, {}, {}, 1, 2000}, Row{"missing beside foreign", {3}, {4}, {}, 1, 2000},
                         Row{"apart", {2, 6}, {4}, {}, 3, 3000}, Row{"short of a sample frame", {}, {}, {5}, 1, 1}}) {
    SCOPED_TRACE(row.why);
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.sound.format = 1;
      options.sound.chunkFrames = 1000;
      options.sound.missingChunks = row.missing;
      options.sound.foreignChunks = row.foreign;
      options.sound.oddSizedChunks = row.odd;
    });
    OpenSource open(recording);
    const QorixSoundInfo& info = qorix_state(open.source).soundInfo;
    EXPECT_EQ(info.gaps, row.gaps);
    EXPECT_EQ(info.gapFrames, row.gapFrames);
    EXPECT_EQ(info.foreignChunks, int32_t(row.foreign.size()));
    EXPECT_EQ(info.oddChunks, int32_t(row.odd.size()));
  }
}

TEST(QorixSource, TrustsSoundOffsetsOnlyInTheWindow) {
  struct Row {
    double start;
    uint8_t clockSync;
    uint32_t captureRate, playbackSoundRate;
    SoundOffsetSource source;
    const char* note;
  };
  for (const Row& row : {Row{9.5, 1, 30, 0, SoundOffsetSource::kSensorClock, "ts of the first .qorix chunk (+9.500 s)"},
                         Row{11, 1, 30, 0, SoundOffsetSource::kNone, "ts of the first .qorix chunk -> 11.000 s — not trusted"},
                         Row{0.5, 0, 30, 0, SoundOffsetSource::kNone, "ts of .qorix chunks: sound clock not synced (clockSync 0)"},
                         Row{2.5, 1, 120, 0, SoundOffsetSource::kSensorClock, "ts of the first .qorix chunk (+2.500 s)"},
                         // Slow motion stretches the sound, the offset and the window alike.
                         Row{2.5, 1, 120, 12000, SoundOffsetSource::kSensorClock, "ts of the first .qorix chunk (+10.000 s)"},
                         Row{9.5, 1, 120, 12000, SoundOffsetSource::kSensorClock, "ts of the first .qorix chunk (+38.000 s)"},
                         Row{10.5, 1, 120, 12000, SoundOffsetSource::kNone, "ts of the first .qorix chunk -> 42.000 s — not trusted"}}) {
    SCOPED_TRACE(row.note);
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.sound.format = 1;
      options.sound.startSeconds = row.start;
      options.sound.clockSync = row.clockSync;
      options.sound.playbackRate = row.playbackSoundRate;
      options.file.header.capture = {row.captureRate, 1};
      options.file.header.playback = {30, 1};
      options.frames = int(row.captureRate) * 12;
      options.distinctPictures = 1;
    });
    OpenSource open(recording);
    EXPECT_EQ(open.source.sound.sampleRate, row.playbackSoundRate != 0 ? 12000u : 48000u);
    EXPECT_EQ(open.source.sound.offsetSource, row.source);
    EXPECT_EQ(open.source.sound.note, row.note);
  }
}

/// A file of which the n-th read finds no memory, and only that one.
class ShortOfMemory final : public ByteSource {
 public:
  ShortOfMemory(Bytes bytes, int failing) : memory_(bytes), left_(failing) {}
  uint64_t size() const override { return memory_.size(); }
  uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const override {
    if (left_-- == 0) throw std::bad_alloc();
    return memory_.ReadAt(offset, out, count);
  }
  bool refused() const { return left_ < 0; }

 private:
  MemorySource memory_;
  mutable int left_;
};

TEST(QorixSource, SaysWhenMemoryRunsOutAnywhere) {
  const TestRecording recording = MakeTestRecording();
  bool refused = true;
  for (int n = 0; refused; ++n) {
    SCOPED_TRACE(n);
    const ShortOfMemory file(recording.file, n);
    SourceTimeline source;
    MessageBuffer<256> message;
    const int result = qorix_source_open(&source, file, message);
    refused = file.refused();
    if (result == 0) continue;  // none was refused, or a part took care of it
    EXPECT_TRUE(refused);
    EXPECT_TRUE(std::string_view(message.text()).ends_with("out of memory")) << message.text();
    EXPECT_EQ(source.container, nullptr);
    EXPECT_TRUE(source.frames.empty());
  }
}

TEST(QorixSource, PassesTheScansWarningOn) {
  OpenSource open(MakeTestRecording([](QorixRecordingOptions& options) { options.file.header.partNumber = 2; }));
  EXPECT_EQ(open.source.openMessage, "part 2 of the recording: parts are not joined, only this file is read");
}

}  // namespace
}  // namespace qx
