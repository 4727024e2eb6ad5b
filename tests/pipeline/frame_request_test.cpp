// Requests, readers and the clip cache together, on a recording whose readers wait at gates.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "platform/thread.h"
#include "tests/pipeline/fake_recording.h"
#include "tests/support/system.h"

namespace qx {
namespace {

void AwaitIdle(const ClipPtr& clip) {
  AwaitStats(clip, [](const ClipStats& stats) { return stats.queued == 0 && stats.reading == 0; });
}

/// Returns when a request waits for each of `count` jobs or shares of jobs.
void AwaitWaiters(Clip& clip, int32_t count) {
  for (int32_t waiters = 0; waiters < count; std::this_thread::yield()) {
    LockGuard guard(clip.lock);
    waiters = 0;
    for (const FrameJob* job = clip.jobs.first(); job != nullptr; job = job->nextInClip.get()) waiters += job->waiters;
  }
}

/// In another format than Ask's.
void AskOtherFormat(const ClipPtr& clip, int64_t frame) {
  std::vector<uint8_t> pixels(32 * 16 * 2);
  EXPECT_EQ(GetFrame(clip.get(), frame, frame, kFullSize, OutputPixelFormat::kUyvy, pixels.data(), 64, nullptr, nullptr), 0);
}

std::future<int> AskLater(const ClipPtr& clip, int64_t frame) {
  return std::async(std::launch::async, [&clip, frame] { return Ask(clip, frame); });
}

TEST(FrameRequest, DeliversFromTheCacheWithoutReadingAgain) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 7), 7);
  EXPECT_EQ(Ask(clip, 9), 9);
  EXPECT_EQ(Ask(clip, 7), 7);
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{7, 9}));
  EXPECT_EQ(Ask(clip, -5), 0) << "clamped into the clip";
  EXPECT_EQ(Ask(clip, 100000), 199);
}

TEST(FrameRequest, SimultaneousRequestsShareOneJob) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t) { return gate.Pass(), 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig(2, 2));
  const ClipPtr clip = OpenFakeClip(pipeline);
  auto first = AskLater(clip, 5), second = AskLater(clip, 5);
  AwaitWaiters(*clip, 2);
  gate.Open();
  EXPECT_EQ(first.get(), 5);
  EXPECT_EQ(second.get(), 5);
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{5}));
}

TEST(FrameRequest, OvertakesPrefetchedFrames) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t) { return gate.Pass(), 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  for (int64_t frame : {0, 10, 11, 12, 13}) PrefetchFrame(clip.get(), frame, kFullSize);
  gate.AwaitArrivals(1);
  auto request = AskLater(clip, 12);
  AwaitWaiters(*clip, 1);
  gate.Open();
  EXPECT_EQ(request.get(), 12);
  AwaitIdle(clip);
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{0, 12, 10, 11, 13}));
}

TEST(FrameRequest, DropsQueuedFramesThatItLeftBehind) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t) { return gate.Pass(), 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  const ClipPtr other = OpenFakeClip(pipeline);
  for (int64_t frame : {0, 21, 22, 60}) PrefetchFrame(clip.get(), frame, kFullSize);
  gate.AwaitArrivals(1);
  PrefetchFrame(other.get(), 1, kFullSize);
  auto request = AskLater(clip, 30);
  AwaitWaiters(*clip, 1);
  gate.Open();
  EXPECT_EQ(request.get(), 30);
  AwaitIdle(clip);
  AwaitIdle(other);
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{0, 30, 22, 60, 1})) << "21 is more than 8 behind 30; other clips are left alone";
  EXPECT_EQ(Ask(clip, 21), 21) << "a dropped frame can be asked for again";
}

TEST(FrameRequest, PrefetchesAheadByTheDetectedStepUpToTheEnd) {
  FakeRecording recording;
  recording.frames = 20;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig(1, 1, 3));
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 2), 2);
  AwaitIdle(clip);
  EXPECT_EQ(Ask(clip, 6), 6);
  AwaitIdle(clip);
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{2, 3, 4, 5, 6, 10, 14, 18}));
  EXPECT_EQ(Ask(clip, 14), 14);
  AwaitIdle(clip);
  // Step (14 − 2) / 2 = 6: 20 is behind the end.
  EXPECT_EQ(recording.reads().size(), 8u);
}

