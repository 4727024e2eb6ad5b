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
  for (auto& row : chroma_) row = {carver_.Row<int32_t>(), carver_.Row<int32_t>()};
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

void MedianRows::Begin(int firstRow) {
  nextRow_ = std::max(firstRow - 1, 0);
  input_->Begin(nextRow_);
}

RgbRow MedianRows::Row(int y) {
  const int width = setup_.width, last = std::min(y + 1, setup_.height - 1);
  for (; nextRow_ <= last; ++nextRow_) TakeRow(nextRow_);
  for (int begin = 0, end = 0; begin < width; begin = end) {
    end = width - begin < 2 * kBlock ? width : begin + kBlock;
    FilterBlock(y, begin, end);
  }
  const RgbRow& in = in_[y];
  const RgbPlanes& out = out_[y];
  return pass_ == MedianPass::kChroma ? RgbRow{out.r, in.g, out.b} : RgbRow{in.r, out.g, in.b};
}

void MedianRows::TakeRow(int y) {
  const int width = setup_.width;
  const ChromaRow& row = chroma_[y];
  in_[y] = input_->Row(y);
  kernels_.chroma(in_[y], 0, width, row.red, row.blue);
  for (int32_t* plane : {row.red, row.blue}) {
    plane[-1] = plane[1];
    plane[width] = plane[width - 2];
  }
}

void MedianRows::FilterBlock(int y, int begin, int end) {
  const ChromaRow& above = chroma_[MirrorIndex(y - 1, setup_.height)];
  const ChromaRow& center = chroma_[y];
  const ChromaRow& below = chroma_[MirrorIndex(y + 1, setup_.height)];
  const int columns = end - begin;
  kernels_.sortColumns({above.red + begin, center.red + begin, below.red + begin}, -1, columns + 1, columns_.red);
  kernels_.sortColumns({above.blue + begin, center.blue + begin, below.blue + begin}, -1, columns + 1, columns_.blue);

  const BayerRow row = BayerRowAt(setup_.cfa, y);
  const RgbRow rgb = {in_[y].r + begin, in_[y].g + begin, in_[y].b + begin};
  const RgbPlanes& out = out_[y];
  if (pass_ == MedianPass::kChroma) {
    kernels_.filterChroma(rgb, columns_, row, 0, columns, out.r + begin, out.b + begin);
  } else {
    kernels_.filterGreen(rgb, columns_, row, 0, columns, out.g + begin);
  }
}

}  // namespace qx
