#include "develop/geometry.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace qx {

namespace {

// Debayering reads up to two pixels around each pixel, mirrored at the borders.
constexpr int32_t kSmallestActiveSide = 8;
constexpr int32_t kHalfFitWidth = 1920, kHalfFitHeight = 1080;

// The camera's crop before width alignment. The origin is relative to the active area.
struct NativeCrop {
  int32_t x = 0, y = 0;
  Size size;
};

// A side after alignment and the columns that were removed on its left.
struct AlignedWidth {
  int32_t width = 0, left = 0;
};

bool ActiveAreaIsUsable(const DngInfo& camera) {
  if (camera.width > INT32_MAX || camera.height > INT32_MAX) return false;
  if (camera.activeRight > camera.width || camera.activeBottom > camera.height) return false;
  if (camera.activeLeft >= camera.activeRight || camera.activeTop >= camera.activeBottom) return false;
  return camera.activeRight - camera.activeLeft >= kSmallestActiveSide && camera.activeBottom - camera.activeTop >= kSmallestActiveSide;
}

// The integer part; 0 for what is negative or not a number, INT32_MAX for what does not fit.
int32_t IntegerPart(float value) {
  if (!(value > 0)) return 0;
  return value >= 2147483648.0f ? INT32_MAX : int32_t(value);
}

// One axis of the crop: `size` limited to what the image has left behind the origin, then even.
int32_t LimitedSide(int32_t size, int64_t absoluteOrigin, int64_t imageSide) {
  return int32_t(std::clamp<int64_t>(imageSide - absoluteOrigin, 0, size)) & ~1;
}

// Absent when the active area is unusable or nothing of the crop lies within the image.
std::optional<NativeCrop> FindNativeCrop(const DngInfo& camera) {
  if (!ActiveAreaIsUsable(camera)) return std::nullopt;
  NativeCrop crop;
  crop.x = IntegerPart(camera.cropX);
  crop.y = IntegerPart(camera.cropY);
  crop.size.width = LimitedSide(IntegerPart(camera.cropWidth), int64_t(camera.activeLeft) + crop.x, camera.width);
  crop.size.height = LimitedSide(IntegerPart(camera.cropHeight), int64_t(camera.activeTop) + crop.y, camera.height);
  if (crop.size.width == 0 || crop.size.height == 0) return std::nullopt;
  return crop;
}

AlignedWidth AlignWidth(int32_t width, int32_t align) {
  if (align <= 1) return {width, 0};
  const int32_t removed = width % align;
  return {width - removed, removed / 2};
}

int32_t FittedSide(double scale, int32_t side) {
  const int32_t fitted = 2 * int32_t(std::floor(scale * side / 2 + 0.5));
  return fitted < 3 ? 2 : fitted;
}

// `native` scaled into 1920 × 1080 when it is larger, before width alignment.
Size FitForHalf(Size native) {
  if (native.width <= kHalfFitWidth && native.height <= kHalfFitHeight) return native;
  const double scale = std::min(double(kHalfFitWidth) / native.width, double(kHalfFitHeight) / native.height);
  return {FittedSide(scale, native.width), FittedSide(scale, native.height)};
}

OutputSizes SizesOf(Size native, int32_t widthAlign) {
  OutputSizes sizes;
  sizes.full = {AlignWidth(native.width, widthAlign).width, native.height};
  if (sizes.full.width == 0) return {};
  const Size fitted = FitForHalf(native);
  const Size half = {AlignWidth(fitted.width, widthAlign).width, fitted.height};
  const bool exactlyHalf = 2 * int64_t(half.width) == sizes.full.width && 2 * int64_t(half.height) == sizes.full.height;
  if (sizes.full.height <= kHalfFitHeight || !exactlyHalf) return sizes;
  sizes.half = half;
  if (half.width % 2 == 0 && half.height % 2 == 0) sizes.quarter = {half.width / 2, half.height / 2};
  return sizes;
}

LensWarp WarpInPixels(const RectilinearWarp& warp, double strength, int32_t width, int32_t height) {
  LensWarp result;
  if (!warp.valid || warp.planes == 0 || !(strength > 0)) return result;
  const double s = std::min(strength, 1.0);
  const RectilinearWarp::Plane& plane = warp.plane[0];
  for (int i = 0; i < 4; ++i) result.k[i] = s < 1 ? s * plane.kr[i] : plane.kr[i];
  for (int i = 0; i < 2; ++i) result.t[i] = s < 1 ? s * plane.kt[i] : plane.kt[i];
  if (s < 1) result.k[0] = 1 + s * (plane.kr[0] - 1);

  const bool isIdentity =
      result.k[0] == 1 && result.k[1] == 0 && result.k[2] == 0 && result.k[3] == 0 && result.t[0] == 0 && result.t[1] == 0;
  if (isIdentity) return {};
  result.active = true;
  result.centreX = warp.centreX * width;
  result.centreY = warp.centreY * height;
  result.radius = std::hypot(std::max(result.centreX, width - result.centreX), std::max(result.centreY, height - result.centreY));
  result.inverseRadius = result.radius > 0 ? 1 / result.radius : 0;
  return result;
}

}  // namespace

OutputSizes ComputeOutputSizes(const DngInfo& camera, int32_t widthAlign) {
  const auto native = FindNativeCrop(camera);
  return native ? SizesOf(native->size, widthAlign) : OutputSizes{};
}

bool ComputeGeometry(const DngInfo& camera, const RectilinearWarp& warp, const DevelopParams& params, DevelopGeometry* geometry) {
  const auto native = FindNativeCrop(camera);
  if (!native) return false;
  const OutputSizes sizes = SizesOf(native->size, params.widthAlign);
  const bool half = params.scaleCode == 2;
  const Size output = half ? sizes.half : sizes.full;
  if (output.width == 0) return false;

  // The alignment removes columns of the output; each of them covers `columnWidth` columns of the linear image.
  const Size unaligned = half ? FitForHalf(native->size) : native->size;
  const double columnWidth = double(native->size.width) / unaligned.width;

  DevelopGeometry result;
  result.activeLeft = int32_t(camera.activeLeft);
  result.activeTop = int32_t(camera.activeTop);
  result.activeWidth = int32_t(camera.activeRight - camera.activeLeft);
  result.activeHeight = int32_t(camera.activeBottom - camera.activeTop);
  result.cropX = native->x + columnWidth * AlignWidth(unaligned.width, params.widthAlign).left;
  result.cropY = native->y;
  result.cropWidth = columnWidth * output.width;
  result.cropHeight = native->size.height;
  result.output = output;
  result.warp = WarpInPixels(warp, params.warpStrength, result.activeWidth, result.activeHeight);
  *geometry = result;
  return true;
}

Point ApplyLensWarp(const LensWarp& warp, Point p) {
  const double nx = (p.x - warp.centreX) * warp.inverseRadius, ny = (p.y - warp.centreY) * warp.inverseRadius;
  const double r2 = std::min(nx * nx + ny * ny, 1.0);
  const double radial = warp.k[0] + r2 * (warp.k[1] + r2 * (warp.k[2] + r2 * warp.k[3]));
  const double tangentialX = warp.t[1] * (r2 + 2 * nx * nx) + warp.t[0] * 2 * nx * ny;
  const double tangentialY = warp.t[0] * (r2 + 2 * ny * ny) + warp.t[1] * 2 * nx * ny;
  return {warp.centreX + warp.radius * (nx * radial + tangentialX), warp.centreY + warp.radius * (ny * radial + tangentialY)};
}

}  // namespace qx
