#include "media/sound_placement.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

namespace qx {
namespace {

constexpr uint32_t kRate = 48000;
constexpr int64_t kHuge = std::numeric_limits<int64_t>::max();

/// A clip of ten seconds at 24 frames a second.
SourceTimeline TenSeconds() {
  SourceTimeline source;
  source.fps = source.captureFps = 24;
  source.timecodeStart = -1;
  for (int i = 0; i < 240; ++i) {
    FrameRecord frame;
    frame.number = frame.nameNumber = i;
    source.frames.push_back(frame);
  }
  source.lastNumber = 239;
  return source;
}

SoundDescription Wav(double seconds) {
  SoundDescription sound;
  sound.kind = SoundKind::kWav;
  sound.entry = 3;
  sound.formatTag = kWavePcm;
  sound.channels = 2;
  sound.sampleRate = kRate;
  sound.bitsPerSample = 16;
  sound.blockAlign = 4;
  sound.frames = uint64_t(seconds * kRate + 0.5);
  sound.dataSize = sound.frames * 4;
  return sound;
}

SoundDescription Shifted(double seconds, SoundOffsetSource from, double offset) {
  SoundDescription sound = Wav(seconds);
  sound.offsetSource = from;
  sound.offsetSeconds = offset;
  return sound;
}

SoundPlacement Placed(SourceTimeline source) {
  FrameTimeline timeline;
  MessageBuffer<256> message;
  EXPECT_EQ(frame_timeline_build(&timeline, source, message), 0) << message.text();
  return timeline.sound;
}

class NoReader final : public SoundReader {
 public:
  int64_t ReadSound(uint64_t, uint64_t, uint8_t*) override { return -1; }
};

TEST(SoundPlacement, CountsLeadSkipAndWhatIsLeft) {
  using Source = SoundOffsetSource;
  using Method = SoundOffsetMethod;
  struct Row {
    const char* why;
    SoundDescription sound;
    Method method;
    double offset;
    int64_t lead, skip, out;
    SoundReason reason = SoundReason::kOffered;
  };
  const int64_t all = 10 * kRate;
  const Row rows[] = {
      {"starts with the picture", Shifted(10, Source::kAudioOffsetUs, 0), Method::kAudioOffsetUs, 0, 0, 0, all},
      {"later: ends with the picture", Shifted(10, Source::kAudioOffsetUs, 0.5), Method::kAudioOffsetUs, 0.5, 24000, 0, all - 24000},
      {"later and shorter", Shifted(9, Source::kBext, 0.5), Method::kBext, 0.5, 24000, 0, 9 * kRate},
      {"earlier", Shifted(10, Source::kSensorClock, -0.25), Method::kSensorClock, -0.25, 0, 12000, all - 12000},
      {"offset rounded to a sample", Shifted(10, Source::kBext, 0.0000105), Method::kBext, 0.0000105, 1, 0, all - 1},
      {"half a second short: 0.11 + 0.5 s", Wav(9.5), Method::kDurations, 0.61, 29280, 0, all - 29280},
      {"two seconds long", Wav(12), Method::kDurations, -1.89, 0, 90720, all},
      {"2.2 s long: too much for a guess", Wav(12.2), Method::kNone, 0, 0, 0, all},
      {"3.8 s short", Wav(6.2), Method::kDurations, 3.91, 187680, 0, 297600 - 5280},
      {"4 s short: too much for a guess", Wav(6), Method::kNone, 0, 0, 0, 6 * kRate},
      {"no samples", Wav(0), Method::kNone, 0, 0, 0, 0, SoundReason::kNothingLeft},
      {"skipped to its end", Shifted(2, Source::kBext, -2), Method::kBext, -2, 0, 96000, 0, SoundReason::kNothingLeft},
      {"starts after the picture", Shifted(2, Source::kBext, 10), Method::kBext, 10, all, 0, 0, SoundReason::kNothingLeft},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    SourceTimeline source = TenSeconds();
    source.sound = row.sound;
    const SoundPlacement placed = Placed(std::move(source));
    EXPECT_EQ(placed.method, row.method);
    EXPECT_NEAR(placed.offsetSeconds, row.offset, 1e-9);
    EXPECT_EQ(placed.timelineFrames, all);
    EXPECT_EQ(placed.lead, row.lead);
    EXPECT_EQ(placed.skip, row.skip);
    EXPECT_EQ(placed.out, row.out);
    EXPECT_EQ(placed.reason, row.reason);
    EXPECT_EQ(placed.offered, row.reason == SoundReason::kOffered);
  }
}

TEST(SoundPlacement, SaysWhySoundIsNotOffered) {
  using Edit = void (*)(SourceTimeline&);
  struct Row {
    const char* why;
    Edit edit;
    SoundReason reason;
  };
  static NoReader reader;
  const Row rows[] = {
      {"no sound", [](SourceTimeline& s) { s.sound = {}; }, SoundReason::kNoSound},
      {"no member", [](SourceTimeline& s) { s.sound.entry = -1; }, SoundReason::kNoSound},
      {"other format", [](SourceTimeline& s) { s.sound.kind = SoundKind::kOther; }, SoundReason::kFormat},
      {"no rate", [](SourceTimeline& s) { s.sound.sampleRate = 0; }, SoundReason::kFormat},
      {"no block", [](SourceTimeline& s) { s.sound.blockAlign = 0; }, SoundReason::kFormat},
      {"AAC is not decoded", [](SourceTimeline& s) { s.sound.kind = SoundKind::kMp4; }, SoundReason::kFormat},
      {"recording without a reader", [](SourceTimeline& s) { s.sound.kind = SoundKind::kQorix; }, SoundReason::kFormat},
      {"recording",
       [](SourceTimeline& s) {
         s.sound.kind = SoundKind::kQorix;
         s.sound.entry = -1;
         s.sound.reader = &reader;
       },
       SoundReason::kOffered},
      {"slow motion", [](SourceTimeline& s) { s.speedChanged = true; }, SoundReason::kSpeedChanged},
      {"slow motion with stretched sound",
       [](SourceTimeline& s) {
         s.speedChanged = true;
         s.sound.stretch = 4;
       },
       SoundReason::kOffered},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    SourceTimeline source = TenSeconds();
    source.sound = Wav(10);
    row.edit(source);
    const SoundPlacement placed = Placed(std::move(source));
    EXPECT_EQ(placed.reason, row.reason);
    EXPECT_EQ(placed.offered, row.reason == SoundReason::kOffered);
  }
}

TEST(SoundPlacement, StretchWidensTheGuess) {
  struct Row {
    double stretch, seconds;
    SoundOffsetMethod method;
    double offset;
  };
  for (const Row& row : {Row{4, 10, SoundOffsetMethod::kDurations, 0.44}, Row{4, 17, SoundOffsetMethod::kDurations, -6.56},
                         Row{4, 19, SoundOffsetMethod::kNone, 0},
                         // A stretch below 1 shortens the tail, but does not narrow the window.
                         Row{0.5, 11.9, SoundOffsetMethod::kDurations, -1.845}}) {
    SourceTimeline source = TenSeconds();
    source.sound = Wav(row.seconds);
    source.sound.stretch = row.stretch;
    const SoundPlacement placed = Placed(std::move(source));
    EXPECT_EQ(placed.method, row.method) << row.stretch << " " << row.seconds;
    EXPECT_NEAR(placed.offsetSeconds, row.offset, 1e-9);
  }
}

TEST(SoundPlacement, CountsTheTimeReferenceFromTheTimeCodesOrigin) {
  struct Row {
    int64_t start, firstName;
    int32_t numbering;
    double offset;
    int64_t expected;
  };
  for (const Row& row : {Row{-1, 0, 0, 0.5, 172824000},  // an hour and half a second
                         Row{86400, 0, 0, 0, 172800000}, Row{240, 0, 0, 0, 480000}, Row{240, 48, 1, 0, 576000}, Row{240, 48, -1, 0, 480000},
                         Row{24, 0, 0, -2, 0}, Row{kHuge, 0, 0, 0, kHuge}}) {
    SourceTimeline source = TenSeconds();
    source.timecodeStart = row.start;
    source.numberingResult = row.numbering;
    source.frames[0].nameNumber = row.firstName;
    source.sound = Shifted(10, SoundOffsetSource::kBext, row.offset);
    EXPECT_EQ(Placed(std::move(source)).timeReference, row.expected) << row.start << " " << row.firstName << " " << row.numbering;
  }
}

TEST(SoundPlacement, SurvivesAbsurdNumbers) {
  static NoReader reader;
  SourceTimeline source = TenSeconds();
  source.fps = 1e-300;
  source.sound = Wav(10);
  source.sound.kind = SoundKind::kQorix;
  source.sound.reader = &reader;
  source.sound.sampleRate = std::numeric_limits<uint32_t>::max();
  source.sound.frames = std::numeric_limits<uint64_t>::max();
  source.sound.offsetSource = SoundOffsetSource::kSensorClock;
  for (const double offset : {-1e300, 0.0, 1e300}) {
    source.sound.offsetSeconds = offset;
    FrameTimeline timeline;
    ASSERT_EQ(frame_timeline_build(&timeline, source, Message()), 0);
    EXPECT_GE(timeline.sound.length(), timeline.sound.lead);
    EXPECT_GE(timeline.sound.out, 0);
  }
}

/// Byte i of the file is i.
std::vector<uint8_t> CountingBytes() {
  std::vector<uint8_t> bytes(256);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i);
  return bytes;
}

TEST(ReadSoundFrames, CoversLeadAndSoundAndNothingElse) {
  const std::vector<uint8_t> bytes = CountingBytes();
  const MemorySource file(bytes);
  SoundPlacement sound;
  sound.kind = SoundKind::kWav;
  sound.blockAlign = 2;
  sound.dataOffset = 100;
  sound.frames = 20;
  sound.lead = 3;
  sound.skip = 5;
  sound.out = 10;
  struct Row {
    int64_t first, count, covered;
    std::vector<uint8_t> head;  // first bytes of what is delivered
  };
  for (const Row& row :
       {Row{0, 2, 2, {0, 0, 0, 0}}, Row{2, 3, 3, {0, 0, 110, 111, 112, 113}}, Row{3, 1, 1, {110, 111}}, Row{12, 9, 1, {128, 129}},
        Row{13, 1, 0, {}}, Row{kHuge, kHuge, 0, {}}, Row{0, 0, 0, {}}, Row{-1, 3, -1, {}}, Row{0, -1, -1, {}}, Row{0, kHuge, 13, {0}}}) {
    std::vector<uint8_t> got(26, 0xEE);
    EXPECT_EQ(read_sound_frames(file, sound, row.first, row.count, got.data()), row.covered) << row.first << " + " << row.count;
    EXPECT_TRUE(std::equal(row.head.begin(), row.head.end(), got.begin())) << row.first << " + " << row.count;
    const size_t written = size_t(std::max<int64_t>(row.covered, 0)) * 2;
    EXPECT_TRUE(std::all_of(got.begin() + ptrdiff_t(written), got.end(), [](uint8_t b) { return b == 0xEE; }));
  }
}

TEST(ReadSoundFrames, FailsWhereTheFileDoes) {
  const std::vector<uint8_t> bytes = CountingBytes();
  const MemorySource file(bytes);
  std::vector<uint8_t> got(64);
  SoundPlacement sound;
  sound.kind = SoundKind::kWav;
  sound.blockAlign = 2;
  sound.dataOffset = 246;
  sound.frames = 20;  // five of them are in the file
  sound.out = 20;
  EXPECT_EQ(read_sound_frames(file, sound, 0, 5, got.data()), 5);
  EXPECT_EQ(read_sound_frames(file, sound, 0, 6, got.data()), -1);
  sound.kind = SoundKind::kMp4;
  EXPECT_EQ(read_sound_frames(file, sound, 0, 5, got.data()), -1);
  NoReader reader;
  sound.kind = SoundKind::kQorix;
  EXPECT_EQ(read_sound_frames(file, sound, 0, 5, got.data()), -1);
  sound.reader = &reader;
  EXPECT_EQ(read_sound_frames(file, sound, 0, 5, got.data()), -1);
}

}  // namespace
}  // namespace qx
