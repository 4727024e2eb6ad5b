#include "tools/qorix-check/sound_health.h"

#include <gtest/gtest.h>

#include "samples/archive_maker.h"
#include "tests/qorix/recording_support.h"
#include "tools/qorix-check/health.h"
#include "tools/qorix-check/report.h"

namespace tool {
namespace {

using ByteVector = std::vector<uint8_t>;

/// Every line of the report about sound, joined.
std::string SoundText(const ByteVector& bytes, Verdict* verdict) {
  const qx::MemorySource file(bytes);
  const Health health = CheckHealth(file, false, [](size_t, size_t) {});
  *verdict = health.verdict();
  std::string text;
  for (const auto& [name, value] : SoundLines(health.sound)) text += name + ": " + value + "\n";
  return text;
}

ByteVector Archive(void (*edit)(qx::ArchiveOptions&)) {
  qx::ArchiveOptions options;
  options.picture.width = options.picture.height = 32;
  options.frames = 24;
  options.sound = qx::ArchiveSoundOptions{.wav = {.encoding = qx::SampleEncoding::kS24}, .startSeconds = 0.25};
  edit(options);
  ByteVector bytes;
  EXPECT_TRUE(qx::MakeArchive(options, qx::ZipSinkTo(&bytes)));
  return bytes;
}

TEST(SoundHealth, TellsPlaceReasonAndDamageOfArchives) {
  struct Row {
    const char* why;
    void (*edit)(qx::ArchiveOptions&);
    Verdict verdict;
    const char* text;
  };
  // A second of picture at 48 kHz, sound from 0.25 s on and for 0.11 s longer than the picture: 41280 sample frames.
  const Row rows[] = {
      {"comment", [](qx::ArchiveOptions&) {}, Verdict::kWhole,
       "sound: 2 channels, 48000 Hz, 24 bit, 41280 sample frames (0.86 s)\n"
       "sound offset: +0.250000 s, the archive's AudioOffsetUs; AudioOffsetUs 250000\n"
       ": 12000 sample frames of silence, then 36000 of the sound from its 0 on\n"},
      {"guessed", [](qx::ArchiveOptions& options) { options.sound->told = qx::SoundOffsetTold::kNot; }, Verdict::kWhole,
       "sound: 2 channels, 48000 Hz, 24 bit, 41280 sample frames (0.86 s)\n"
       "sound offset: +0.250000 s, guessed from the durations of sound and picture\n"
       ": 12000 sample frames of silence, then 36000 of the sound from its 0 on\n"},
      {"cut off", [](qx::ArchiveOptions& options) { options.sound->wav.claimedMore = 6000; }, Verdict::kDamaged,
       "sound: 2 channels, 48000 Hz, 24 bit, 41280 sample frames (0.86 s)\n"
       "sound offset: +0.250000 s, the archive's AudioOffsetUs; AudioOffsetUs 250000\n"
       ": 12000 sample frames of silence, then 36000 of the sound from its 0 on\n"
       "sound damage: cut off: the file holds less than its head says\n"},
      {"none", [](qx::ArchiveOptions& options) { options.sound.reset(); }, Verdict::kWhole, "sound: none\n"},
      {"another format",
       [](qx::ArchiveOptions& options) {
         options.sound.reset();
         options.members.emplace_back("take.flac", ByteVector{'f', 'L', 'a', 'C'});
       },
       Verdict::kWhole, "sound: a member that cannot be read as sound\n: not offered: its format cannot be read\n"},
      {"slow motion without a word about its sound",
       [](qx::ArchiveOptions& options) {
         options.recording.captureFps = 96;
         options.recording.comment = {{"AudioStretch", "0"}};
         options.members.emplace_back("take.wav", qx::WriteWav({}, ByteVector(48000 * 4)));
         options.sound.reset();
       },
       Verdict::kWhole,
       "sound: 2 channels, 48000 Hz, 16 bit, 48000 sample frames (1.00 s)\n"
       ": not offered: the clip plays at another speed than it was captured, and the recording does not say how its sound goes with "
       "that\n"},
  };
  for (const Row& row : rows) {
    Verdict verdict = Verdict::kUnreadable;
    EXPECT_EQ(SoundText(Archive(row.edit), &verdict), row.text) << row.why;
    EXPECT_EQ(verdict, row.verdict) << row.why;
  }
}

TEST(SoundHealth, CountsGapsAndForeignChunksOfRecordings) {
  const qx::TestRecording recording = qx::MakeTestRecording([](qx::QorixRecordingOptions& options) {
    options.sound.format = 2;
    options.sound.chunkFrames = 1000;
    options.sound.missingChunks = {2};
    options.sound.foreignChunks = {5};
    options.sound.clockSync = 0;
  });
  Verdict verdict = Verdict::kUnreadable;
  const std::string text = SoundText(recording.file, &verdict);
  EXPECT_EQ(verdict, Verdict::kDamaged);
  EXPECT_NE(text.find("sound clock not synced (clockSync 0)"), std::string::npos) << text;
  EXPECT_NE(text.find("sound damage: 2 gaps (2000 sample frames of silence), 1 chunks of another format or rate left out\n"),
            std::string::npos)
      << text;
}

}  // namespace
}  // namespace tool
