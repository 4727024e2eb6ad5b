// Resampling through the lens warp: each output pixel is the mean of the texels under its warped footprint.
#include <algorithm>
#include <cmath>
#include <new>

#include "base/grow_buffer.h"
#include "develop/cpu/render_rows.h"

namespace qx {

std::unique_ptr<RenderRows> CreateWarpRows();

namespace {

constexpr int kTexel = 4;  // floats of a texel: r, g, b and one unused

// Linear rows as texels, so that one load fetches a colour, with the edge texel repeated on both sides.
class TexelRing {
 public:
  [[nodiscard]] bool Begin(LinearRows* linear, int width, int pad, int rows, int firstRow) {
    linear_ = linear;
    width_ = width;
    pad_ = pad;
    rows_ = rows;
    next_ = firstRow;
    pitch_ = size_t(width + 2 * pad) * kTexel;
    return planes_.Reserve(3 * size_t(width)) && buffer_.Reserve(pitch_ * size_t(rows));
  }
  void MakeUpTo(int lastRow) {
    for (; next_ <= lastRow; ++next_) MakeRow(next_);
  }
  const float* Row(int row) const { return buffer_.data() + size_t(row % rows_) * pitch_ + size_t(pad_) * kTexel; }

 private:
  void MakeRow(int row) {
    float* const planes[3] = {planes_.data(), planes_.data() + width_, planes_.data() + 2 * width_};
    linear_->Make(row, planes);
    float* first = buffer_.data() + size_t(row % rows_) * pitch_;
    float* texels = first + size_t(pad_) * kTexel;
    for (int x = 0; x < width_; ++x) {
      texels[kTexel * x] = planes[0][x];
      texels[kTexel * x + 1] = planes[1][x];
      texels[kTexel * x + 2] = planes[2][x];
      texels[kTexel * x + 3] = 0;
    }
    const float* last = texels + kTexel * (width_ - 1);
    for (int i = 0; i < pad_; ++i) {
      std::copy_n(texels, kTexel, first + kTexel * i);
      std::copy_n(last, kTexel, texels + kTexel * (width_ + i));
    }
  }

  LinearRows* linear_ = nullptr;
  int width_ = 0, pad_ = 0, rows_ = 1, next_ = 0;
  size_t pitch_ = 0;
  GrowBuffer<float> planes_, buffer_;
};

// Weights of the texels first … first + count − 1 of one axis, relative to a footprint.
struct AxisWeights {
  static constexpr int kMost = 2 * WarpFootprints::kMostReach + 2;
  int first, count;
  float sum;
  float weights[kMost];

  void Set(double low, double high) {
    first = int(std::floor(low - 0.5)) + 1;
    count = std::min(int(std::ceil(high + 0.5)) - first, kMost);
    const float from = float(low - first), to = float(high - first);
    sum = 0;
    for (int i = 0; i < count; ++i) {
      weights[i] = std::max(std::min(float(i) + 0.5f, to) - std::max(float(i) - 0.5f, from), 0.0f);
      sum += weights[i];
    }
  }
};

class WarpRows final : public RenderRows {
 public:
  bool Begin(const RenderPlan& plan, LinearRows* linear, int firstRow, int endRow) override {
    plan_ = &plan;
    const DevelopGeometry& g = plan.geometry;
    // A footprint's centre lies at most one reach outside the image, its end one more.
    const int pad = 2 * int(std::ceil(WarpFootprints::Reach(g.scaleX()))) + 2;
    outputPitch_ = (size_t(g.output.width) + 15) & ~size_t(15);
    return output_.Reserve(3 * outputPitch_) && footprints_.Reserve(plan) &&
           ring_.Begin(linear, g.activeWidth, pad, plan.RingRows(firstRow, endRow), plan.FirstSourceRow(firstRow, endRow));
  }

  LinearRow Row(int y) override {
    ring_.MakeUpTo(plan_->sourceRows[size_t(y)].last);
    footprints_.Compute(*plan_, y);
    float* out[3] = {output_.data(), output_.data() + outputPitch_, output_.data() + 2 * outputPitch_};
    for (int x = 0; x < plan_->geometry.output.width; ++x) {
      columns_.Set(footprints_.lowX()[x], footprints_.highX()[x]);
      rows_.Set(footprints_.lowY()[x], footprints_.highY()[x]);
      float sums[kTexel] = {};
      AddFootprint(sums);
      const float scale = 1 / (columns_.sum * rows_.sum);
      for (int c = 0; c < 3; ++c) out[c][x] = sums[c] * scale;
    }
    return {out[0], out[1], out[2]};
  }

 private:
  void AddFootprint(float sums[kTexel]) const {
    const int lastRow = plan_->geometry.activeHeight - 1;
    for (int j = 0; j < rows_.count; ++j) {
      if (rows_.weights[j] == 0) continue;
      const float* texels = ring_.Row(std::clamp(rows_.first + j, 0, lastRow)) + kTexel * columns_.first;
      for (int i = 0; i < columns_.count; ++i) {
        const float weight = columns_.weights[i] * rows_.weights[j];
        for (int c = 0; c < kTexel; ++c) sums[c] += weight * texels[kTexel * i + c];
      }
    }
  }

  const RenderPlan* plan_ = nullptr;
  TexelRing ring_;
  WarpFootprints footprints_;
  AxisWeights columns_, rows_;
  GrowBuffer<float> output_;
  size_t outputPitch_ = 0;
};

}  // namespace

std::unique_ptr<RenderRows> CreateWarpRows() {
  return std::unique_ptr<RenderRows>(new (std::nothrow) WarpRows);
}

}  // namespace qx
