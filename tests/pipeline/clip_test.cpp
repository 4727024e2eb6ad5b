// Opening a clip, and changing its options.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>

#include "pipeline/clip_impl.h"
#include "tests/pipeline/fake_recording.h"
#include "tests/support/system.h"

namespace qx {
namespace {

TEST(OpenClip, DescribesTheRecording) {
  struct Row {
    ContainerKind kind;
    int32_t level;
    const char* label;
  };
  for (const Row& row : {Row{ContainerKind::kRawZip, 2, "CinemaDNG RAW-ZIP"}, Row{ContainerKind::kQorix, -1, ".qorix RAW"},
                         Row{ContainerKind::kQorix, 0, ".qorix RAW Lossless"}, Row{ContainerKind::kQorix, 1, ".qorix RAW HQ"},
                         Row{ContainerKind::kQorix, 3, ".qorix RAW LT"}, Row{ContainerKind::kQorix, 4, ".qorix RAW"}}) {
    SCOPED_TRACE(row.label);
    FakeRecording recording;
    recording.kind = row.kind;
    recording.qualityLevel = row.level;
    FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
    DevelopOptions options;
    options.slog3Narrow = 5;
    ClipInfo info;
    const ClipPtr clip = OpenFakeClip(pipeline, &options, &info);
    EXPECT_EQ(info.isQorix, row.kind == ContainerKind::kQorix);
    EXPECT_STREQ(info.label, row.label);
    EXPECT_STREQ(info.timecode, "01:00:00:00");
    EXPECT_EQ(info.frameCount, 200);
    EXPECT_EQ(info.fpsNumerator, 24);
    EXPECT_EQ(info.fpsDenominator, 1);
    EXPECT_EQ(info.halfWidth, 0);
    EXPECT_EQ(info.hasAudio, 0);
    EXPECT_EQ(info.outputKind, int32_t(OutputKind::kSLog3));
    EXPECT_EQ(info.slog3Narrow, 1);
  }
}

TEST(OpenClip, TellsTheLogWhatIsDamaged) {
  FakeRecording recording;
  recording.openMessage = "central directory not read";
  recording.damageNote = "no usable directory";
  const LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  OpenFakeClip(pipeline);
  EXPECT_EQ(log.Count("source: central directory not read"), 1);
  EXPECT_EQ(log.Count("source: no usable directory"), 1);
  EXPECT_EQ(log.Count("source: "), 0) << "of notes that are empty";
}

TEST(OpenClip, SaysWhyItCannot) {
  struct Row {
    const char* message;
    std::function<void(FakeRecording&, DevelopOptions&)> damage;
  };
  for (const Row& row : {
           Row{"cannot open the file", [](FakeRecording&recording, DevelopOptions&) { recording.fileMissing = true; }},
           Row{"no .dng frames", [](FakeRecording&recording, DevelopOptions&) { recording.openTimelineFails = "no .dng frames"; }},
           Row{"no frames in the clip", [](FakeRecording&recording, DevelopOptions&) { recording.frames = 0; }},
           Row{"CFA is not Bayer",
               [](FakeRecording&recording, DevelopOptions&) {
                 recording.cfa = {0, 0, 1, 2};
               }},
           Row{"empty clip", [](FakeRecording&recording, DevelopOptions&) { recording.width = 4; }},
           Row{"output curve 5 is not supported yet", [](FakeRecording&, DevelopOptions&options) { options.outputCurve = 5; }},
           Row{"bad demosaic -1", [](FakeRecording&, DevelopOptions&options) { options.demosaic = -1; }},
           Row{"cannot open the LUT", [](FakeRecording&, DevelopOptions&options) { std::memcpy(options.lutPath, u"/no/such.cube", 28); }},
       }) {
    FakeRecording recording;
    DevelopOptions options;
    row.damage(recording, options);
    FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
    MessageBuffer<128> message;
    EXPECT_EQ(OpenClipIn(pipeline, "fake", &options, nullptr, message), nullptr);
    EXPECT_STREQ(message.text(), row.message);
  }
}

TEST(ReadClipAudio, IsSilentWithoutSound) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(ReadClipAudio(clip.get(), 0, 0, nullptr), -1);
  EXPECT_EQ(ReadClipAudio(clip.get(), 0, 10, nullptr), 0);
}

TEST(ClipMemory, CountsTheFullSizeSession) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  const uint64_t without = 32 * 16 * 6 + uint64_t(838860800);
  EXPECT_EQ(ClipMemoryBytes(clip.get()), without);
  EXPECT_EQ(Ask(clip, 0), 0);
  EXPECT_EQ(ClipMemoryBytes(clip.get()), without + 32 * 16 * 56);
}

