// The median refinement as row stages: each pass is a stage behind the one that makes its input.
#pragma once

#include <memory>

#include "develop/cpu/ahd_rows.h"
#include "develop/cpu/median_kernels.h"
#include "develop/cpu/row_carver.h"

namespace qx {

enum class MedianPass { kChroma, kGreen };

/// One pass over 3 × 3 neighbourhoods, mirrored at the edges. Planes that the pass leaves alone are the input's own.
class MedianRows final : public RgbRows {
 public:
  /// `input` is an AHD or median stage: its rows stay valid as kRgbRing says.
  MedianRows(std::unique_ptr<RgbRows> input, MedianPass pass, const DebayerSetup& setup, const MedianKernels& kernels);

  /// False when memory is short; call once, before anything else.
  [[nodiscard]] bool Allocate();

  void Begin(int firstRow, const LabMatrix& labMatrix) override;
  RgbRow Row(int y) override;

 private:
  void CarveRows();
  void FilterBlock(int y, int begin, int end);

  const std::unique_ptr<RgbRows> input_;
  const MedianPass pass_;
  const DebayerSetup setup_;
  const MedianKernels& kernels_;
  RowCarver carver_;
  RowCarver blockCarver_;

  ChromaColumns columns_ = {};  // of one block
  RowRing<RgbRow, 4> in_;
  RowRing<RgbPlanes, kRgbRing> out_;  // only the planes that the pass makes

  int nextRow_ = 0;  // input row that comes next
};

}  // namespace qx
