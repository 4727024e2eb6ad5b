// The render pass: crop, area-weighted resampling and lens warp, from linear rows to output rows.
#pragma once

#include <memory>

#include "develop/cpu/linear_rows.h"
#include "develop/cpu/render_plan.h"

namespace qx {

/// Makes the output rows of one band in increasing order. One thread.
class RenderRows {
 public:
  virtual ~RenderRows() = default;
  /// Prepares for the output rows firstRow … endRow − 1. `plan` and `linear` must outlive the frame; `linear` has to begin at
  /// plan.FirstSourceRow(firstRow, endRow). False when memory is short.
  [[nodiscard]] virtual bool Begin(const RenderPlan& plan, LinearRows* linear, int firstRow, int endRow) = 0;
  /// Output row y, valid until the next call.
  virtual LinearRow Row(int y) = 0;
};

/// For all geometries of one mode. Null when memory is short.
std::unique_ptr<RenderRows> CreateRenderRows(RenderMode mode);
/// What CreateRenderRows gives for kWarp.
std::unique_ptr<RenderRows> CreateWarpRows();

}  // namespace qx
