// Which texels of the linear image make an output pixel: computed once for a geometry, read by all bands.
#pragma once

#include <vector>

#include "base/grow_buffer.h"
#include "develop/cpu/row_kernels.h"
#include "develop/geometry.h"
#include "platform/worker_pool.h"

namespace qx {

/// Texels of one axis that an output column or row is made of, with their weights. Positions may lie outside the image; the edge texel
/// stands for them.
struct BoxSpan {
  int first = 0, last = 0;
  int firstWeight = 0;  // index of the weight of `first`
  float inverseSum = 1;
};

/// Area weights of one axis without warp.
struct BoxAxis {
  std::vector<BoxSpan> spans;
  std::vector<float> weights;
  /// Every output takes exactly two whole texels inside the image, the first output those from `halfOrigin` on.
  bool isExactHalf = false;
  int halfOrigin = 0;
};

/// First and last row of the linear image that an output row needs.
struct RowRange {
  int first = 0, last = 0;
};

enum class RenderMode { kCopy, kBox, kWarp };

struct RenderPlan {
  DevelopGeometry geometry;
  RenderMode mode = RenderMode::kCopy;
  BoxAxis columns, rows;               // kBox
  std::vector<double> centreX, edgeX;  // kWarp: unwarped positions of the pixels' centres and of their left edges (one more)
  std::vector<RowRange> touchedRows;   // kWarp: rows that the footprints of an output row touch, also outside the image
  std::vector<RowRange> sourceRows;    // per output row, within the image

  /// Height of a ring that holds everything needed at once while the output rows firstRow … endRow − 1 are made in order from source rows
  /// that are made in order.
  int RingRows(int firstRow, int endRow) const;
  /// The lowest source row that the output rows firstRow … endRow − 1 need.
  int FirstSourceRow(int firstRow, int endRow) const;
};

/// Brings `plan` up to date with `geometry`; does nothing when it already is. False when memory is short.
[[nodiscard]] bool UpdateRenderPlan(const DevelopGeometry& geometry, WorkerPool* pool, RenderPlan* plan);

/// Footprints of one output row under the lens warp, in texel positions. One band's; one thread.
class WarpFootprints {
 public:
  /// Texels that a footprint reaches at most to either side of its centre; no lens comes near. Bounds the work for a broken warp.
  static double Reach(double scale) { return scale < 1 ? 4 : scale < kMostReach / 4 ? 4 * scale : kMostReach; }
  static constexpr int kMostReach = 64;

  [[nodiscard]] bool Reserve(const RenderPlan& plan);
  /// Cheapest for consecutive rows: the lower edges of a row are the upper edges of the next.
  void Compute(const RenderPlan& plan, int outputRow);

  const double* lowX() const { return Array(0); }
  const double* highX() const { return Array(1); }
  const double* lowY() const { return Array(2); }
  const double* highY() const { return Array(3); }

 private:
  double* Array(int i) { return buffer_.data() + size_t(i) * pitch_; }
  const double* Array(int i) const { return buffer_.data() + size_t(i) * pitch_; }
  void EdgeRow(const RenderPlan& plan, int edge, double* y);

  const RowKernels& kernels_ = GetRowKernels();
  GrowBuffer<double> buffer_;
  size_t pitch_ = 0;
  int lowerEdge_ = -1;  // which edge row the lower edges belong to
};

}  // namespace qx
