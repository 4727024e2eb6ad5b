// One 3840 × 2160 frame of the synthetic scene on one core, the way the plug-in takes it: its stages one by one, and whole development
// from unpacked 12-bit samples to BGRA of 8 bits, beside LibRaw from the same DNG's unpacked samples to 8-bit RGB in memory.
// CPU times are the whole process's. Run with OMP_NUM_THREADS=1: LibRaw spreads some loops over all cores.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "develop/cpu/cpu_session.h"
#include "develop/pixel_format.h"
#include "media/dng_parser.h"
#include "platform/file.h"
#include "rawzip/lj92.h"
#include "samples/scene_dng.h"

#if defined(QX_HAVE_LIBRAW)
#include <libraw/libraw.h>
#endif

namespace {

using namespace qx;

constexpr int kWidth = 3840, kHeight = 2160;

/// The same samples as two DNGs, with what our parser reads in them.
struct SceneFrame {
  std::vector<uint16_t> samples;
  std::vector<uint8_t> packedDng, losslessDng;
  DngInfo packed, lossless;
};

std::vector<uint8_t> MakeDng(const std::vector<uint16_t>& samples, bool losslessJpeg) {
  SceneDngOptions options;
  options.width = kWidth;
  options.height = kHeight;
  options.losslessJpeg = losslessJpeg;
  return EncodeSceneDng(options, DescribeSceneFrame(options, 0), samples);
}

/// Null when our parser does not take the DNGs.
const SceneFrame* Scene() {
  static SceneFrame scene;
  static const bool parsed = [] {
    SceneDngOptions options;
    options.width = kWidth;
    options.height = kHeight;
    scene.samples = SceneSamples(options, 0);
    scene.packedDng = MakeDng(scene.samples, false);
    scene.losslessDng = MakeDng(scene.samples, true);
    return dng_parse(scene.packedDng, &scene.packed, {}) == 0 && dng_parse(scene.losslessDng, &scene.lossless, {}) == 0;
  }();
  return parsed ? &scene : nullptr;
}

void CountPixels(benchmark::State& state) {
  state.counters["Mpix/s"] = benchmark::Counter(double(kWidth) * kHeight * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate);
}

/// What development and packing need for one frame of the scene.
struct Development {
  explicit Development(Demosaic method) {
    params.demosaic = method;
    params.outputKind = OutputKind::kRec709;
    if (scene == nullptr) return;
    session = CreateCpuSession(scene->packed, params, nullptr, {});
    raw.described = &scene->packed;
    raw.samples = scene->samples.data();
    raw.warpDecided = true;
  }
  bool Develop() { return session != nullptr && DevelopFrameCpu(session.get(), raw, 0, rgb.data(), {}) == 0; }
  bool DevelopPacked() {
    return session != nullptr && DevelopPackedFrameCpu(session.get(), raw, 0, OutputPixelFormat::kBgra8, bgra.data(), {}) == 0;
  }
  void Pack() { ConvertRows(rgb.data(), kWidth, kHeight, OutputPixelFormat::kBgra8, bgra.data(), kWidth * 4, false, 0, 1); }

  const SceneFrame* scene = Scene();
  DevelopParams params;
  CpuSessionPtr session;
  RawFrame raw;
  std::vector<uint16_t> rgb = std::vector<uint16_t>(size_t(3) * kWidth * kHeight);
  std::vector<uint8_t> bgra = std::vector<uint8_t>(size_t(4) * kWidth * kHeight);
};

void WholeDevelopment(benchmark::State& state, Demosaic method) {
  Development development(method);
  for (auto _ : state) {
    if (!development.DevelopPacked()) return state.SkipWithError("not developed");
    benchmark::ClobberMemory();
  }
  CountPixels(state);
}

void StageDevelop(benchmark::State& state) {
  Development development(Demosaic::kGradient5x5);
  for (auto _ : state) {
    if (!development.Develop()) return state.SkipWithError("not developed");
  }
  CountPixels(state);
}

void StagePack(benchmark::State& state) {
  Development development(Demosaic::kGradient5x5);
  if (!development.Develop()) return state.SkipWithError("not developed");
  for (auto _ : state) {
    development.Pack();
    benchmark::ClobberMemory();
  }
  CountPixels(state);
}

/// Reading a frame's bytes out of the operating system's file cache.
void StageRead(benchmark::State& state, bool losslessJpeg) {
  const SceneFrame* scene = Scene();
  if (scene == nullptr) return state.SkipWithError("not parsed");
  const std::vector<uint8_t>& dng = losslessJpeg ? scene->losslessDng : scene->packedDng;
  const std::filesystem::path path = std::filesystem::temp_directory_path() / ("frame_bench." + std::to_string(getpid()));
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(dng.data()), std::streamsize(dng.size()));
  File file;
  const bool opened = file.Open(path);
  std::filesystem::remove(path);
  std::vector<uint8_t> bytes(dng.size());
  for (auto _ : state) {
    if (!opened || file.ReadAt(0, bytes.data(), bytes.size()) != bytes.size()) return state.SkipWithError("not read");
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(dng.size()));
}

