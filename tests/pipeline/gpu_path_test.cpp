// The GPU thread and its readers over a made-up driver: orders, messages, and what happens when anything fails.
#include "pipeline/gpu_path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <string>
#include <thread>

#include "pipeline/clip_impl.h"
#include "pipeline/gpu_request.h"
#include "tests/gpu_support/fake_gl.h"
#include "tests/pipeline/fake_recording.h"

namespace qx {

namespace {

constexpr int kGpuFrame = 255;  // what frames of the made-up driver look like

GpuSwitches DirectMode() {
  return {};
}
GpuSwitches NormalMode() {
  GpuSwitches switches;
  switches.direct = false;
  return switches;
}
GpuSwitches NoPass() {
  GpuSwitches switches;
  switches.outputPass = false;
  return switches;
}
struct Mode {
  const char* name;
  GpuSwitches switches;
  const char* line;
};
const Mode kModes[] = {{"direct", DirectMode(), "output: output pass, direct (readers upload and read back)"},
                       {"normal", NormalMode(), "output: output pass, readback in GPU thread"},
                       {"no pass", NoPass(), "output: readback of RG48 (no output pass)"}};

/// A pipeline whose graphics card is the made-up driver.
struct GpuStory {
  explicit GpuStory(FakeGl& fakeGl, const GpuSwitches& switches, const PipelineConfig& config = SmallConfig()) {
    recording.gpu = CreateGpuPath([&fakeGl] { return fakeGl.CreateDriver(); }, switches);
    pipeline = std::make_unique<FramePipeline>(MakeFakeBackend(recording), config);
  }
  FakeRecording recording;
  std::unique_ptr<FramePipeline> pipeline;
};

/// Everything that a frame may look like: from the card, or from the processor.
bool IsFrame(int answer, int frame) {
  return answer == kGpuFrame || answer == frame;
}

}  // namespace

TEST(GpuPath, DevelopsInEveryMode) {
  for (const Mode& mode : kModes) {
    SCOPED_TRACE(mode.name);
    FakeGl fakeGl;
    LogCapture log;
    {
      GpuStory story(fakeGl, mode.switches);
      const ClipPtr clip = OpenFakeClip(*story.pipeline);
      int32_t usedGpu = 0;
      EXPECT_EQ(Ask(clip, 3, kFullSize, &usedGpu), kGpuFrame);
      EXPECT_EQ(usedGpu, 1);
      EXPECT_EQ(log.Count("GL: Made-up card | 4.6 made up (ok)"), 1);
      EXPECT_EQ(log.Count(mode.line), 1);
      EXPECT_NE(log.Find("GPU session full: "), "");
      const bool direct = mode.switches.outputPass && mode.switches.direct;
      EXPECT_NE(log.Find("  GPU frame 3: issue "), "");
      EXPECT_EQ(log.Count("upload: 16-bit samples for the clip (as stored)"), direct ? 1 : 0);
    }
    EXPECT_EQ(fakeGl.liveObjects(), 0);
  }
}

TEST(GpuPath, WithoutADriverAllClipsAreDevelopedOnTheProcessor) {
  FakeGl fakeGl;
  fakeGl.missing = {"glDispatchCompute"};
  LogCapture log;
  GpuStory story(fakeGl, DirectMode());
  const ClipPtr a = OpenFakeClip(*story.pipeline), b = OpenFakeClip(*story.pipeline);
  EXPECT_EQ(Ask(a, 1), 1);
  EXPECT_EQ(Ask(b, 2), 2);
  EXPECT_EQ(log.Count("GL: missing function glDispatchCompute (no GPU, CPU path)"), 1);
}

TEST(GpuPath, AnOutputPassThatTheDriverRefusesLeavesReadBackOfRgb48) {
  FakeGl fakeGl;
  fakeGl.refusesShader = [](const std::string& source) { return source.find("The output pass") != std::string::npos; };
  LogCapture log;
  GpuStory story(fakeGl, DirectMode());
  const ClipPtr clip = OpenFakeClip(*story.pipeline);
  EXPECT_EQ(Ask(clip, 1), kGpuFrame);
  EXPECT_EQ(log.Count("output pass: not built (shader 91b9: the driver's words), readback of RG48"), 1);
  EXPECT_EQ(log.Count("output: readback of RG48 (no output pass)"), 1);
}

// Dispatch libraries hand out functions that the driver behind them does not have.
TEST(GpuPath, WithoutWorkingBufferStorageTheGpuThreadReadsBack) {
  FakeGl fakeGl;
  fakeGl.storesBuffers = false;
  LogCapture log;
  GpuStory story(fakeGl, DirectMode());
  const ClipPtr clip = OpenFakeClip(*story.pipeline);
  EXPECT_EQ(Ask(clip, 1), kGpuFrame);
  EXPECT_EQ(log.Count("output: output pass, readback in GPU thread"), 1);
}

// One call after the other fails, or the device is lost there, from the making of the context to the deletion of the last object: every
// frame is delivered, every object is deleted, nothing hangs. Two clips and three readers, so that requests queue up behind the failing
// one.
TEST(GpuPath, DeliversEveryFrameWhateverFails) {
  for (const Mode& mode : kModes) {
    for (const bool lost : {false, true}) {
      SCOPED_TRACE(testing::Message() << mode.name << (lost ? ", device lost" : ", one failure"));
      int64_t calls = 1;
      int failures = 0;
      for (int64_t n = 1; n <= calls; n += n < 40 ? 1 : 7) {
        SCOPED_TRACE(n);
        FakeGl fakeGl;
        (lost ? fakeGl.failFrom : fakeGl.failAt) = n;
        LogCapture log;
        {
          GpuStory story(fakeGl, mode.switches, SmallConfig(3, 3, 3));
          const ClipPtr a = OpenFakeClip(*story.pipeline), b = OpenFakeClip(*story.pipeline);
          std::thread other([&] {
            for (int frame = 20; frame < 23; ++frame) EXPECT_TRUE(IsFrame(Ask(b, frame), frame)) << frame;
          });
          for (int frame = 10; frame < 13; ++frame) EXPECT_TRUE(IsFrame(Ask(a, frame), frame)) << frame;
          other.join();
        }
        EXPECT_EQ(fakeGl.liveObjects(), 0);
        calls = std::max(calls, fakeGl.calls());
        failures += log.Find("frame ").find("GPU failed, CPU from now on") != std::string::npos;
      }
      EXPECT_GT(failures, 20);
    }
  }
}

// Whichever call of a frame fails: that frame's clip goes on on the processor, and nothing of the failure reaches the other clip's frames.
TEST(GpuPath, AFailureInMidPlaybackMovesThatClipAlone) {
  for (const Mode& mode : kModes) {
    SCOPED_TRACE(mode.name);
    int64_t callsOfAFrame = 1;
    int failures = 0;
    for (int64_t n = 1; n <= callsOfAFrame; ++n) {
      SCOPED_TRACE(n);
      FakeGl fakeGl;
      LogCapture log;
      GpuStory story(fakeGl, mode.switches);
      const ClipPtr a = OpenFakeClip(*story.pipeline), b = OpenFakeClip(*story.pipeline);
      EXPECT_EQ(Ask(b, 0), kGpuFrame);
      EXPECT_EQ(Ask(a, 0), kGpuFrame);
      // The GPU thread is idle: what it calls next, it calls for the next frame.
      const int64_t calls = fakeGl.calls(), objects = fakeGl.liveObjects();
      if (n == 1) {
        EXPECT_EQ(Ask(a, 9), kGpuFrame);
        callsOfAFrame = fakeGl.calls() - calls;
      }
      fakeGl.failAt = fakeGl.calls() + n;
      const bool failed = Ask(a, 10) == 10;
      if (failed) {
        ++failures;
        EXPECT_LT(fakeGl.liveObjects(), objects) << "the clip's session is of no use any more";
        EXPECT_EQ(log.Count("frame 10: GPU failed, CPU from now on"), 1);
        EXPECT_EQ(Ask(a, 11), 11);
      }
      EXPECT_EQ(Ask(b, 11), kGpuFrame);
      EXPECT_EQ(log.Find("frame 11: GPU failed"), "");
    }
    EXPECT_GT(failures, 20);
  }
}

// The card hands out one format. A frame that was developed in the format of a later request is developed again for the one that waits.
TEST(GpuPath, RequestsInDifferentFormatsAreBothDelivered) {
  FakeGl fakeGl;
  GpuStory story(fakeGl, DirectMode());
  Gate gate;
  story.recording.onRead = [&](int32_t frame) { return frame == 100 ? (gate.Pass(), 0) : 0; };
  const ClipPtr clip = OpenFakeClip(*story.pipeline);
  PrefetchFrame(clip.get(), 100, kFullSize);
  gate.AwaitArrivals(1);  // the reader is busy until both requests wait
  const auto askLater = [&](int64_t frame, OutputPixelFormat format, int32_t queuedThen) {
    auto answer = std::async(std::launch::async, [&clip, frame, format] {
      const uint64_t rowBytes = FormatRowBytes(format, 32);
      std::vector<uint8_t> pixels(size_t(rowBytes) * 16);
      return GetFrame(clip.get(), frame, frame, kFullSize, format, pixels.data(), uint32_t(rowBytes), nullptr, nullptr);
    });
    AwaitStats(clip, [&](const ClipStats& stats) { return stats.queued == queuedThen; });
    return answer;
  };
  auto first = askLater(1, OutputPixelFormat::kBgra8, 1), second = askLater(2, OutputPixelFormat::kBgra16, 2);
  gate.Open();
  EXPECT_EQ(first.get(), 0);
  EXPECT_EQ(second.get(), 0);
}

TEST(GpuPath, KeepsThreeSessionsAndLetsTheOldestGo) {
  FakeGl fakeGl;
  LogCapture log;
  GpuStory story(fakeGl, DirectMode());
  std::vector<ClipPtr> clips;
  for (int i = 0; i < 4; ++i) clips.push_back(OpenFakeClip(*story.pipeline));
  const auto sessionsMade = [&] {
    const auto lines = log.lines();
    return std::count_if(lines.begin(), lines.end(), [](const std::string& line) { return line.starts_with("GPU session full: "); });
  };
  int frame = 0;
  const auto use = [&](int clip) { EXPECT_EQ(Ask(clips[size_t(clip)], frame++), kGpuFrame); };
  for (int clip : {0, 1, 2, 0}) use(clip);
  EXPECT_EQ(sessionsMade(), 3);
  use(3);  // 1 goes
  use(0);
  use(2);
  EXPECT_EQ(sessionsMade(), 4);
  use(1);
  EXPECT_EQ(sessionsMade(), 5);
  clips[1].reset();  // its session goes with it, so that the next one finds room
  use(0);
  use(2);
  EXPECT_EQ(sessionsMade(), 5);
}

// Fences that are reached only after several polls: in normal mode frames wait for each other, in direct mode they overlap.
TEST(GpuPath, WaitsForSlowFences) {
  for (const Mode& mode : {kModes[0], kModes[1]}) {
    SCOPED_TRACE(mode.name);
    FakeGl fakeGl;
    std::atomic<int> polls{0};
    fakeGl.fencePends = [&] { return ++polls % 4 != 0; };
    GpuStory story(fakeGl, mode.switches, SmallConfig(3, 3, 6));
    const ClipPtr clip = OpenFakeClip(*story.pipeline);
    for (int frame = 0; frame < 12; ++frame) EXPECT_EQ(Ask(clip, frame), kGpuFrame);
    EXPECT_GT(polls, 12);
  }
}

TEST(GpuPath, TimesFramesWhenAsked) {
  FakeGl fakeGl;
  LogCapture log;
  GpuSwitches switches = DirectMode();
  switches.timing = true;
  GpuStory story(fakeGl, switches);
  const ClipPtr clip = OpenFakeClip(*story.pipeline);
  for (int frame = 0; frame < 30; ++frame) EXPECT_EQ(Ask(clip, frame), kGpuFrame);
  EXPECT_EQ(log.Find("gpu time: 30 frames"), "gpu time: 30 frames, mean 50.00 ms, min 50.00, max 50.00");
  EXPECT_EQ(log.Count("gpu time: frame 7 — 50.0 ms"), 1);
}

TEST(GpuPath, RequestsAfterShutdownAreRefusedAtOnce) {
  FakeGl fakeGl;
  GpuStory story(fakeGl, DirectMode());
  const ClipPtr clip = OpenFakeClip(*story.pipeline);
  EXPECT_EQ(Ask(clip, 0), kGpuFrame);
  story.pipeline->gpu().Shutdown();
  EXPECT_EQ(fakeGl.liveObjects(), 0);
  EXPECT_EQ(Ask(clip, 1), 1);
}

// As for a reader that decodes longer than the pipeline waits for it.
TEST(GpuPath, DoesNotStartAfterShutdown) {
  FakeGl fakeGl;
  GpuStory story(fakeGl, DirectMode());
  const ClipPtr clip = OpenFakeClip(*story.pipeline);
  story.pipeline->gpu().Shutdown();
  EXPECT_EQ(Ask(clip, 1), 1);
  EXPECT_EQ(fakeGl.calls(), 0);
}

TEST(GpuRequests, StartInTheOrderThatKeepsOneClipInFlight) {
  const auto clipA = reinterpret_cast<Clip*>(0x10), clipB = reinterpret_cast<Clip*>(0x20);
  FrameJob full, half;
  half.sizeLevel = kQuarterSize;
  DirectCompletion completion;
  struct Row {
    const char* name;
    GpuRequest::Kind kind;
    Clip* clip;
    FrameJob* job;
    bool direct;
    int inFlight;
    bool starts;
  };
  using Kind = GpuRequest::Kind;
  for (const Row& row :
       {Row{"first frame", Kind::kDevelop, clipA, &full, false, 0, true},
        Row{"same clip and size", Kind::kDevelop, clipA, &full, false, 2, true},
        Row{"no room", Kind::kDevelop, clipA, &full, false, 3, false}, Row{"other clip", Kind::kDevelop, clipB, &full, false, 1, false},
        Row{"other size class", Kind::kDevelop, clipA, &half, false, 1, false},
        Row{"direct frame alone", Kind::kDevelop, clipA, &full, true, 0, true},
        Row{"direct frame behind others", Kind::kDevelop, clipA, &full, true, 1, false},
        Row{"release alone", Kind::kReleaseSessions, clipA, nullptr, false, 0, true},
        Row{"release behind frames", Kind::kReleaseSessions, clipA, nullptr, false, 1, false},
        Row{"slot", Kind::kReserveSlot, clipB, nullptr, false, 3, true}}) {
    GpuRequest request;
    request.kind = row.kind;
    request.clip = row.clip;
    request.job = row.job;
    if (row.direct) request.completion = &completion;
    EXPECT_EQ(MayStart(request, {row.inFlight, row.inFlight > 0 ? clipA : nullptr, false}, 3), row.starts) << row.name;
  }
}

}  // namespace qx