DevelopOptions Exposed(float stops) {
  DevelopOptions options;
  options.exposureEv = stops;
  return options;
}

int Apply(const ClipPtr& clip, const DevelopOptions& options, std::string* text = nullptr) {
  MessageBuffer<128> message;
  const int result = ApplyDevelopOptions(clip.get(), &options, message);
  if (text != nullptr) *text = message.text();
  return result;
}

/// Returns when an exchange of options is under way.
void AwaitChange(Clip& clip) {
  for (bool changing = false; !changing; std::this_thread::yield()) {
    LockGuard guard(clip.lock);
    changing = clip.optionsChanging;
  }
}

TEST(ApplyDevelopOptions, DevelopsCachedFramesAnew) {
  FakeRecording recording;
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 3), 3);
  DevelopOptions options = Exposed(20);
  options.whiteBalanceOn = 1;
  options.kelvin = 5600;
  options.tint = -2.5;
  EXPECT_EQ(Apply(clip, options), 0);
  EXPECT_EQ(Ask(clip, 3), 23);
  EXPECT_EQ(log.Count("options: ev 20.00, wb on 5600/-2.5, demosaic 0, warp 100, vignette 100, lut off -> applied"), 1);
}

TEST(ApplyDevelopOptions, RejectionKeepsTheOptionsInForce) {
  FakeRecording recording;
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const DevelopOptions before = Exposed(10);
  const ClipPtr clip = OpenFakeClip(pipeline, &before);
  DevelopOptions bad = Exposed(20);
  bad.demosaic = 4;
  std::string message;
  EXPECT_EQ(Apply(clip, bad, &message), -1);
  EXPECT_EQ(message, "bad demosaic 4");
  EXPECT_NE(log.Find("options: ev 20.00, wb as shot 0/0.0, demosaic 4, warp 100, vignette 100, lut off -> rejected"), "");
  EXPECT_EQ(Ask(clip, 3), 13);
  EXPECT_EQ(ApplyDevelopOptions(nullptr, &before, Message()), -1);
  EXPECT_EQ(ApplyDevelopOptions(clip.get(), nullptr, Message()), -1);
}

TEST(ApplyDevelopOptions, AsksForReopeningWithoutTouchingAnything) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 3), 3);
  DevelopOptions options = Exposed(20);
  options.outputCurve = 2;
  EXPECT_EQ(Apply(clip, options), 1);
  EXPECT_EQ(Ask(clip, 3), 3);
  EXPECT_EQ(recording.reads().size(), 1u) << "still cached";
}

