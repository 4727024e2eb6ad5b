// Development of one 3840 × 2160 frame on the processor: from 12-bit samples in memory to 16-bit RGB, per method, encoding, size and warp,
// on one core and on two; the row loops one by one; and beside them LibRaw from the same samples to 8-bit RGB in memory.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "develop/cpu/cpu_session.h"
#include "develop/cpu/row_encoder.h"
#include "develop/cpu/row_kernels.h"
#include "samples/dng_writer.h"
#include "samples/scene.h"

#if defined(QX_HAVE_LIBRAW)
#include <libraw/libraw.h>
#endif

namespace {

using namespace qx;

constexpr int kWidth = 3840, kHeight = 2160, kBits = 12, kBlack = 256;
constexpr Matrix9 kColorMatrix = {0.9, -0.3, -0.1, -0.4, 1.3, 0.1, -0.05, 0.2, 0.6};

const std::vector<uint16_t>& Samples() {
  static const std::vector<uint16_t> samples = MakeNoisyMosaic(kWidth, kHeight, kBits, kBlack, 1, 0);
  return samples;
}

DngInfo MakeCamera(bool gainMaps) {
  DngInfo camera;
  camera.width = camera.activeRight = kWidth;
  camera.height = camera.activeBottom = kHeight;
  camera.cropWidth = kWidth;
  camera.cropHeight = kHeight;
  camera.black = {kBlack, kBlack, kBlack, kBlack};
  camera.white = (1 << kBits) - 1;
  camera.hasColorMatrix1 = camera.hasAsShotNeutral = true;
  std::memcpy(camera.colorMatrix1.m, kColorMatrix.data(), sizeof camera.colorMatrix1.m);
  camera.calibrationIlluminant1 = 21;
  camera.asShotNeutral = {kSceneNeutral[0], kSceneNeutral[1], kSceneNeutral[2]};
  for (uint32_t phase = 0; phase < 4 && gainMaps; ++phase) {
    GainMap map;
    map.top = phase / 2, map.left = phase % 2, map.bottom = kHeight, map.right = kWidth;
    map.rowPitch = map.colPitch = 2;
    map.planes = map.mapPlanes = 1;
    map.pointsV = 13, map.pointsH = 17;
    map.spacingV = 1.0 / 12, map.spacingH = 1.0 / 16;
    for (int i = 0; i < 13 * 17; ++i) map.gains.push_back(1 + 0.004f * float(std::abs(i / 17 - 6) * std::abs(i % 17 - 8)));
    camera.gainMaps.push_back(map);
  }
  return camera;
}

const CubeLut& Lut33() {
  static CubeLut lut;
  if (lut.size3D != 0 || !lut.table3D.Reserve(33 * 33 * 33 * 3)) return lut;
  lut.size3D = 33;
  for (int i = 0; i < 33 * 33 * 33; ++i) {
    const int position[3] = {i % 33, i / 33 % 33, i / 1089};
    for (int c = 0; c < 3; ++c) lut.table3D[size_t(3 * i + c)] = std::pow(float(position[c]) / 32, 0.9f);
  }
  return lut;
}

struct Setting {
  std::string name;
  Demosaic method = Demosaic::kGradient5x5;
  OutputKind kind = OutputKind::kRec709;
  bool lut = false, half = false, warp = false, gainMaps = false;
  int cores = 1;
};

RectilinearWarp PhoneWarp() {
  RectilinearWarp warp;
  warp.valid = true;
  warp.planes = 1;
  warp.plane[0] = {{0.985, 0.04, -0.03, 0.01}, {0, 0}};
  return warp;
}

void Develop(benchmark::State& state, const Setting& setting) {
  const DngInfo camera = MakeCamera(setting.gainMaps);
  DevelopParams params;
  params.demosaic = setting.method;
  params.outputKind = setting.kind;
  params.lut = setting.lut ? &Lut33() : nullptr;
  params.scaleCode = setting.half ? 2 : 0;
  const WorkerPoolPtr pool = setting.cores > 1 ? worker_pool_create(setting.cores - 1) : nullptr;
  MessageBuffer<256> message;
  const CpuSessionPtr session = CreateCpuSession(camera, params, pool.get(), message);
  if (session == nullptr) return state.SkipWithError(message.text());

  RawFrame raw;
  raw.described = &camera;
  raw.samples = Samples().data();
  raw.warpDecided = true;
  if (setting.warp) raw.warp = PhoneWarp();
  const Size size = CpuSessionOutputSize(*session);
  std::vector<uint16_t> rgb(size_t(size.width) * size_t(size.height) * 3);
  for (auto _ : state) {
    if (DevelopFrameCpu(session.get(), raw, 0, rgb.data(), message) != 0) return state.SkipWithError(message.text());
    benchmark::DoNotOptimize(rgb.data());
  }
  state.counters["Mpix/s"] = benchmark::Counter(double(kWidth) * kHeight * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate);
}

void RegisterDevelopment() {
  std::vector<Setting> settings = {
      {"5x5/709"},      {"5x5/709/gain_maps"}, {"5x5/S-Log3"},   {"5x5/linear"}, {"5x5/LUT33"},       {"5x5/709/warp"},
      {"5x5/709/half"}, {"5x5/709/half/warp"}, {"bilinear/709"}, {"AHD/709"},    {"AHD_refined/709"},
  };
  for (Setting& s : settings) {
    const auto has = [&](const char* part) { return s.name.find(part) != std::string::npos; };
    s.method = has("bilinear") ? Demosaic::kBilinear : has("refined") ? Demosaic::kAhdRefined : has("AHD") ? Demosaic::kAhd : s.method;
    s.kind = has("S-Log3") ? OutputKind::kSLog3 : has("linear") && !has("bilinear") ? OutputKind::kLinear : s.kind;
    s.lut = has("LUT");
    s.half = has("half");
    s.warp = has("warp");
    s.gainMaps = has("gain");
    for (s.cores = 1; s.cores <= 2; ++s.cores) {
      const std::string name = "Develop/" + s.name + "/cores:" + std::to_string(s.cores);
      benchmark::RegisterBenchmark(name.c_str(), Develop, s)->Unit(benchmark::kMillisecond)->UseRealTime();
    }
  }
}

// One loop over rows that stay in the second-level cache, as many columns as a frame has.
template <typename Run>
void RegisterLoop(const RowKernels& kernels, const char* name, Run run) {
  const auto measure = [&kernels, run](benchmark::State& state) {
    std::vector<uint16_t> samples[5];
    std::vector<float> planes[6];
    for (int i = 0; i < 5; ++i) samples[i].assign(Samples().begin() + (400 + i) * kWidth, Samples().begin() + (402 + i) * kWidth);
    for (int i = 0; i < 6; ++i) {
      for (int x = 0; x < kWidth; ++x) planes[i].push_back(float(samples[i % 5][size_t(x)] - kBlack) / 2500);
    }
    std::vector<uint16_t> out(3 * kWidth + 64);
    for (auto _ : state) {
      for (int y = 0; y < kHeight; ++y) run(kernels, samples, planes, out.data());
      benchmark::DoNotOptimize(out.data());
    }
  };
  benchmark::RegisterBenchmark((std::string("Loop/") + name + "/" + kernels.name).c_str(), measure)->Unit(benchmark::kMillisecond);
}

void RegisterLoops(const RowKernels& kernels) {
  using Samples5 = std::vector<uint16_t>*;
  using Planes = std::vector<float>*;
  RegisterLoop(kernels, "unpack", [](const RowKernels& k, Samples5 s, Planes, uint16_t* out) {
    const UnpackLevels levels = {{256, 256}, {3839, 3839}, {1, 1.6f}};
    k.unpack(s[0].data(), levels, nullptr, out, kWidth);
  });
  RegisterLoop(kernels, "gradient", [](const RowKernels& k, Samples5 s, Planes, uint16_t* out) {
    const uint16_t* rows[5];
    for (int i = 0; i < 5; ++i) rows[i] = s[i].data() + 64;
    k.gradient(rows, out, out + kWidth, out + 2 * kWidth, kWidth);
  });
  RegisterLoop(kernels, "color", [](const RowKernels& k, Samples5 s, Planes p, uint16_t*) {
    const ColorStep step = {{1.7f, -0.5f, -0.2f, -0.3f, 1.5f, -0.2f, 0.01f, -0.6f, 1.59f}, 2};
    float* const planes[3] = {p[3].data(), p[4].data(), p[5].data()};
    k.color({s[0].data(), s[1].data(), s[2].data()}, step, planes, kWidth);
  });
  if (&kernels != &GetRowKernels()) return;
  RegisterLoop(kernels, "encode709", [](const RowKernels&, Samples5, Planes p, uint16_t* out) {
    static RowEncoder encoder;
    static const bool ready = [] {
      EncodingState state;
      state.white = 2;
      return encoder.Update(state);
    }();
    if (ready) encoder.Encode({p[0].data(), p[1].data(), p[2].data()}, out, kWidth);
  });
}

#if defined(QX_HAVE_LIBRAW)
// LibRaw's own chain after its unpacking: black, white balance, debayering, matrix, gamma, 8-bit RGB in memory.
void LibRawDevelop(benchmark::State& state, int quality) {
  static const std::vector<uint8_t> dng = [] {
    DngDescription description;
    description.width = kWidth;
    description.height = kHeight;
    description.black = {kBlack};
    description.white = (1 << kBits) - 1;
    description.colorMatrix1 = kColorMatrix;
    description.illuminant1 = 21;
    description.asShotNeutral = {kSceneNeutral[0], kSceneNeutral[1], kSceneNeutral[2]};
    description.make = "Bench";
    description.model = "Bench";
    return WriteDng(description, Samples());
  }();
  for (auto _ : state) {
    state.PauseTiming();
    LibRaw raw;
    raw.imgdata.params.user_qual = quality;
    raw.imgdata.params.use_camera_wb = 1;
    raw.imgdata.params.output_bps = 8;
    raw.imgdata.params.no_auto_bright = 1;
    const bool opened = raw.open_buffer(const_cast<uint8_t*>(dng.data()), dng.size()) == 0 && raw.unpack() == 0;
    state.ResumeTiming();
    int error = 0;
    libraw_processed_image_t* image = opened && raw.dcraw_process() == 0 ? raw.dcraw_make_mem_image(&error) : nullptr;
    if (image == nullptr) return state.SkipWithError("LibRaw does not read the frame");
    LibRaw::dcraw_clear_mem(image);
  }
  state.counters["Mpix/s"] = benchmark::Counter(double(kWidth) * kHeight * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate);
}
#endif

}  // namespace

int main(int argc, char** argv) {
  RegisterDevelopment();
  for (const RowKernels& kernels : RowKernelVariants()) {
    if (kernels.usable) RegisterLoops(kernels);
  }
#if defined(QX_HAVE_LIBRAW)
  benchmark::RegisterBenchmark("LibRaw/bilinear/8-bit", LibRawDevelop, 0)->Unit(benchmark::kMillisecond)->UseRealTime();
  benchmark::RegisterBenchmark("LibRaw/AHD/8-bit", LibRawDevelop, 3)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
