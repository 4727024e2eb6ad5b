#include "develop/cpu/render_rows.h"

#include <algorithm>
#include <new>

#include "base/grow_buffer.h"

namespace qx {

namespace {

size_t RoundUpToLine(int floats) {
  return (size_t(floats) + 15) & ~size_t(15);
}

// Planar linear rows that are alive at the same time.
class LinearRing {
 public:
  [[nodiscard]] bool Begin(LinearRows* linear, int width, int rows, int firstRow) {
    linear_ = linear;
    pitch_ = RoundUpToLine(width);
    rows_ = rows;
    next_ = firstRow;
    return buffer_.Reserve(3 * pitch_ * size_t(rows));
  }
  void MakeUpTo(int lastRow) {
    for (; next_ <= lastRow; ++next_) {
      float* const planes[3] = {Plane(next_, 0), Plane(next_, 1), Plane(next_, 2)};
      linear_->Make(next_, planes);
    }
  }
  float* Plane(int row, int color) { return buffer_.data() + (size_t(row % rows_) * 3 + size_t(color)) * pitch_; }

 private:
  LinearRows* linear_ = nullptr;
  size_t pitch_ = 0;
  int rows_ = 1, next_ = 0;
  GrowBuffer<float> buffer_;
};

// Scale 1: the crop of a linear row.
class CopyRows final : public RenderRows {
 public:
  bool Begin(const RenderPlan& plan, LinearRows* linear, int firstRow, int endRow) override {
    plan_ = &plan;
    const DevelopGeometry& g = plan.geometry;
    pastEdge_ = std::max(0, int(g.cropX) + g.output.width - g.activeWidth);
    return ring_.Begin(linear, g.activeWidth + pastEdge_, plan.RingRows(firstRow, endRow), plan.FirstSourceRow(firstRow, endRow));
  }

  LinearRow Row(int y) override {
    const int source = plan_->sourceRows[size_t(y)].last;
    ring_.MakeUpTo(source);
    const int width = plan_->geometry.activeWidth;
    const float* planes[3];
    for (int c = 0; c < 3; ++c) {
      float* plane = ring_.Plane(source, c);
      std::fill_n(plane + width, pastEdge_, plane[width - 1]);
      planes[c] = plane + int(plan_->geometry.cropX);
    }
    return {planes[0], planes[1], planes[2]};
  }

 private:
  const RenderPlan* plan_ = nullptr;
  LinearRing ring_;
  int pastEdge_ = 0;  // columns of the crop that lie right of the image
};

// Area-weighted resampling without warp: the weights of rows and columns are independent.
class BoxRows final : public RenderRows {
 public:
  bool Begin(const RenderPlan& plan, LinearRows* linear, int firstRow, int endRow) override {
    plan_ = &plan;
    const DevelopGeometry& g = plan.geometry;
    outputPitch_ = RoundUpToLine(g.output.width);
    const size_t sums = size_t(g.activeWidth);
    if (!buffer_.Reserve(3 * outputPitch_ + sums)) return false;
    return ring_.Begin(linear, g.activeWidth, plan.RingRows(firstRow, endRow), plan.FirstSourceRow(firstRow, endRow));
  }

  LinearRow Row(int y) override {
    ring_.MakeUpTo(plan_->sourceRows[size_t(y)].last);
    const bool half = plan_->rows.isExactHalf && plan_->columns.isExactHalf;
    for (int c = 0; c < 3; ++c) {
      if (half) {
        Halve(y, c);
      } else {
        SumRows(y, c);
        SumColumns(plan_->rows.spans[size_t(y)].inverseSum, Output(c));
      }
    }
    return {Output(0), Output(1), Output(2)};
  }

 private:
  float* Output(int color) { return buffer_.data() + size_t(color) * outputPitch_; }
  float* Sums() { return buffer_.data() + 3 * outputPitch_; }

  void Halve(int y, int color) {
    const int row = plan_->rows.halfOrigin + 2 * y, column = plan_->columns.halfOrigin;
    kernels_.halve(ring_.Plane(row, color) + column, ring_.Plane(row + 1, color) + column, Output(color), plan_->geometry.output.width);
  }

  void SumRows(int y, int color) {
    const BoxSpan& span = plan_->rows.spans[size_t(y)];
    const DevelopGeometry& g = plan_->geometry;
    float* sums = Sums();
    std::fill_n(sums, g.activeWidth, 0.0f);
    for (int row = span.first; row <= span.last; ++row) {
      const float weight = plan_->rows.weights[size_t(span.firstWeight + row - span.first)];
      if (weight == 0) continue;
      const float* plane = ring_.Plane(std::clamp(row, 0, g.activeHeight - 1), color);
      for (int x = 0; x < g.activeWidth; ++x) sums[x] += weight * plane[x];
    }
  }

  void SumColumns(float inverseRowSum, float* out) {
    const float* sums = Sums();
    const int lastColumn = plan_->geometry.activeWidth - 1;
    for (const BoxSpan& span : plan_->columns.spans) {
      const float* weights = &plan_->columns.weights[size_t(span.firstWeight)];
      float sum = 0;
      for (int column = span.first; column <= span.last; ++column)
        sum += weights[column - span.first] * sums[std::clamp(column, 0, lastColumn)];
      *out++ = sum * (span.inverseSum * inverseRowSum);
    }
  }

  const RowKernels& kernels_ = GetRowKernels();
  const RenderPlan* plan_ = nullptr;
  LinearRing ring_;
  GrowBuffer<float> buffer_;
  size_t outputPitch_ = 0;
};

}  // namespace

std::unique_ptr<RenderRows> CreateRenderRows(RenderMode mode) {
  if (mode == RenderMode::kWarp) return CreateWarpRows();
  if (mode == RenderMode::kBox) return std::unique_ptr<RenderRows>(new (std::nothrow) BoxRows);
  return std::unique_ptr<RenderRows>(new (std::nothrow) CopyRows);
}

}  // namespace qx