TEST(FrameRequest, KeepsNoMoreJobsThanItsCapacity) {
  FakeRecording recording;
  PipelineConfig config = SmallConfig();
  config.clipCacheBytes = 1;  // so the capacity is the least there is
  FramePipeline pipeline(MakeFakeBackend(recording), config);
  const ClipPtr clip = OpenFakeClip(pipeline);
  for (int frame = 0; frame < 20; ++frame) ASSERT_EQ(Ask(clip, frame), frame);
  ClipStats stats;
  GetClipStats(clip.get(), &stats);
  EXPECT_EQ(stats.jobs, 6);
  EXPECT_EQ(Ask(clip, 19), 19);
  EXPECT_EQ(recording.reads().size(), 20u);
  EXPECT_EQ(Ask(clip, 0), 0);
  EXPECT_EQ(recording.reads().size(), 21u) << "the oldest frames had made room";
}

TEST(FrameRequest, CapacityDoublesInExportMode) {
  FakeRecording recording;
  PipelineConfig config = SmallConfig();
  config.clipCacheBytes = 10 * 32 * 16 * (6 + 4);
  FramePipeline pipeline(MakeFakeBackend(recording), config);
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(ClipJobCapacity(*clip, kFullSize), 10);
  pipeline.SetExportMode(true);
  EXPECT_EQ(ClipJobCapacity(*clip, kFullSize), 20);
}

TEST(FrameRequest, DeliversEachSizeThatTheClipOffers) {
  FakeRecording recording;
  recording.width = 16;
  recording.height = 2160;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  ClipInfo info;
  const ClipPtr clip = OpenFakeClip(pipeline, nullptr, &info);
  EXPECT_EQ((std::array{info.fullWidth, info.fullHeight, info.halfWidth, info.halfHeight, info.quarterWidth, info.quarterHeight}),
            (std::array{16, 2160, 8, 1080, 4, 540}));
  EXPECT_EQ(Ask(clip, 3, kFullSize), 3);
  EXPECT_EQ(Ask(clip, 3, kHalfSize), 103);
  EXPECT_EQ(Ask(clip, 3, kQuarterSize), 103) << "developed at half size";
  EXPECT_EQ(recording.sessionsCreated(), 2);
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{3})) << "the reader keeps the RAW frame between the sizes";
}

TEST(FrameRequest, SizesThatAreNotOfferedComeAsFullSize) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 3, kQuarterSize), 3);
  EXPECT_EQ(Ask(clip, 4, kHalfSize), 4);
  PrefetchFrame(clip.get(), 50, kHalfSize);
  PrefetchFrame(clip.get(), -1, kFullSize);
  PrefetchFrame(clip.get(), 200, kFullSize);
  ClipStats stats;
  GetClipStats(clip.get(), &stats);
  EXPECT_EQ(stats.jobs, 2) << "prefetch ignores what the clip does not have";
}

TEST(FrameRequest, RefusesNullAndRowsThatAreTooShort) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  uint8_t byte = 0;
  EXPECT_EQ(GetFrame(nullptr, 0, 0, 0, OutputPixelFormat::kBgra8, &byte, 128, nullptr, nullptr), -1);
  EXPECT_EQ(GetFrame(clip.get(), 0, 0, 0, OutputPixelFormat::kBgra8, nullptr, 128, nullptr, nullptr), -1);
  EXPECT_EQ(GetFrame(clip.get(), 0, 0, 0, OutputPixelFormat::kBgra8, &byte, 127, nullptr, nullptr), -1);
}

TEST(FrameRequest, LeavesTheBytesBetweenRowsAlone) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  for (int pass = 0; pass < 2; ++pass) {  // converted, then again from the cache
    std::vector<uint8_t> pixels(16 * 140, 0xEE);
    ASSERT_EQ(GetFrame(clip.get(), 1, 1, 0, OutputPixelFormat::kBgra8, pixels.data(), 140, nullptr, nullptr), 0);
    for (size_t i = 0; i < pixels.size(); ++i) ASSERT_EQ(pixels[i], i % 140 >= 128 ? 0xEE : i % 4 == 3 ? 255 : 1) << i;
  }
}

