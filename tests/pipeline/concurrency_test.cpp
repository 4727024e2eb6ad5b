// Many threads on several clips at once: every delivered frame is the one that was asked for. Short by default; QX_STRESS multiplies the
// rounds. Meant for the thread sanitizer as much as for its own checks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <thread>

#include "pipeline/clip_impl.h"
#include "tests/pipeline/fake_recording.h"

namespace qx {
namespace {

int Rounds(int rounds) {
  const char* factor = std::getenv("QX_STRESS");
  return rounds * std::max(factor != nullptr ? std::atoi(factor) : 1, 1);
}

/// What a request may see: a frame at one of the exposures that were in force while it ran, 0 or 30. A request whose queued job falls to a
/// change of options fails.
void AskAtRandom(const ClipPtr& clip, bool optionsChange, uint32_t seed, int rounds) {
  std::mt19937 random(seed);
  for (int i = 0; i < rounds; ++i) {
    const int32_t level = int32_t(random() % 3);
    const int frame = int(random() % 100);
    if (random() % 4 == 0) PrefetchFrame(clip.get(), frame + 1, level);
    const int seen = Ask(clip, frame, level);
    const int base = frame + (level == kFullSize ? 0 : 100);
    if (optionsChange) {
      ASSERT_TRUE(seen == base || seen == base + 30 || seen == -1) << "frame " << frame << ", level " << level << ": " << seen;
    } else {
      ASSERT_EQ(seen, base) << "frame " << frame << ", level " << level;
    }
  }
}

void ChangeOptions(const ClipPtr& clip, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    DevelopOptions options;
    options.exposureEv = i % 2 == 0 ? 30 : 0;
    ASSERT_EQ(ApplyDevelopOptions(clip.get(), &options, Message()), 0);
    // Nobody else changes the options: what is developed from here on has them.
    const int seen = Ask(clip, i % 100);
    ASSERT_EQ(seen, i % 100 + int(options.exposureEv));
  }
}

TEST(Concurrency, EveryRequestGetsItsFrame) {
  FakeRecording recording;
  recording.frames = 101;
  recording.width = 16;
  recording.height = 2160;
  PipelineConfig config = SmallConfig(2, 4, 3);
  config.copyThreads = config.exportCopyThreads = 2;
  config.clipCacheBytes = uint64_t(16) * 2160 * 10 * 12;  // a dozen frames: most requests evict
  FramePipeline pipeline(MakeFakeBackend(recording), config);
  const ClipPtr steady = OpenFakeClip(pipeline), changing = OpenFakeClip(pipeline);
  ASSERT_EQ(steady->sizes.quarter, (Size{4, 540}));
  const int rounds = Rounds(600);
  std::vector<std::thread> threads;
  for (uint32_t seed : {1, 2}) threads.emplace_back([&, seed] { AskAtRandom(steady, false, seed, rounds); });
  for (uint32_t seed : {3, 4}) threads.emplace_back([&, seed] { AskAtRandom(changing, true, seed, rounds); });
  threads.emplace_back([&] { ChangeOptions(changing, rounds / 5); });
  threads.emplace_back([&] {
    for (int i = 0; i < rounds / 5; ++i) {
      const ClipPtr brief = OpenFakeClip(pipeline);
      PrefetchFrame(brief.get(), 50, kHalfSize);
      ASSERT_EQ(Ask(brief, i % 100), i % 100);
      if (i % 2 == 0) CancelClipJobs(brief.get());
    }
  });
  threads.emplace_back([&] {
    ClipStats stats;
    for (int i = 0; i < rounds; ++i) {
      pipeline.SetExportMode(i % 2 == 0);
      GetClipStats(steady.get(), &stats);
      ASSERT_GE(stats.jobs, 0);
    }
  });
  for (std::thread& thread : threads) thread.join();
}

TEST(Concurrency, ShutdownDuringRequestsHangsNobody) {
  for (int round = 0; round < Rounds(20); ++round) {
    FakeRecording recording;
    FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig(2, 2, 6));
    const ClipPtr clip = OpenFakeClip(pipeline);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
      threads.emplace_back([&, thread] {
        for (int frame = thread; frame < 60; frame += 3) {
          const int seen = Ask(clip, frame);
          ASSERT_TRUE(seen == frame || seen == -1) << seen;
        }
      });
    }
    pipeline.Shutdown();
    for (std::thread& thread : threads) thread.join();
  }
}

}  // namespace
}  // namespace qx
