// The colour step: debayered rows to linear Rec.709.
#pragma once

#include "develop/cpu/row_kernels.h"
#include "develop/cpu/row_stages.h"

namespace qx {

/// Makes linear rows of the active area in increasing order, into places that the caller owns. One band's; one thread.
class LinearRows {
 public:
  /// `rgb` must outlive the frame; rows are then made from `firstRow` on.
  void Begin(RgbRows* rgb, const ColorStep& step, const LabMatrix& labMatrix, int width, int firstRow) {
    rgb_ = rgb;
    step_ = step;
    width_ = width;
    rgb_->Begin(firstRow, labMatrix);
  }
  /// Row y, one more than the last one, into three planes of the active area's width.
  void Make(int y, float* const planes[3]) { kernels_.color(rgb_->Row(y), step_, planes, width_); }

 private:
  const RowKernels& kernels_ = GetRowKernels();
  RgbRows* rgb_ = nullptr;
  ColorStep step_ = {};
  int width_ = 0;
};

}  // namespace qx