void StageSamples(benchmark::State& state, bool losslessJpeg) {
  const SceneFrame* scene = Scene();
  if (scene == nullptr) return state.SkipWithError("not parsed");
  std::vector<uint16_t> samples(size_t(kWidth) * kHeight);
  for (auto _ : state) {
    const int result = losslessJpeg ? lj92_decode_dng(scene->lossless, scene->losslessDng, samples.data())
                                    : dng_unpack_strips(scene->packed, scene->packedDng, samples.data());
    if (result != 0) return state.SkipWithError("not decoded");
  }
  if (samples != scene->samples) return state.SkipWithError("other samples");
  CountPixels(state);
}

#if defined(QX_HAVE_LIBRAW)

/// Black levels, white balance, debayering, colour matrix and gamma; opening and unpacking are not timed.
void LibRawDevelop(benchmark::State& state, int quality, int medianPasses) {
  const SceneFrame* scene = Scene();
  if (scene == nullptr) return state.SkipWithError("not parsed");
  LibRaw raw;
  raw.imgdata.params.user_qual = quality;
  raw.imgdata.params.med_passes = medianPasses;
  raw.imgdata.params.use_camera_wb = 1;
  raw.imgdata.params.output_bps = 8;
  raw.imgdata.params.no_auto_bright = 1;
  for (auto _ : state) {
    state.PauseTiming();
    raw.recycle();
    auto* bytes = const_cast<uint8_t*>(scene->packedDng.data());
    const bool opened = raw.open_buffer(bytes, scene->packedDng.size()) == 0 && raw.unpack() == 0;
    state.ResumeTiming();
    int error = 0;
    libraw_processed_image_t* image = opened && raw.dcraw_process() == 0 ? raw.dcraw_make_mem_image(&error) : nullptr;
    if (image == nullptr) return state.SkipWithError("LibRaw does not read the frame");
    if (image->width != kWidth || image->height != kHeight) state.SkipWithError("LibRaw gives another size");
    LibRaw::dcraw_clear_mem(image);
  }
  CountPixels(state);
}

#endif

template <typename... Arguments>
void Register(const char* name, Arguments... arguments) {
  benchmark::RegisterBenchmark(name, arguments...)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
}

}  // namespace

int main(int argc, char** argv) {
  Register("Stage/read_packed", StageRead, false);
  Register("Stage/read_lj92", StageRead, true);
  Register("Stage/unpack_12_bit", StageSamples, false);
  Register("Stage/decode_lj92", StageSamples, true);
  Register("Stage/develop_5x5", StageDevelop);
  Register("Stage/pack_bgra8", StagePack);
  Register("Frame/5x5", WholeDevelopment, Demosaic::kGradient5x5);
  Register("Frame/AHD", WholeDevelopment, Demosaic::kAhd);
  Register("Frame/AHD_refined", WholeDevelopment, Demosaic::kAhdRefined);
#if defined(QX_HAVE_LIBRAW)
  Register("LibRaw/bilinear", LibRawDevelop, 0, 0);
  Register("LibRaw/AHD", LibRawDevelop, 3, 0);
  Register("LibRaw/AHD_3_medians", LibRawDevelop, 3, 3);
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