TEST(ApplyDevelopOptions, ExchangesOneLutForAnother) {
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / ("qx_clip_test_" + std::to_string(ProcessId()));
  std::filesystem::create_directories(folder);
  const auto optionsWithLut = [&](const char* name) {
    DevelopOptions options;
    const std::u16string path = (folder / name).u16string();
    path.copy(options.lutPath, std::size(options.lutPath) - 1);
    return options;
  };
  std::ofstream(folder / "a.cube") << "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n";
  std::ofstream(folder / "b.cube") << "LUT_1D_SIZE 2\n0 0 0\n0.5 0.5 0.5\n";
  {
    FakeRecording recording;
    Gate gate;
    recording.onRead = [&](int32_t frame) { return frame == 9 ? (gate.Pass(), 0) : 0; };
    FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
    ClipInfo info;
    const DevelopOptions first = optionsWithLut("a.cube");
    const ClipPtr clip = OpenFakeClip(pipeline, &first, &info);
    EXPECT_EQ(info.outputKind, int32_t(OutputKind::kLut));
    EXPECT_EQ(Ask(clip, 0), 0);
    EXPECT_EQ(Apply(clip, optionsWithLut("b.cube")), 0);
    EXPECT_EQ(Ask(clip, 0), 0);
    std::string message;
    EXPECT_EQ(Apply(clip, optionsWithLut("missing.cube"), &message), -1);
    EXPECT_EQ(message, "cannot open the LUT");
    EXPECT_EQ(Apply(clip, DevelopOptions()), 1);

    // Back to the LUT that is in force, while another exchange still waits for a reader.
    PrefetchFrame(clip.get(), 9, kFullSize);
    gate.AwaitArrivals(1);
    auto toFirst = std::async(std::launch::async, [&] { return Apply(clip, first); });
    AwaitChange(*clip);
    auto back = std::async(std::launch::async, [&] { return Apply(clip, optionsWithLut("b.cube")); });
    for (int i = 0; i < 10000; ++i) std::this_thread::yield();  // so that it has looked at what is in force
    gate.Open();
    EXPECT_EQ(toFirst.get(), 0);
    EXPECT_EQ(back.get(), 0);
    LockGuard guard(clip->lock);
    LockGuard processorGuard(clip->processorLock);
    EXPECT_EQ(clip->lut->table1D[3], LutTextOf(clip->options) == LutTextOf(first) ? 1.0f : 0.5f);
  }
  std::filesystem::remove_all(folder);
}

TEST(ApplyDevelopOptions, NoRequestSeesAnOldFrameAfterwards) {
  FakeRecording recording;
  Gate gate;
  recording.onRead = [&](int32_t) { return gate.Pass(), 0; };
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  auto before = std::async(std::launch::async, [&] { return Ask(clip, 2); });
  gate.AwaitArrivals(1);
  auto apply = std::async(std::launch::async, [&] { return Apply(clip, Exposed(20)); });
  AwaitChange(*clip);
  auto during = std::async(std::launch::async, [&] { return Ask(clip, 5); });
  gate.Open();
  EXPECT_EQ(before.get(), 2) << "was being developed when the options changed";
  EXPECT_EQ(apply.get(), 0);
  EXPECT_EQ(during.get(), 25) << "waited for the new options";
  EXPECT_EQ(Ask(clip, 2), 22);
}

TEST(LinearClips, DeliverFloatValuesAboveWhite) {
  FakeRecording recording;
  recording.width = 16;
  recording.height = 2160;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  DevelopOptions options;
  options.outputCurve = 3;
  const ClipPtr clip = OpenFakeClip(pipeline, &options);
  const auto ask = [&](int32_t level) {
    const Size size = LevelSize(clip->sizes, level);
    std::vector<float> pixels(size_t(size.width) * size_t(size.height) * 4);
    EXPECT_EQ(GetFrame(clip.get(), 6, 6, level, OutputPixelFormat::kBgraFloat, reinterpret_cast<uint8_t*>(pixels.data()),
                       uint32_t(size.width) * 16, nullptr, nullptr),
              0);
    return pixels;
  };
  const std::vector<float> full = ask(kFullSize);
  // Bottom row first: the first pixel is (0, 2159), the last one (15, 0).
  EXPECT_EQ(std::vector<float>(full.begin(), full.begin() + 4), (std::vector<float>{2006.5f, 1006.5f, 6.5f, 1}));
  EXPECT_EQ(std::vector<float>(full.end() - 4, full.end()), (std::vector<float>{2006.25f, 1006.25f, 6.25f, 1}));
  const std::vector<float> quarter = ask(kQuarterSize);
  // The mean of 0, 0.25, 0.5 and 0.75 on top of the half-size frame's 106.
  for (size_t i = 0; i < quarter.size(); i += 4) {
    ASSERT_EQ(std::vector<float>(&quarter[i], &quarter[i] + 4), (std::vector<float>{2106.375f, 1106.375f, 106.375f, 1})) << i;
  }
  EXPECT_EQ(Ask(clip, 6), 6) << "another format of the same frame is developed anew";
}

