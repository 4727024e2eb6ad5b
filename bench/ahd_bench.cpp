// AHD rows and refined rows over a 3840 × 2160 mosaic in memory, one thread: milliseconds a frame, per kernel variant.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "develop/cpu/ahd_rows.h"
#include "develop/cpu/median_rows.h"

namespace {

using namespace qx;

constexpr int kWidth = 3840, kHeight = 2160;

/// Smooth shapes, edges and sensor noise, as a developed frame has them: the table look-ups hit the caches like those of a picture.
class PictureMosaic final : public MosaicRows {
 public:
  PictureMosaic() : samples_(size_t(kStride) * kHeight) {
    std::mt19937 random(1);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = -kMosaicPad; x < kWidth + kMosaicPad; ++x) {
        const int column = MirrorIndex(x, kWidth), color = (column & 1) + (y & 1);
        const double shape = std::sin(column * 0.011 + y * 0.003 + color) + std::cos(y * 0.017 - column * 0.002);
        const double edge = ((column / 97 + y / 61) & 3) == 0 ? 0.4 : 1.0;
        samples_[size_t(y) * kStride + x + kMosaicPad] = uint16_t((shape + 2) * edge * 12000 + random() % 900);
      }
    }
  }
  const uint16_t* Row(int y) override { return samples_.data() + size_t(MirrorIndex(y, kHeight)) * kStride + kMosaicPad; }

 private:
  static constexpr int kStride = kWidth + 2 * kMosaicPad;
  std::vector<uint16_t> samples_;
};

std::unique_ptr<RgbRows> MakeRows(MosaicRows* mosaic, size_t variant, bool refined) {
  const DebayerSetup setup = {kWidth, kHeight, {0, 1, 1, 2}};
  auto ahd = std::make_unique<AhdRows>(mosaic, setup, AhdKernelVariants()[variant]);
  if (!ahd->Allocate()) return nullptr;
  std::unique_ptr<RgbRows> rows = std::move(ahd);
  for (int pass = 0; refined && pass < 6; ++pass) {
    const MedianPass kind = pass % 2 == 0 ? MedianPass::kChroma : MedianPass::kGreen;
    auto median = std::make_unique<MedianRows>(std::move(rows), kind, setup, MedianKernelVariants()[variant]);
    if (!median->Allocate()) return nullptr;
    rows = std::move(median);
  }
  return rows;
}

void DebayerFrame(benchmark::State& state, size_t variant, bool refined) {
  static PictureMosaic mosaic;
  const auto rows = MakeRows(&mosaic, variant, refined);
  for (auto _ : state) {
    rows->Begin(0, {444, 385, 194, 218, 732, 74, 18, 112, 894});
    for (int y = 0; y < kHeight; ++y) benchmark::DoNotOptimize(rows->Row(y));
  }
  state.counters["Mpix/s"] = benchmark::Counter(double(kWidth) * kHeight * 1e-6 * double(state.iterations()), benchmark::Counter::kIsRate);
}

}  // namespace

int main(int argc, char** argv) {
  for (const bool refined : {false, true}) {
    for (size_t variant = 0; variant < AhdKernelVariants().size(); ++variant) {
      if (!AhdKernelVariants()[variant].usable) continue;
      const std::string name = std::string(refined ? "AhdRefined/" : "Ahd/") + AhdKernelVariants()[variant].name;
      benchmark::RegisterBenchmark(name.c_str(), DebayerFrame, variant, refined)->Unit(benchmark::kMillisecond);
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
