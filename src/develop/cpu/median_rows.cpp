#include "develop/cpu/median_rows.h"

#include <algorithm>
#include <utility>

namespace qx {
namespace {

/// Columns that are sorted and filtered at a time: their sorted triples stay in the first-level cache. Even, for the CFA phase. The last
/// block of a row may be up to twice as long, so that none is too short for the kernels.
constexpr int kBlock = 512;

}  // namespace

MedianRows::MedianRows(std::unique_ptr<RgbRows> input, MedianPass pass, const DebayerSetup& setup, const MedianKernels& kernels)
    : input_(std::move(input)), pass_(pass), setup_(setup), kernels_(kernels), carver_(setup.width), blockCarver_(2 * kBlock) {}

bool MedianRows::Allocate() {
  CarveRows();
  if (!carver_.Allocate() || !blockCarver_.Allocate()) return false;
  CarveRows();
  return true;
}

void MedianRows::CarveRows() {
  for (auto& row : out_) {
    if (pass_ == MedianPass::kChroma) {
      row = {carver_.Row<uint16_t>(), nullptr, carver_.Row<uint16_t>()};
    } else {
      row = {nullptr, carver_.Row<uint16_t>(), nullptr};
    }
  }
  for (SortedColumns* columns : {&columns_.red, &columns_.blue}) {
    *columns = {blockCarver_.Row<int32_t>(), blockCarver_.Row<int32_t>(), blockCarver_.Row<int32_t>()};
  }
}

void MedianRows::Begin(int firstRow, const LabMatrix& labMatrix) {
  nextRow_ = std::max(firstRow - 1, 0);
  input_->Begin(nextRow_, labMatrix);
}

RgbRow MedianRows::Row(int y) {
  const int width = setup_.width, last = std::min(y + 1, setup_.height - 1);
  for (; nextRow_ <= last; ++nextRow_) in_[nextRow_] = input_->Row(nextRow_);
  for (int begin = 0, end = 0; begin < width; begin = end) {
    end = width - begin < 2 * kBlock ? width : begin + kBlock;
    FilterBlock(y, begin, end);
  }
  const RgbRow& in = in_[y];
  const RgbPlanes& out = out_[y];
  return pass_ == MedianPass::kChroma ? RgbRow{out.r, in.g, out.b} : RgbRow{in.r, out.g, in.b};
}

void MedianRows::FilterBlock(int y, int begin, int end) {
  const auto shifted = [this, begin](int row) {
    const RgbRow& in = in_[MirrorIndex(row, setup_.height)];
    return RgbRow{in.r + begin, in.g + begin, in.b + begin};
  };
  const int columns = end - begin;
  const bool leftmost = begin == 0, rightmost = end == setup_.width;
  const RgbRow center = shifted(y);
  kernels_.sortChroma({shifted(y - 1), center, shifted(y + 1)}, leftmost ? 0 : -1, rightmost ? columns : columns + 1, columns_);
  for (const SortedColumns* sorted : {&columns_.red, &columns_.blue}) {
    for (int32_t* plane : {sorted->low, sorted->middle, sorted->high}) {
      if (leftmost) plane[-1] = plane[1];
      if (rightmost) plane[columns] = plane[columns - 2];
    }
  }

  const BayerRow row = BayerRowAt(setup_.cfa, y);
  const RgbPlanes& out = out_[y];
  if (pass_ == MedianPass::kChroma) {
    kernels_.filterChroma(center, columns_, row, 0, columns, out.r + begin, out.b + begin);
  } else {
    kernels_.filterGreen(center, columns_, row, 0, columns, out.g + begin);
  }
}

}  // namespace qx
