// Development of 3840 × 2160 frames on the graphics card: each pass alone, and whole frames through the pipeline, with what the transfers
// alone would take. Without a usable card every benchmark says so and is skipped; QORIX_IMPORT_GPU=software measures Mesa's renderer.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "develop/gpu/context.h"
#include "develop/gpu/gpu_session.h"
#include "develop/gpu/output_pass.h"
#include "pipeline/clip_impl.h"
#include "pipeline/gpu_path.h"
#include "platform/clock.h"
#include "samples/scene.h"

namespace {

using namespace qx;

constexpr int kWidth = 3840, kHeight = 2160, kBits = 12, kBlack = 256;
constexpr int kClipFrames = 100000;

DngInfo MakeCamera() {
  DngInfo camera;
  camera.width = camera.activeRight = kWidth;
  camera.height = camera.activeBottom = kHeight;
  camera.cropWidth = kWidth;
  camera.cropHeight = kHeight;
  camera.black = {kBlack, kBlack, kBlack, kBlack};
  camera.white = (1 << kBits) - 1;
  camera.hasAsShotNeutral = true;
  camera.asShotNeutral = {kSceneNeutral[0], kSceneNeutral[1], kSceneNeutral[2]};
  return camera;
}

const DngInfo& Camera() {
  static const DngInfo camera = MakeCamera();
  return camera;
}

const std::vector<uint16_t>& Samples() {
  static const std::vector<uint16_t> samples = MakeNoisyMosaic(kWidth, kHeight, kBits, kBlack, 1, 0);
  return samples;
}

RectilinearWarp PhoneWarp() {
  RectilinearWarp warp;
  warp.valid = true;
  warp.planes = 1;
  warp.plane[0] = {{0.985, 0.04, -0.03, 0.01}, {0, 0}};
  return warp;
}

void FillRaw(RawFrame* raw, const RectilinearWarp& warp = {}) {
  raw->described = &Camera();
  raw->samples = Samples().data();
  raw->data = Bytes(reinterpret_cast<const uint8_t*>(Samples().data()), Samples().size() * sizeof(uint16_t));
  raw->warpDecided = true;
  raw->warp = warp;
}

// A context on this thread for the time of one benchmark.
struct Card {
  Card() : driver(CreateSystemGlDriver()) {
    ready = CreateGpuContext(*driver, description) == 0 && UseCurrentContext(*driver, description) == 0;
  }
  std::unique_ptr<GlDriver> driver;
  MessageBuffer<512> description;
  bool ready = false;
};

struct PassSetting {
  Demosaic method = Demosaic::kBilinear;
  bool half = false, warp = false;
};

// One pass (or chain of passes) over and over; `run` issues it, and the card is waited for.
template <typename Run>
void MeasurePass(benchmark::State& state, const PassSetting& setting, Run run) {
  Card card;
  if (!card.ready) return state.SkipWithError(card.description.text());
  DevelopParams params;
  params.slots = 1;
  params.demosaic = setting.method;
  params.outputKind = OutputKind::kRec709;
  params.scaleCode = setting.half ? 2 : 0;
  const auto session = GpuSession::Create(Camera(), params, card.description);
  const auto pass = session != nullptr ? BuildOutputPass(card.description) : nullptr;
  RawFrame raw;
  FillRaw(&raw, setting.warp ? PhoneWarp() : RectilinearWarp());
  if (pass == nullptr || session->Develop(raw, 0, 0, nullptr, card.description) != 0) return state.SkipWithError(card.description.text());
  gl.Finish();
  for (auto _ : state) {
    if (run(*session, *pass, raw, params) != 0) return state.SkipWithError("a pass failed");
    gl.Finish();
  }
}

int Upload(GpuSession& session, OutputPass&, const RawFrame& raw, const DevelopParams&) {
  return UploadRaw(session.developer(), raw, nullptr);
}

int Linear(GpuSession& session, OutputPass&, const RawFrame& raw, const DevelopParams& params) {
  static const GainTable kNoGains;
  DevelopGeometry geometry;
  if (!ComputeGeometry(*raw.described, raw.warp, params, &geometry)) return -1;
  const ColorState color = ComputeColorState(*raw.described, params);
  return DevelopToLinear(session.developer(), {*raw.described, geometry, color, kNoGains}, params.demosaic);
}

int Render(GpuSession& session, OutputPass&, const RawFrame& raw, const DevelopParams& params) {
  DevelopGeometry geometry;
  if (!ComputeGeometry(*raw.described, raw.warp, params, &geometry)) return -1;
  return RenderToSlot(session.developer(), 0, geometry, 0, 1, 2);
}

void RegisterPasses() {
  const auto add = [](const std::string& name, const PassSetting& setting, auto run) {
    benchmark::RegisterBenchmark(("Pass/" + name).c_str(), [=](benchmark::State& state) { MeasurePass(state, setting, run); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  };
  add("upload", {}, Upload);
  add("unpack+bilinear", {Demosaic::kBilinear}, Linear);
  add("unpack+5x5", {Demosaic::kGradient5x5}, Linear);
  add("unpack+AHD", {Demosaic::kAhd}, Linear);
  add("unpack+AHD_refined", {Demosaic::kAhdRefined}, Linear);
  add("render/copy", {}, Render);
  add("render/half", {Demosaic::kBilinear, true}, Render);
  add("render/warp", {Demosaic::kBilinear, false, true}, Render);
  for (const auto& [name, format] : {std::pair("BGRA8", OutputPixelFormat::kBgra8), std::pair("UYVY", OutputPixelFormat::kUyvy),
                                     std::pair("v210", OutputPixelFormat::kV210)}) {
    add(std::string("output/") + name, {}, [format = format](GpuSession& session, OutputPass& pass, const RawFrame&, const DevelopParams&) {
      return RunOutputPass(&pass, *session.developer(), 0, format, session.outputSize(), false, 0);
    });
  }
}

// Frames that need no reading, so that the card is what is measured.
class ReadyFrames final : public FrameSource {
 public:
  int32_t FrameCount() const override { return kClipFrames; }
  double FramesPerSecond() const override { return 24; }
  const DngInfo* CameraData() const override { return &Camera(); }
  int ReadFrame(int32_t frame, RawFrame* out, uint32_t) override {
    FillRaw(out);
    out->frame = frame;
    return 0;
  }
  const char* LastMessage() const override { return ""; }
};

PipelineBackend ReadyBackend(const GpuSwitches& switches) {
  PipelineBackend backend = DefaultPipelineBackend();
  backend.openFile = [](const std::filesystem::path&) { return std::make_unique<MemorySource>(Bytes()); };
  backend.openTimeline = [](SourceTimeline* source, const ByteSource&, Message) {
    source->fps = source->captureFps = 24;
    source->frames.resize(kClipFrames);
    for (int32_t i = 0; i < kClipFrames; ++i) source->frames[size_t(i)] = {i, i, i, 0};
    return 0;
  };
  backend.openFrames = [](FrameSourcePtr* source, const ByteSource&, Message) {
    *source = std::make_unique<ReadyFrames>();
    return 0;
  };
  backend.createGpuPath = [switches] { return CreateGpuPath(CreateSystemGlDriver, switches); };
  return backend;
}

// Seconds that moving a frame's samples to the card and its pixels back takes by itself: the best of several goes.
double TransferSeconds(uint64_t upBytes, uint64_t downBytes) {
  std::vector<uint8_t> memory(std::max(upBytes, downBytes), 1);
  GlGrowBuffer up(GL_SHADER_STORAGE_BUFFER, GL_STREAM_DRAW), down(GL_COPY_READ_BUFFER, GL_STREAM_READ);
  if (!up.Reserve(upBytes) || !down.Reserve(downBytes)) return 0;
  double best = 1e9;
  for (int i = 0; i < 8; ++i) {
    const double start = MonotonicMs();
    gl.BindBuffer(GL_SHADER_STORAGE_BUFFER, up.name());
    gl.BufferSubData(GL_SHADER_STORAGE_BUFFER, 0, GLsizeiptr(upBytes), memory.data());
    gl.BindBuffer(GL_COPY_READ_BUFFER, down.name());
    const void* mapped = gl.MapBufferRange(GL_COPY_READ_BUFFER, 0, GLsizeiptr(downBytes), GL_MAP_READ_BIT);
    if (mapped != nullptr) std::memcpy(memory.data(), mapped, downBytes);
    gl.UnmapBuffer(GL_COPY_READ_BUFFER);
    gl.Finish();
    best = std::min(best, MonotonicMs() - start);
  }
  return best / 1000;
}

void Frames(benchmark::State& state, bool direct) {
  const uint64_t upBytes = uint64_t(kWidth) * kHeight * kBits / 8, downBytes = uint64_t(kWidth) * kHeight * 4;
  double transferSeconds = 0;
  {
    Card card;
    if (!card.ready) return state.SkipWithError(card.description.text());
    transferSeconds = TransferSeconds(upBytes, downBytes);
  }
  GpuSwitches switches;
  switches.direct = direct;
  PipelineConfig config;
  config.viewReaders = config.exportReaders = 3;
  FramePipeline pipeline(ReadyBackend(switches), config);
  DevelopOptions options;
  SetDefaultDevelopOptions(&options);
  options.outputCurve = 2;
  MessageBuffer<256> message;
  const ClipPtr clip(OpenClipIn(pipeline, "ready", &options, nullptr, message));
  if (clip == nullptr) return state.SkipWithError(message.text());
  std::vector<uint8_t> pixels(downBytes);
  int64_t frame = 0;
  const auto ask = [&] {
    int32_t usedGpu = 0;
    const int result =
        GetFrame(clip.get(), frame, frame, kFullSize, OutputPixelFormat::kBgra8, pixels.data(), kWidth * 4, &usedGpu, nullptr);
    ++frame;
    return result == 0 && usedGpu == 1;
  };
  for (int i = 0; i < 10; ++i) {
    if (!ask()) return state.SkipWithError("the frame was not developed on the card");
  }
  const double cpuStart = ProcessCpuSeconds(), start = MonotonicMs();
  for (auto _ : state) {
    if (!ask()) return state.SkipWithError("the frame was not developed on the card");
  }
  const double frames = double(state.iterations()), seconds = (MonotonicMs() - start) / 1000 / frames;
  state.counters["frames/s"] = 1 / seconds;
  state.counters["cpu_ms"] = (ProcessCpuSeconds() - cpuStart) * 1000 / frames;
  state.counters["transfer_share"] = transferSeconds / seconds;
}

}  // namespace

int main(int argc, char** argv) {
  RegisterPasses();
  for (const bool direct : {true, false}) {
    benchmark::RegisterBenchmark(direct ? "Frames/direct" : "Frames/normal", [=](benchmark::State& state) { Frames(state, direct); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
  benchmark::Initialize(&argc, argv);
  {
    Card card;
    benchmark::AddCustomContext("renderer", card.description.text());
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