/// A graphics card that develops as FakeSession does, but adds 50.
class FakeGpu final : public GpuPath {
 public:
  explicit FakeGpu(int32_t failingFrame, std::string* calls = nullptr) : failingFrame_(failingFrame), calls_(calls) {}
  int32_t EnsureStarted() override { return 1; }
  bool HasOutputPass() const override { return true; }
  int Develop(FrameJob& job, const RawFrame& raw) override {
    if (raw.frame == failingFrame_) return -1;
    std::fill_n(job.converted.data(), job.converted.capacity(), uint8_t(raw.frame + 50));
    if (job.gpuOutputCode != OutputPixelFormat::kBgra8) return 0;
    for (uint64_t i = 3; i < job.converted.capacity(); i += 4) job.converted[i] = 255;
    return 0;
  }
  void ReleaseSessions(Clip&) override {
    if (calls_ != nullptr) *calls_ += "release ";
  }
  double BusySeconds() const override { return 0; }
  void Shutdown() override {
    if (calls_ != nullptr) *calls_ += "shutdown ";
  }

 private:
  const int32_t failingFrame_;
  std::string* const calls_;
};

TEST(GraphicsPath, FailureSwitchesThatClipAloneToTheProcessor) {
  FakeRecording recording;
  recording.gpu = std::make_unique<FakeGpu>(10);
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr a = OpenFakeClip(pipeline), b = OpenFakeClip(pipeline);
  EXPECT_EQ(ClipJobCapacity(*a, kFullSize), int32_t(838860800 / (32 * 16 * 4))) << "no 16-bit frames";
  int32_t usedGpu = 0;
  EXPECT_EQ(Ask(a, 9, kFullSize, &usedGpu), 59);
  EXPECT_EQ(usedGpu, 1);
  EXPECT_EQ(Ask(a, 10, kFullSize, &usedGpu), 10);
  EXPECT_EQ(usedGpu, 0);
  EXPECT_EQ(Ask(a, 11), 11);
  EXPECT_EQ(Ask(b, 11), 61);
  EXPECT_EQ(log.Count("frame 10: GPU failed, CPU from now on"), 1);
  EXPECT_EQ(ClipJobCapacity(*a, kFullSize), int32_t(838860800 / (32 * 16 * 10)));
  EXPECT_EQ(recording.reads(), (std::vector<int32_t>{9, 10, 10, 11, 11})) << "10 is read again, unpacked";
}

TEST(GraphicsPath, AbsenceIsLoggedOnce) {
  FakeRecording recording;
  LogCapture log;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  DevelopOptions cpuOnly;
  cpuOnly.cpuOnly = 1;
  const ClipPtr quiet = OpenFakeClip(pipeline, &cpuOnly), a = OpenFakeClip(pipeline), b = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(quiet, 0), 0);
  EXPECT_EQ(log.Find("GL: "), "");
  EXPECT_EQ(Ask(a, 1), 1);
  EXPECT_EQ(Ask(b, 1), 1);
  EXPECT_EQ(log.Count("GL: no OpenGL context in this build (no GPU, CPU path)"), 1);
}

TEST(GraphicsPath, LetsGoOfSessionsWhenOptionsChangeAndClipsClose) {
  FakeRecording recording;
  std::string calls;
  recording.gpu = std::make_unique<FakeGpu>(-1, &calls);
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  ClipPtr clip = OpenFakeClip(pipeline);
  EXPECT_EQ(Ask(clip, 9), 59);
  EXPECT_EQ(Apply(clip, Exposed(20)), 0);
  EXPECT_EQ(calls, "release ");
  clip.reset();
  pipeline.Shutdown();
  EXPECT_EQ(calls, "release release shutdown ");
}

}  // namespace
}  // namespace qx
