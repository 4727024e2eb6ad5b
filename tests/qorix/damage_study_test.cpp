// Random damage to a small recording: whatever frame is untouched is found and decodes to its exact samples.
#include <random>
#include <set>

#include "tests/qorix/recording_support.h"

namespace qx {
namespace {

constexpr int kDamages = 2000;

QorixRange RandomRange(std::mt19937_64& random, size_t size, size_t longest) {
  const uint64_t begin = random() % size;
  return {begin, std::min<uint64_t>(size, begin + 1 + random() % longest)};
}

QorixDamage DamageOnce(std::vector<uint8_t>* file, size_t chunks, std::mt19937_64& random) {
  switch (random() % 8) {
    case 0:
      return CutAt(file, random() % file->size());
    case 1:
      return FlipBits(file, {0, file->size()}, 1 + random() % 4, random());
    case 2:
      return ZeroBytes(file, RandomRange(random, file->size(), 5000));
    case 3:
      return InsertBytes(file, random() % file->size(), std::vector<uint8_t>(8 * (1 + random() % 40), uint8_t(random())));
    case 4:
      return SwapChunks(file, random() % chunks, random() % chunks);
    case 5:
      return OverwriteIndexes(file, random());
    case 6:
      return DropTrailer(file, random() % 2 == 0);
    default: {
      // The end of a file is where recordings die: damage there hits trailer and indexes.
      const uint64_t begin = file->size() - std::min<uint64_t>(file->size(), 1 + random() % 2000);
      return ZeroBytes(file, {begin, file->size()});
    }
  }
}

TEST(DamageStudy, UntouchedFramesSurvive) {
  const TestRecording recording = MakeTestRecording([](QorixRecordingOptions& options) {
    options.file.indexEvery = 5;
    options.file.headerCopyFirst = false;
    options.sound.format = 1;
    options.frames = 12;
  });
  std::vector<std::vector<uint16_t>> expected;
  for (const QorixRecordedFrame& frame : recording.contents.frames) expected.push_back(LinearSamples(recording.options, frame.slot));
  int survivors = 0, opened = 0;
  for (int seed = 0; seed < kDamages; ++seed) {
    std::mt19937_64 random{uint64_t(seed)};
    std::vector<uint8_t> file = recording.file;
    const QorixDamage damage = DamageOnce(&file, recording.contents.chunks.size(), random);

    const MemorySource source(file);
    MessageBuffer<256> message;
    const FrameSourcePtr reader = qorix_reader_open(source, message);
    std::set<uint32_t> found;
    RawFrame raw;
    SourceTimeline timeline;
    if (reader != nullptr && qorix_source_open(&timeline, source, message) == 0) {
      ++opened;
      const RecordingScan& scan = qorix_state(timeline).scan;
      for (int32_t i = 0; i < reader->FrameCount(); ++i) {
        const uint32_t number = scan.frames[size_t(i)].key;
        if (reader->ReadFrame(i, &raw, kReadUnpacked) != 0 || qorix_read_stats(*reader).badSlices != 0) continue;
        if (number < expected.size() && SamplesOf(raw) == expected[number]) found.insert(number);
      }
    }
    // Without a header nothing is known of the camera, and the frames cannot be described.
    const bool headerTouched =
        std::none_of(recording.contents.chunks.begin(), recording.contents.chunks.end(),
                     [&](const QorixPlacedChunk& chunk) { return chunk.tag == kTagHeader && !TouchesUsedPart(damage, chunk); });
    for (const QorixRecordedFrame& frame : recording.contents.frames) {
      if (headerTouched || Touches(damage, recording.contents.chunks[frame.chunk])) continue;
      EXPECT_TRUE(found.contains(frame.number)) << "seed " << seed << ", frame " << frame.number;
      survivors += found.contains(frame.number) ? 1 : 0;
    }
  }
  EXPECT_GT(opened, kDamages / 2);
  EXPECT_GT(survivors, kDamages * 6) << "most frames of most files are untouched";
}

}  // namespace
}  // namespace qx
