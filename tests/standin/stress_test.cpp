// Many host threads on several clips at once, while clips come and go. QX_STRESS_SECONDS sets the length; sanitizer runs use 30.

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "standin/frame_image.h"
#include "tests/standin/story_support.h"

namespace standin {
namespace {

namespace host = qx::host;

constexpr int kClips = 3, kFrames = 12, kThreads = 8;
constexpr uint32_t kFormats[] = {host::kBgra8, host::kBgra16, host::kBgraFloat, host::kUyvy709, host::kV210_709, host::kVuyaFloat709};

double StressSeconds() {
  const char* text = std::getenv("QX_STRESS_SECONDS");
  return text != nullptr ? std::atof(text) : 1;
}

using FrameBytes = std::vector<uint8_t>;
/// Frames of one clip developed alone, by frame and format.
using ExpectedFrames = std::vector<std::vector<FrameBytes>>;

FrameBytes Deliver(const HostClip& clip, int64_t frame, size_t format) {
  FrameRequest request;
  request.frame = frame;
  request.formats = {kFormats[format]};
  int32_t result = 0;
  const HostFrame delivered = clip.GetFrame(request, &result);
  return delivered ? RawBytesOfFrame(ViewFrame(delivered.get())) : FrameBytes();
}

void RequestRandomFrames(const HostClip& clip, const ExpectedFrames& expected, uint64_t seed, const std::atomic<bool>& stop,
                         std::atomic<int64_t>* wrong) {
  std::mt19937_64 random(seed);
  while (!stop) {
    const int64_t frame = int64_t(random() % kFrames);
    const size_t format = size_t(random() % std::size(kFormats));
    if (Deliver(clip, frame, format) != expected[size_t(frame)][format]) ++*wrong;
  }
}

void OpenQuietReopenClose(const Plugin& plugin, const std::string& path, const std::atomic<bool>& stop, std::atomic<int64_t>* wrong) {
  while (!stop) {
    int32_t result = 0;
    const std::unique_ptr<HostClip> clip = HostClip::Open(plugin, path, 0, &result);
    if (clip == nullptr || clip->Quiet() != host::imNoErr || clip->Reopen() != host::imNoErr) ++*wrong;
    if (clip != nullptr && clip->Describe().frames != kFrames) ++*wrong;
  }
}

TEST(Stress, EveryFrameEqualsTheOneDevelopedAlone) {
  std::vector<std::unique_ptr<TemporaryClip>> files;
  for (int i = 0; i < kClips; ++i) {
    files.push_back(std::make_unique<TemporaryClip>(TestClip{.width = 48 + 16 * i, .height = 40 + 2 * i, .frames = kFrames}));
  }
  RunWithPlugin({{"QORIX_IMPORT_CLIPMB", "1"}, {"QORIX_IMPORT_TUNE", "3,6,3"}}, [&](const Plugin& plugin) {
    std::vector<std::unique_ptr<HostClip>> clips;
    std::vector<ExpectedFrames> expected(kClips);
    for (int i = 0; i < kClips; ++i) {
      int32_t result = 0;
      clips.push_back(HostClip::Open(plugin, files[size_t(i)]->path(), 0, &result));
      ASSERT_NE(clips.back(), nullptr);
      for (int64_t frame = 0; frame < kFrames; ++frame) {
        expected[size_t(i)].emplace_back();
        for (size_t format = 0; format < std::size(kFormats); ++format) {
          expected[size_t(i)].back().push_back(Deliver(*clips.back(), frame, format));
          ASSERT_FALSE(expected[size_t(i)].back().back().empty());
        }
      }
    }
    std::atomic<bool> stop{false};
    std::atomic<int64_t> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back(
          [&, i] { RequestRandomFrames(*clips[size_t(i % kClips)], expected[size_t(i % kClips)], uint64_t(i), stop, &wrong); });
    }
    for (int i = 0; i < 2; ++i) threads.emplace_back([&, i] { OpenQuietReopenClose(plugin, files[size_t(i)]->path(), stop, &wrong); });
    std::this_thread::sleep_for(std::chrono::duration<double>(StressSeconds()));
    stop = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    clips.clear();
  });
}

}  // namespace
}  // namespace standin
