// ReadClipAudio over a recording that is made up: what is read, when it fails, and that it needs no frame to be ready.
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

#include "base/grow_buffer.h"
#include "pipeline/clip_impl.h"
#include "tests/pipeline/fake_recording.h"

namespace qx {
namespace {

constexpr int64_t kLead = 10, kSkip = 3;

/// Sample frame i holds the 16-bit values i and −i.
class CountingSound final : public SoundReader {
 public:
  int64_t ReadSound(uint64_t first, uint64_t count, uint8_t* out) override {
    if (users_.fetch_add(1) != 0) ++overlaps;
    if (failAt >= first && failAt < first + count) return users_.fetch_sub(1), -1;
    for (uint64_t i = 0; i < count; ++i) {
      const auto left = uint16_t(first + i), right = uint16_t(-int64_t(first + i));
      *out++ = uint8_t(left), *out++ = uint8_t(left >> 8), *out++ = uint8_t(right), *out++ = uint8_t(right >> 8);
    }
    longest = std::max(longest, count);
    users_.fetch_sub(1);
    return int64_t(count);
  }
  uint64_t failAt = std::numeric_limits<uint64_t>::max();
  uint64_t longest = 0;
  std::atomic<int> overlaps{0};

 private:
  std::atomic<int> users_{0};
};

/// 8000 sample frames a second for 200 frames of 24 a second: 66667 on the timeline, of which the sound has 60000.
PipelineBackend BackendWithSound(FakeRecording& recording, SoundReader* reader, uint32_t tag = kWavePcm) {
  PipelineBackend backend = MakeFakeBackend(recording);
  backend.openTimeline = [open = backend.openTimeline, reader, tag](SourceTimeline* source, const ByteSource& file, Message message) {
    if (open(source, file, message) != 0) return -1;
    SoundDescription& sound = source->sound;
    sound.kind = SoundKind::kQorix;
    sound.reader = reader;
    sound.formatTag = tag;
    sound.channels = 2;
    sound.sampleRate = 8000;
    sound.bitsPerSample = 16;
    sound.blockAlign = 4;
    sound.frames = 60000 + kSkip;
    sound.offsetSource = SoundOffsetSource::kSensorClock;
    sound.offsetSeconds = kLead / 8000.0;
    return 0;
  };
  return backend;
}

struct Sound {
  explicit Sound(int32_t count) : left(size_t(count), 9.0f), right(size_t(count), 9.0f) {}
  int Read(const ClipPtr& clip, int64_t first) {
    float* channels[] = {left.data(), right.data()};
    return ReadClipAudio(clip.get(), first, int32_t(left.size()), channels);
  }
  std::vector<float> left, right;
};

float Expected(int64_t position, int64_t end) {
  return position >= kLead && position < end ? float(int16_t(position - kLead)) / 32768 : 0.0f;
}

TEST(ClipSound, FillsBlocksWithSilenceAround) {
  FakeRecording recording;
  CountingSound reader;
  FramePipeline pipeline(BackendWithSound(recording, &reader), SmallConfig());
  ClipInfo info;
  const ClipPtr clip = OpenFakeClip(pipeline, nullptr, &info);
  EXPECT_EQ(info.hasAudio, 1);
  EXPECT_EQ(info.audioRate, 8000);
  EXPECT_EQ(info.audioChannels, 2);
  const int64_t end = kLead + 60000 + kSkip;
  EXPECT_EQ(info.audioSamples, end);
  constexpr int64_t kLowest = std::numeric_limits<int64_t>::min(), kHighest = std::numeric_limits<int64_t>::max();
  struct Row {
    int64_t first;
    int32_t count;
  };
  for (const Row& row : {Row{0, 1}, Row{0, 10}, Row{5, 10}, Row{-100, 200}, Row{-100, 100}, Row{-5, 4}, Row{59000, 3000}, Row{end - 1, 2},
                         Row{end, 5}, Row{kHighest, 5}, Row{kHighest - 2, 5}, Row{kLowest, 5}, Row{-3, 70000}}) {
    Sound sound(row.count);
    ASSERT_EQ(sound.Read(clip, row.first), 0);
    for (int64_t i = 0; i < row.count; ++i) {
      const float expected = row.first > end ? 0 : Expected(row.first + i, end);
      ASSERT_EQ(sound.left[size_t(i)], expected) << row.first << " + " << i;
      ASSERT_EQ(sound.right[size_t(i)], expected == -1 ? expected : -expected) << row.first << " + " << i;
    }
  }
  // However much is asked for, it is read in pieces.
  EXPECT_LE(reader.longest, 65536u);
}

TEST(ClipSound, IsNotOfferedInFormatsThatCannotBeRead) {
  FakeRecording recording;
  CountingSound reader;
  FramePipeline pipeline(BackendWithSound(recording, &reader, 17), SmallConfig());
  ClipInfo info;
  const ClipPtr clip = OpenFakeClip(pipeline, nullptr, &info);
  EXPECT_EQ(info.hasAudio, 0);
  EXPECT_EQ(info.audioChannels, 0);
  EXPECT_EQ(ReadClipAudio(clip.get(), 0, 10, nullptr), 0);
}

TEST(ClipSound, FailsWithItsSourceAndRecovers) {
  FakeRecording recording;
  CountingSound reader;
  FramePipeline pipeline(BackendWithSound(recording, &reader), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  Sound sound(1000);
  FailAllocationForTest(0);
  EXPECT_EQ(sound.Read(clip, 0), -1);
  FailAllocationForTest(-1);
  EXPECT_EQ(sound.Read(clip, 0), 0);
  reader.failAt = 500;
  EXPECT_EQ(sound.Read(clip, 0), -1);
  EXPECT_EQ(sound.Read(clip, 2000), 0);
  EXPECT_EQ(sound.left[0], Expected(2000, 60000));
}

// Readers are held in the middle of a frame: sound needs none of them. One thread at a time is in the sound's source.
TEST(ClipSound, DoesNotWaitForFrames) {
  FakeRecording recording;
  CountingSound reader;
  Gate gate;
  recording.onRead = [&gate](int32_t) {
    gate.Pass();
    return 0;
  };
  FramePipeline pipeline(BackendWithSound(recording, &reader), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  std::thread frames([&clip] { Ask(clip, 0); });
  gate.AwaitArrivals(1);
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&clip, &wrong, i] {
      for (int64_t at = i; at < 50000; at += 1024) {
        Sound sound(1024);
        if (sound.Read(clip, at) != 0 || sound.left[1023] != Expected(at + 1023, 60000)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  gate.Open();
  frames.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(reader.overlaps, 0);
}

}  // namespace
}  // namespace qx
