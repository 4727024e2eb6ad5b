#include "develop/cpu/ahd.h"

#include <new>
#include <utility>

#include "develop/cpu/ahd_rows.h"
#include "develop/cpu/median_rows.h"

namespace qx {
namespace {

constexpr int kRefinements = 3;

std::unique_ptr<RgbRows> AddMedianPass(std::unique_ptr<RgbRows> input, MedianPass pass, const DebayerSetup& setup) {
  if (input == nullptr) return nullptr;
  std::unique_ptr<MedianRows> stage(new (std::nothrow) MedianRows(std::move(input), pass, setup, PickMedianKernels(setup.width)));
  if (stage == nullptr || !stage->Allocate()) return nullptr;
  return stage;
}

}  // namespace

std::unique_ptr<RgbRows> CreateAhdRows(MosaicRows* mosaic, const DebayerSetup& setup, bool refined) {
  std::unique_ptr<AhdRows> ahd(new (std::nothrow) AhdRows(mosaic, setup, PickAhdKernels(setup.width)));
  if (ahd == nullptr || !ahd->Allocate()) return nullptr;
  std::unique_ptr<RgbRows> stage = std::move(ahd);
  for (int i = 0; refined && i < kRefinements; ++i) {
    stage = AddMedianPass(std::move(stage), MedianPass::kChroma, setup);
    stage = AddMedianPass(std::move(stage), MedianPass::kGreen, setup);
  }
  return stage;
}

}  // namespace qx