TEST(FrameRequest, KeepsSixteenBitsWhileFramesAreWantedInTwoFormats) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  const auto isConverted = [&](int frame) {
    EXPECT_EQ(Ask(clip, frame), frame);
    LogCapture log;
    AskOtherFormat(clip, frame);
    return log.Find("frame " + std::to_string(frame)).find(", convert ") != std::string::npos;
  };
  EXPECT_FALSE(isConverted(4)) << "nobody could know";
  EXPECT_TRUE(isConverted(5));
  for (int frame = 6; frame < 15; ++frame) EXPECT_EQ(Ask(clip, frame), frame);
  EXPECT_FALSE(isConverted(15)) << "the host had settled on one format";
}

TEST(FrameRequest, LogsHowTheFrameCame) {
  FakeRecording recording;
  recording.width = 16;
  recording.height = 2160;
  LogCapture log;
  {
    FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
    const ClipPtr clip = OpenFakeClip(pipeline);
    std::vector<uint8_t> pixels(16 * 2160 * 4);
    ASSERT_EQ(GetFrame(clip.get(), 4, 77, kQuarterSize, OutputPixelFormat::kBgra8, pixels.data(), 64, nullptr, nullptr), 0);
  }
  EXPECT_EQ(log.Count("pipeline: readers 1 (export 1), prefetch 0, in flight 3, clip cache 800 MB"), 1);
  const std::string line = log.Find("frame 77");
  EXPECT_TRUE(line.starts_with("frame 77 quarter: ok CPU, read ")) << line;
  EXPECT_TRUE(line.ends_with(" ms, step 1")) << line;
  EXPECT_NE(line.find(", copy "), std::string::npos) << line;
}

TEST(CancelClipJobs, DropsQueuedJobsAndWaitsForReaders) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t) { return gate.Pass(), 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  PrefetchFrame(clip.get(), 3, kFullSize);
  gate.AwaitArrivals(1);
  auto queued = AskLater(clip, 4);
  AwaitWaiters(*clip, 1);
  std::atomic<bool> cancelled{false};
  auto cancel = std::async(std::launch::async, [&] {
    CancelClipJobs(clip.get());
    cancelled = true;
  });
  EXPECT_EQ(queued.get(), -1) << "a dropped frame fails its request at once";
  EXPECT_FALSE(cancelled) << "the reader is still inside the clip";
  gate.Open();
  cancel.get();
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{3}));
}

TEST(UnreadableFrames, AreReplacedByANeighbour) {
  FakeRecording recording;
  recording.onRead = [](int32_t frame) { return frame == 4 || frame == 5 ? -1 : 0; };
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  const int shown = Ask(clip, 4);
  EXPECT_TRUE(shown == 3 || shown == 6) << shown;
  EXPECT_EQ(log.Count("frame 4 unreadable: cannot read"), 1);
  EXPECT_EQ(log.Count("frame 4: frame " + std::to_string(shown) + " is shown instead"), 1);
  const size_t readsBefore = recording.reads().size();
  EXPECT_EQ(Ask(clip, 4), shown);
  EXPECT_EQ(recording.reads().size(), readsBefore);
}

TEST(UnreadableFrames, DamageThatWasMadeUpForIsLogged) {
  FakeRecording recording;
  recording.frameDamage = "1 of 4 slices damaged, 1 filled from frame 2";
  const LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 3), 3);
  EXPECT_EQ(log.Count("frame 3: 1 of 4 slices damaged, 1 filled from frame 2"), 1);
}

TEST(UnreadableFrames, FailTheRequestWhenThreeSubstitutesFailToo) {
  struct Row {
    int32_t frames;
    size_t reads;
    const char* why;
  };
  for (const Row& row : {Row{100, 4, "the frame and three retries"}, Row{2, 2, "no whole frame is left"}}) {
    SCOPED_TRACE(row.why);
    FakeRecording recording;
    recording.frames = row.frames;
    recording.onRead = [](int32_t) { return -1; };
    LogCapture log;
    FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
    const ClipPtr clip = OpenFakeClip(pipeline);
    EXPECT_EQ(Ask(clip, 1), -1);
    EXPECT_EQ(recording.reads().size(), row.reads);
    EXPECT_NE(log.Find("frame 1: FAIL CPU, "), "");
  }
}

TEST(FailedFrames, AreTriedAgainByTheNextRequest) {
  FakeRecording recording;
  recording.developFails = "frame 2: CPU development failed";
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 2), -1);
  EXPECT_EQ(log.Count("CPU frame 2: frame 2: CPU development failed"), 1);
  recording.developFails.clear();
  EXPECT_EQ(Ask(clip, 2), 2);

  recording.createSessionFails = "out of memory";
  const ClipPtr other = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(other, 2), -1);
  EXPECT_EQ(log.Count("CPU session: out of memory"), 1);
}

