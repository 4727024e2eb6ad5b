// Resampling through the lens warp: each output pixel is the mean of the texels under its warped footprint.
#include <algorithm>
#include <cmath>
#include <new>

#include "base/grow_buffer.h"
#include "develop/cpu/render_rows.h"

namespace qx {

namespace {

// Linear rows as texels, so that one load fetches a colour, with the edge texel repeated on both sides.
class TexelRing {
 public:
  [[nodiscard]] bool Begin(LinearRows* linear, int width, int pad, int rows, int firstRow) {
    linear_ = linear;
    width_ = width;
    pad_ = pad;
    rows_ = rows;
    next_ = firstRow;
    pitch_ = size_t(width + 2 * pad) * kTexelFloats;
    return planes_.Reserve(3 * size_t(width)) && buffer_.Reserve(pitch_ * size_t(rows));
  }
  void MakeUpTo(int lastRow) {
    for (; next_ <= lastRow; ++next_) MakeRow(next_);
  }
  const float* Row(int row) const { return buffer_.data() + size_t(row % rows_) * pitch_ + size_t(pad_) * kTexelFloats; }

 private:
  void MakeRow(int row) {
    float* const planes[3] = {planes_.data(), planes_.data() + width_, planes_.data() + 2 * width_};
    linear_->Make(row, planes);
    float* first = buffer_.data() + size_t(row % rows_) * pitch_;
    float* texels = first + size_t(pad_) * kTexelFloats;
    kernels_.toTexels({planes[0], planes[1], planes[2]}, texels, width_);
    const float* last = texels + kTexelFloats * (width_ - 1);
    for (int i = 0; i < pad_; ++i) {
      std::copy_n(texels, kTexelFloats, first + kTexelFloats * i);
      std::copy_n(last, kTexelFloats, texels + kTexelFloats * (width_ + i));
    }
  }

  const RowKernels& kernels_ = GetRowKernels();
  LinearRows* linear_ = nullptr;
  int width_ = 0, pad_ = 0, rows_ = 1, next_ = 0;
  size_t pitch_ = 0;
  GrowBuffer<float> planes_, buffer_;
};

class WarpRows final : public RenderRows {
 public:
  bool Begin(const RenderPlan& plan, LinearRows* linear, int firstRow, int endRow) override {
    plan_ = &plan;
    const DevelopGeometry& g = plan.geometry;
    // A footprint's centre lies at most one reach outside the image, its end one more.
    const int pad = 2 * int(std::ceil(WarpFootprints::Reach(g.scaleX()))) + 2;
    outputPitch_ = (size_t(g.output.width) + 15) & ~size_t(15);
    int mostTouched = 1;
    for (int y = firstRow; y < endRow; ++y) {
      const RowRange& touched = plan.touchedRows[size_t(y)];
      mostTouched = std::max(mostTouched, touched.last - touched.first + 1);
    }
    return output_.Reserve(3 * outputPitch_) && rowPointers_.Reserve(uint64_t(mostTouched)) && footprints_.Reserve(plan) &&
           ring_.Begin(linear, g.activeWidth, pad, plan.RingRows(firstRow, endRow), plan.FirstSourceRow(firstRow, endRow));
  }

  LinearRow Row(int y) override {
    ring_.MakeUpTo(plan_->sourceRows[size_t(y)].last);
    footprints_.Compute(*plan_, y);
    float* const out[3] = {output_.data(), output_.data() + outputPitch_, output_.data() + 2 * outputPitch_};
    const FootprintAxis columns = {footprints_.lowX(), footprints_.highX()}, rows = {footprints_.lowY(), footprints_.highY()};
    kernels_.averageTexels(columns, rows, TexelRowsFor(y), out, plan_->geometry.output.width);
    return {out[0], out[1], out[2]};
  }

 private:
  // Pointers to all rows that the footprints touch; rows outside the image are its edge rows.
  TexelRows TexelRowsFor(int y) {
    const RowRange& touched = plan_->touchedRows[size_t(y)];
    for (int row = touched.first; row <= touched.last; ++row) {
      rowPointers_[size_t(row - touched.first)] = ring_.Row(std::clamp(row, 0, plan_->geometry.activeHeight - 1));
    }
    return {rowPointers_.data(), touched.first};
  }

  const RowKernels& kernels_ = GetRowKernels();
  const RenderPlan* plan_ = nullptr;
  TexelRing ring_;
  WarpFootprints footprints_;
  GrowBuffer<const float*> rowPointers_;
  GrowBuffer<float> output_;
  size_t outputPitch_ = 0;
};

}  // namespace

std::unique_ptr<RenderRows> CreateWarpRows() {
  return std::unique_ptr<RenderRows>(new (std::nothrow) WarpRows);
}

}  // namespace qx
