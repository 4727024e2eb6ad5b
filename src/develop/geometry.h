// Sizes and positions: the active area, the crop, the three output sizes, the lens warp in pixels.
#pragma once

#include <cstdint>

#include "develop/develop_params.h"
#include "media/dng_info.h"

namespace qx {

struct Size {
  int32_t width = 0, height = 0;
  bool operator==(const Size&) const = default;
};

/// Full, half and quarter output size of a clip; a size that is not offered is 0 × 0.
struct OutputSizes {
  Size full, half, quarter;
};
OutputSizes ComputeOutputSizes(const DngInfo& camera, int32_t widthAlign);

/// Rectilinear warp in pixels of the active area, after the warp strength was applied. `r2` below is limited to 1.
struct LensWarp {
  bool active = false;
  double k[4] = {1, 0, 0, 0};
  double t[2] = {0, 0};
  double centreX = 0, centreY = 0;       // pixels (texel-index positions)
  double radius = 0, inverseRadius = 0;  // distance from the centre to the farthest corner
};

struct Point {
  double x = 0, y = 0;
};
/// Where the output point `p` (pixels of the active area) is found in the distorted image.
Point ApplyLensWarp(const LensWarp& warp, Point p);

/// Everything about positions that is fixed for a frame at one output size.
struct DevelopGeometry {
  int32_t activeLeft = 0, activeTop = 0;      // sensor pixels
  int32_t activeWidth = 0, activeHeight = 0;  // size of the linear image
  /// The crop within the linear image (after width alignment), in linear-image pixels.
  double cropX = 0, cropY = 0, cropWidth = 0, cropHeight = 0;
  Size output;
  LensWarp warp;

  double scaleX() const { return cropWidth / output.width; }
  double scaleY() const { return cropHeight / output.height; }
  /// No resampling: the crop is exactly the output size and the warp is off.
  bool isCopy() const { return cropWidth == output.width && cropHeight == output.height && !warp.active; }
};

/// Geometry of a full-size (`scaleCode` 0) or half-size (2) session. `warp` is the frame's warp (the camera's or the one that the frame
/// reader completed). False when the frame cannot be developed: active area outside the image or smaller than 8 × 8, or an empty crop.
[[nodiscard]] bool ComputeGeometry(const DngInfo& camera, const RectilinearWarp& warp, const DevelopParams& params,
                                   DevelopGeometry* geometry);

}  // namespace qx