TEST(FailedFrames, ReaderThatCannotOpenTheRecordingSaysSo) {
  FakeRecording recording;
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  recording.openFramesFails = "broken archive";
  EXPECT_EQ(Ask(clip, 0), -1);
  EXPECT_EQ(log.Count("reader 0: broken archive"), 1);
  recording.fileMissing = true;
  EXPECT_EQ(Ask(clip, 0), -1);
  EXPECT_EQ(log.Count("reader 0: cannot open"), 1);
  recording.fileMissing = false;
  recording.openFramesFails.clear();
  EXPECT_EQ(Ask(clip, 0), 0);
}

TEST(FailedFrames, OutOfMemoryFailsTheFrameAndLeavesTheClipUsable) {
  FakeRecording recording;
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 0), 0);
  FailAllocationForTest(0);
  EXPECT_EQ(Ask(clip, 1), -1);
  EXPECT_EQ(log.Count("CPU frame 1: out of memory"), 1);
  EXPECT_EQ(Ask(clip, 1), 1);
  AskOtherFormat(clip, 1);
  FailAllocationForTest(1);
  EXPECT_EQ(Ask(clip, 2), 2) << "without memory for the conversion ahead, the request converts";
}

TEST(ExportMode, PutsAllReadersToWork) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t) { return gate.Pass(), 0; };
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig(1, 3));
  const ClipPtr clip = OpenFakeClip(pipeline);
  for (int64_t frame : {0, 1, 2}) PrefetchFrame(clip.get(), frame, kFullSize);
  gate.AwaitArrivals(1);
  pipeline.SetExportMode(true);
  pipeline.SetExportMode(true);
  gate.AwaitArrivals(3);
  gate.Open();
  AwaitIdle(clip);
  pipeline.SetExportMode(false);
  EXPECT_EQ(Ask(clip, 1), 1);
  EXPECT_EQ(log.Count("mode: export (all readers below normal priority, wider copy)"), 1);
  EXPECT_EQ(log.Count("mode: view"), 1);
}

TEST(Shutdown, EndsWaitingRequestsAndRefusesLaterOnes) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t) { return gate.Pass(), 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  auto reading = AskLater(clip, 1);
  gate.AwaitArrivals(1);
  auto queued = AskLater(clip, 2);
  AwaitWaiters(*clip, 2);
  auto shutdown = std::async(std::launch::async, [&] { pipeline.Shutdown(); });
  gate.Open();
  shutdown.get();
  EXPECT_EQ(reading.get(), 1);
  const int second = queued.get();
  EXPECT_TRUE(second == -1 || second == 2) << second;  // 2: the reader took it before it was told to stop
  EXPECT_EQ(Ask(clip, 50), -1);
  PrefetchFrame(clip.get(), 60, kFullSize);
  pipeline.SetExportMode(true);
  pipeline.Shutdown();
}

TEST(ClipStatistics, CountJobsByState) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t frame) { return frame == 12 ? (gate.Pass(), 0) : 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 10), 10);
  PrefetchFrame(clip.get(), 11, kFullSize);
  for (int64_t frame : {12, 13, 14}) PrefetchFrame(clip.get(), frame, kFullSize);
  gate.AwaitArrivals(1);
  ClipStats stats;
  GetClipStats(clip.get(), &stats);
  EXPECT_EQ(stats.queued, 2);
  EXPECT_EQ(stats.reading, 1);
  EXPECT_EQ(stats.readyAhead, 1) << "11 is ready, 10 is where the host is";
  EXPECT_EQ(stats.jobs, 5);
  EXPECT_GE(stats.readerLoad, 0);
  gate.Open();
}

TEST(ExportMode, LowersTheReadersPriority) {
  if (PriorityOfThisThread() != 0 || !PriorityCanBeRaised()) GTEST_SKIP() << "these tests may not set priorities here";
  FakeRecording recording;
  std::atomic<int> priority{0};
  recording.onRead = [&](int32_t) { return priority = PriorityOfThisThread(), 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 0), 0);
  const int viewing = priority;
  pipeline.SetExportMode(true);
  EXPECT_EQ(Ask(clip, 50), 50);
  EXPECT_LT(priority, viewing);
}

}  // namespace
}  // namespace qx
