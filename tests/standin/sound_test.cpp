// Sound through the plug-in's door: it goes with the picture, and it is what is in the file.
#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <thread>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "samples/archive_maker.h"
#include "samples/recording_maker.h"
#include "standin/frame_image.h"
#include "tests/standin/story_support.h"

namespace standin {
namespace {

namespace host = qx::host;

constexpr uint32_t kBlock = 1024;
using Channels = std::vector<std::vector<float>>;

class TemporaryFile {
 public:
  TemporaryFile(const std::vector<uint8_t>& bytes, const char* ending) : path_(NextTemporaryName() + ending) {
    if (IsWrittenByParent(path_)) return;
    std::ofstream(NativePath(path_), std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(NativePath(path_), ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// All of the clip's sound, in blocks as a host asks for them.
Channels PullSound(const HostClip& clip, const ClipFacts& facts) {
  Channels all(size_t(facts.audioChannels)), block;
  for (int64_t at = 0; at < facts.audioFrames; at += kBlock) {
    const auto count = uint32_t(std::min<int64_t>(kBlock, facts.audioFrames - at));
    EXPECT_EQ(clip.GetSound(at, count, facts.audioChannels, &block), host::imNoErr) << at;
    for (size_t c = 0; c < all.size(); ++c) all[c].insert(all[c].end(), block[c].begin(), block[c].end());
  }
  return all;
}

/// The first display frame that is much brighter than the one before it.
int64_t FindFlash(const HostClip& clip, const ClipFacts& facts) {
  double before = 1e9;
  for (int64_t frame = 0; frame < facts.frames; ++frame) {
    FrameRequest request;
    request.frame = frame;
    request.formats = {host::kBgra16};
    int32_t result = 0;
    const HostFrame delivered = clip.GetFrame(request, &result);
    if (!delivered) return -1;
    const RgbImage image = ImageOfFrame(ViewFrame(delivered.get()));
    double sum = 0;
    for (const uint16_t value : image.rgb) sum += value;
    const double mean = sum / double(image.rgb.size());
    if (mean > 1.3 * before) return frame;
    before = mean;
  }
  return -1;
}

/// The first sample that is louder than the tone can be.
int64_t FindClick(const std::vector<float>& channel) {
  const auto found = std::find_if(channel.begin(), channel.end(), [](float value) { return std::abs(value) > 0.5f; });
  return found == channel.end() ? -1 : found - channel.begin();
}

struct SyncRow {
  const char* name;
  bool qorix;
  qx::SoundOffsetTold told;  // of archives
  double start, tail;
  qx::SampleRate fps = {24, 1};
  uint32_t captureFps = 0;
  uint32_t rate = 48000;
};

std::vector<uint8_t> MakeClip(const SyncRow& row) {
  constexpr int kFrames = 30, kFlash = 17;
  std::vector<uint8_t> bytes;
  if (row.qorix) {
    qx::QorixRecordingOptions options;
    options.format.width = options.format.height = 32;
    options.frames = kFrames;
    options.flashSlot = kFlash;
    options.droppedSlots = {3, 9};
    options.sound.format = 2;
    options.sound.rate = row.rate;
    options.sound.startSeconds = row.start;
    options.file.header.playback = {row.fps.numerator, row.fps.denominator};
    options.file.header.capture = options.file.header.playback;
    if (row.captureFps != 0) {
      options.file.header.capture = {row.captureFps, 1};
      options.sound.playbackRate = uint32_t(std::lround(row.rate * row.fps.value() / row.captureFps));
    }
    qx::MakeRecording(options, qx::QorixSinkTo(&bytes));
    return bytes;
  }
  qx::ArchiveOptions options;
  options.picture.width = options.picture.height = 32;
  options.picture.flashFrame = kFlash;
  options.frames = kFrames;
  options.droppedSlots = {0, 3, 9};  // the clip's first frame is not the first one that the time codes count
  options.recording.fps = row.fps;
  options.recording.captureFps = row.captureFps;
  options.sound = {.wav = {.encoding = qx::SampleEncoding::kS24, .rate = row.rate},
                   .startSeconds = row.start,
                   .tailSeconds = row.tail,
                   .told = row.told};
  qx::MakeArchive(options, qx::ZipSinkTo(&bytes));
  return bytes;
}

TEST(Sound, GoesWithThePicture) {
  using Told = qx::SoundOffsetTold;
  const SyncRow rows[] = {
      {"AudioOffsetUs, sound starts later", false, Told::kInComment, 0.2, 0.11},
      {"AudioOffsetUs, sound starts earlier", false, Told::kInComment, -0.3, 0.5},
      {"AudioOffsetUs, NTSC rate, 44.1 kHz", false, Told::kInComment, 0.123456, 0.11, {30000, 1001}, 0, 44100},
      {"bext", false, Told::kInBext, 0.25, 0.11},
      {"bext, sound starts earlier", false, Told::kInBext, -0.125, 1, {25, 1}},
      {"durations", false, Told::kNot, 0.31, 0.11},
      {"durations, sound longer than the clip", false, Told::kNot, -0.5, 0.11, {24000, 1001}, 0, 44100},
      {"nothing told, durations implausible", false, Told::kNot, 0, 5},
      {"AudioOffsetUs, slow motion", false, Told::kInComment, 0.2, 0.11, {24, 1}, 96},
      {"sensor clock", true, Told::kNot, 0.2, 0},
      {"sensor clock, sound starts earlier", true, Told::kNot, -0.25, 0, {30000, 1001}, 0, 44100},
      {"sensor clock, slow motion", true, Told::kNot, 0.05, 0, {24, 1}, 96},
  };
  for (const SyncRow& row : rows) {
    SCOPED_TRACE(row.name);
    const TemporaryFile file(MakeClip(row), row.qorix ? ".qorix" : ".zip");
    RunWithClip({}, file.path(), [&](HostClip& clip) {
      const ClipFacts facts = clip.Describe();
      ASSERT_TRUE(facts.hasAudio);
      const int64_t flash = FindFlash(clip, facts);
      ASSERT_GT(flash, 0);
      const double flashSeconds = double(flash) / facts.framesPerSecond();
      for (const std::vector<float>& channel : PullSound(clip, facts)) {
        const int64_t click = FindClick(channel);
        ASSERT_GE(click, 0);
        EXPECT_LE(std::abs(double(click) / facts.audioRate - flashSeconds), 1.0 / facts.audioRate) << "sample frame " << click;
      }
    });
  }
}

TEST(Sound, BlocksOfAnySizeAndPlaceGiveTheSameSamples) {
  const TemporaryFile file(MakeClip({"", false, qx::SoundOffsetTold::kInComment, 0.2, 0.11}), ".zip");
  RunWithClip({}, file.path(), [&](HostClip& clip) {
    const ClipFacts facts = clip.Describe();
    const Channels all = PullSound(clip, facts);
    struct Row {
      int64_t position;
      uint32_t count;
    };
    for (const Row& row : {Row{0, 1}, Row{9000, 2000}, Row{9599, 3}, Row{facts.audioFrames - 10, 100}, Row{facts.audioFrames, 5},
                           Row{-100, 300}, Row{int64_t(1) << 62, 7}, Row{12345, 40000}}) {
      Channels block;
      ASSERT_EQ(clip.GetSound(row.position, row.count, facts.audioChannels, &block), host::imNoErr);
      for (size_t c = 0; c < block.size(); ++c) {
        for (int64_t i = 0; i < row.count; ++i) {
          const int64_t at = std::max<int64_t>(row.position, 0) + i;
          ASSERT_EQ(block[c][size_t(i)], at < facts.audioFrames ? all[c][size_t(at)] : 0.0f) << row.position << " + " << i;
        }
      }
    }
    Channels block;
    EXPECT_EQ(clip.GetSound(0, 0, facts.audioChannels, &block), host::imOtherErr);
  });
}

TEST(Sound, ClipWithoutItRefusesAndWritesNothing) {
  const TemporaryClip file(TestClip{});
  RunWithClip({}, file.path(), [&](HostClip& clip) {
    EXPECT_FALSE(clip.Describe().hasAudio);
    Channels block;
    EXPECT_EQ(clip.GetSound(0, 16, 2, &block), host::imOtherErr);
    for (const std::vector<float>& channel : block) {
      for (const float value : channel) EXPECT_EQ(std::bit_cast<uint32_t>(value), kUnwrittenSample);
    }
  });
}

TEST(Sound, IsTheSameBesideFrameRequests) {
  const TemporaryFile archive(MakeClip({"", false, qx::SoundOffsetTold::kInComment, 0.2, 0.11}), ".zip"),
      recording(MakeClip({"", true, qx::SoundOffsetTold::kNot, 0.2, 0}), ".qorix");
  RunWithPlugin({{"QORIX_IMPORT_CLIPMB", "1"}}, [&](const Plugin& plugin) {
    {
      std::vector<std::unique_ptr<HostClip>> clips;
      for (const TemporaryFile* file : {&archive, &recording}) clips.push_back(OpenClip(plugin, file->path()));
      std::atomic<int> wrong{0};
      std::vector<std::thread> threads;
      for (const std::unique_ptr<HostClip>& clip : clips) {
        const ClipFacts facts = clip->Describe();
        const Channels expected = PullSound(*clip, facts);
        for (int i = 0; i < 2; ++i) {
          threads.emplace_back([&clip, facts, expected, &wrong] { wrong += PullSound(*clip, facts) != expected; });
          threads.emplace_back([&clip, facts, i, &wrong] {
            for (int64_t frame = i; frame < facts.frames; frame += 2) {
              FrameRequest request;
              request.frame = frame;
              request.formats = {host::kBgra8};
              int32_t result = 0;
              wrong += !clip->GetFrame(request, &result);
            }
          });
        }
      }
      for (std::thread& thread : threads) thread.join();
      EXPECT_EQ(wrong, 0);
    }
  });
}

}  // namespace
}  // namespace standin
