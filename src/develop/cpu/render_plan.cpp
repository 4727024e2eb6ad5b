#include "develop/cpu/render_plan.h"

#include <algorithm>
#include <cmath>

namespace qx {

namespace {

bool SameWarp(const LensWarp& a, const LensWarp& b) {
  return a.active == b.active && std::equal(a.k, a.k + 4, b.k) && std::equal(a.t, a.t + 2, b.t) && a.centreX == b.centreX &&
         a.centreY == b.centreY && a.radius == b.radius;
}

bool SameGeometry(const DevelopGeometry& a, const DevelopGeometry& b) {
  return a.activeWidth == b.activeWidth && a.activeHeight == b.activeHeight && a.cropX == b.cropX && a.cropY == b.cropY &&
         a.cropWidth == b.cropWidth && a.cropHeight == b.cropHeight && a.output == b.output && SameWarp(a.warp, b.warp);
}

int FirstTexel(double low) {
  return int(std::floor(low - 0.5)) + 1;
}
int LastTexel(double high) {
  return int(std::ceil(high + 0.5)) - 1;
}

RowRange Limited(int first, int last, int height) {
  return {std::clamp(first, 0, height - 1), std::clamp(last, 0, height - 1)};
}

// The output pixel covers `scale` texels around its centre, never less than one.
BoxAxis MakeBoxAxis(double origin, double scale, int outputs, int texels) {
  BoxAxis axis;
  axis.spans.reserve(size_t(outputs));
  const double reach = 0.5 * std::max(scale, 1.0);
  for (int i = 0; i < outputs; ++i) {
    const double centre = origin + (i + 0.5) * scale - 0.5;
    const double low = centre - reach, high = centre + reach;
    BoxSpan span;
    span.first = FirstTexel(low);
    span.last = LastTexel(high);
    span.firstWeight = int(axis.weights.size());
    double sum = 0;
    for (int t = span.first; t <= span.last; ++t) {
      const double weight = std::max(std::min(t + 0.5, high) - std::max(t - 0.5, low), 0.0);
      axis.weights.push_back(float(weight));
      sum += weight;
    }
    span.inverseSum = float(1 / sum);
    axis.spans.push_back(span);
  }
  axis.halfOrigin = axis.spans[0].first;
  axis.isExactHalf = scale == 2 && origin == axis.halfOrigin && axis.halfOrigin >= 0 && axis.halfOrigin + 2 * outputs <= texels;
  return axis;
}

void PlanBox(RenderPlan* plan) {
  const DevelopGeometry& g = plan->geometry;
  plan->columns = MakeBoxAxis(g.cropX, g.scaleX(), g.output.width, g.activeWidth);
  plan->rows = MakeBoxAxis(g.cropY, g.scaleY(), g.output.height, g.activeHeight);
  for (const BoxSpan& span : plan->rows.spans) plan->sourceRows.push_back(Limited(span.first, span.last, g.activeHeight));
}

void PlanCopy(RenderPlan* plan) {
  const DevelopGeometry& g = plan->geometry;
  for (int y = 0; y < g.output.height; ++y) plan->sourceRows.push_back(Limited(int(g.cropY) + y, int(g.cropY) + y, g.activeHeight));
}

bool PlanWarpRows(RenderPlan* plan, int firstRow, int endRow) {
  const DevelopGeometry& g = plan->geometry;
  WarpFootprints footprints;
  if (!footprints.Reserve(*plan)) return false;
  for (int y = firstRow; y < endRow; ++y) {
    footprints.Compute(*plan, y);
    const double low = *std::min_element(footprints.lowY(), footprints.lowY() + g.output.width);
    const double high = *std::max_element(footprints.highY(), footprints.highY() + g.output.width);
    plan->touchedRows[size_t(y)] = {FirstTexel(low), LastTexel(high)};
    plan->sourceRows[size_t(y)] = Limited(FirstTexel(low), LastTexel(high), g.activeHeight);
  }
  return true;
}

bool PlanWarp(RenderPlan* plan, WorkerPool* pool) {
  const DevelopGeometry& g = plan->geometry;
  for (int x = 0; x < g.output.width; ++x) plan->centreX.push_back(g.cropX + (x + 0.5) * g.scaleX() - 0.5);
  for (int x = 0; x <= g.output.width; ++x) plan->edgeX.push_back(g.cropX + x * g.scaleX() - 0.5);
  plan->sourceRows.resize(size_t(g.output.height));
  plan->touchedRows.resize(size_t(g.output.height));
  const int parts = worker_pool_threads(pool) + 1;
  return RunParts(pool, parts, [&](int part) {
           const auto row = [&](int p) { return int(int64_t(g.output.height) * p / parts); };
           return PlanWarpRows(plan, row(part), row(part + 1)) ? 0 : -1;
         }) == 0;
}

}  // namespace

int RenderPlan::FirstSourceRow(int firstRow, int endRow) const {
  int first = sourceRows[size_t(firstRow)].first;
  for (int y = firstRow; y < endRow; ++y) first = std::min(first, sourceRows[size_t(y)].first);
  return first;
}

int RenderPlan::RingRows(int firstRow, int endRow) const {
  // While an output row is made, the ring reaches from the lowest row that it or a later row needs to the highest that it or an earlier one
  // needed.
  int ring = 1, highest = 0;
  for (int y = firstRow; y < endRow; ++y) {
    highest = std::max(highest, sourceRows[size_t(y)].last);
    ring = std::max(ring, highest - sourceRows[size_t(y)].first + 1);
  }
  return ring;
}

bool UpdateRenderPlan(const DevelopGeometry& geometry, WorkerPool* pool, RenderPlan* plan) {
  if (!plan->sourceRows.empty() && SameGeometry(plan->geometry, geometry)) return true;
  *plan = {};
  plan->geometry = geometry;
  plan->mode = geometry.warp.active ? RenderMode::kWarp : geometry.isCopy() ? RenderMode::kCopy : RenderMode::kBox;
  if (plan->mode == RenderMode::kWarp) {
    if (PlanWarp(plan, pool)) return true;
    *plan = {};
    return false;
  }
  if (plan->mode == RenderMode::kBox) {
    PlanBox(plan);
  } else {
    PlanCopy(plan);
  }
  return true;
}

bool WarpFootprints::Reserve(const RenderPlan& plan) {
  pitch_ = (size_t(plan.geometry.output.width) + 1 + 7) & ~size_t(7);
  lowerEdge_ = -1;
  return buffer_.Reserve(9 * pitch_);
}

void WarpFootprints::Compute(const RenderPlan& plan, int outputRow) {
  const DevelopGeometry& g = plan.geometry;
  const int n = g.output.width;
  double *lowX = Array(0), *highX = Array(1), *lowY = Array(2), *highY = Array(3);
  double *centreX = Array(4), *centreY = Array(5), *edgeX = Array(6), *upper = Array(7), *lower = Array(8);

  const double y = g.cropY + (outputRow + 0.5) * g.scaleY() - 0.5;
  kernels_.warpPoints(g.warp, plan.centreX.data(), y, centreX, centreY, n);
  kernels_.warpPoints(g.warp, plan.edgeX.data(), y, edgeX, nullptr, n + 1);
  if (lowerEdge_ == outputRow) {
    std::copy(lower, lower + n, upper);
  } else {
    EdgeRow(plan, outputRow, upper);
  }
  EdgeRow(plan, outputRow + 1, lower);
  lowerEdge_ = outputRow + 1;
  kernels_.footprints(centreX, edgeX, edgeX + 1, Reach(g.scaleX()), g.activeWidth, lowX, highX, n);
  kernels_.footprints(centreY, upper, lower, Reach(g.scaleY()), g.activeHeight, lowY, highY, n);
}

// The warped y of the points above row `edge` (below row `edge` − 1).
void WarpFootprints::EdgeRow(const RenderPlan& plan, int edge, double* y) {
  const DevelopGeometry& g = plan.geometry;
  kernels_.warpPoints(g.warp, plan.centreX.data(), g.cropY + edge * g.scaleY() - 0.5, nullptr, y, g.output.width);
}

}  // namespace qx
