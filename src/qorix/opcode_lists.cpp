// Gain maps and lens warp of a frame as DNG opcode lists (DNG 1.7, chapter 7; big-endian).
#include <algorithm>
#include <bit>
#include <cmath>

#include "base/checked.h"
#include "qorix/tag_inputs.h"

namespace qx {

namespace {

constexpr uint32_t kWarpRectilinear = 1, kGainMap = 9;
constexpr uint32_t kOptional = 1;
constexpr uint32_t kGainMapHeaderBytes = 76;
constexpr size_t kShadingHeaderBytes = 8;

class BigEndianWriter {
 public:
  void U32(uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out_.push_back(uint8_t(value >> shift));
  }
  void F64(double value) {
    const auto bits = std::bit_cast<uint64_t>(value);
    U32(uint32_t(bits >> 32));
    U32(uint32_t(bits));
  }
  void OpcodeHeader(uint32_t id, uint32_t parameterBytes) {
    U32(id);
    out_.insert(out_.end(), {1, 3, 0, 0});  // DNG version
    U32(kOptional);
    U32(parameterBytes);
  }
  std::vector<uint8_t> Take() { return std::move(out_); }

 private:
  std::vector<uint8_t> out_;
};

// Where each gain channel's phase begins, by pattern number.
constexpr uint8_t kPhaseTop[4][4] = {{0, 0, 1, 1}, {0, 0, 1, 1}, {1, 0, 1, 0}, {1, 0, 1, 0}};
constexpr uint8_t kPhaseLeft[4][4] = {{0, 1, 0, 1}, {1, 0, 1, 0}, {0, 0, 1, 1}, {1, 1, 0, 0}};

struct Warp {
  double kr[4] = {1, 0, 0, 0};
  double kt[2] = {0, 0};
  double centreX = 0, centreY = 0;  // pixels
};

// The camera's pinhole model with radial and tangential distortion, in frame pixels.
struct LensModel {
  float focal = 0, centreX = 0, centreY = 0;
  double d[5] = {};
  double width = 0, height = 0;

  // Where a point that is `zoom` times as far from the centre is seen.
  bool MapsInside(double px, double py, double zoom) const {
    const double x = (px - double(centreX)) * zoom / double(focal), y = (py - double(centreY)) * zoom / double(focal);
    const double r2 = x * x + y * y;
    const double radial = 1 + r2 * (d[0] + r2 * (d[1] + r2 * d[2]));
    const double mappedX = double(centreX) + double(focal) * (x * radial + d[3] * 2 * x * y + d[4] * (r2 + 2 * x * x));
    const double mappedY = double(centreY) + double(focal) * (y * radial + d[4] * 2 * x * y + d[3] * (r2 + 2 * y * y));
    return mappedX >= 0 && mappedX <= width && mappedY >= 0 && mappedY <= height;
  }

  // The largest zoom at which corners, edge midpoints and centre are seen inside the frame; 1 when there is none.
  double Zoom() const {
    for (int step = 0; 1.0 - 0.002 * step > 0.5; ++step) {
      const double zoom = 1.0 - 0.002 * step;
      bool inside = true;
      for (int i = 0; i < 9 && inside; ++i) inside = MapsInside(width * (i % 3) / 2, height * (i / 3) / 2, zoom);
      if (inside) return zoom;
    }
    return 1;
  }
};

std::optional<Warp> WarpFromIntrinsics(Bytes intrinsics, Bytes distortion, const FieldGeometry& field) {
  const float scale = float(field.fieldWidth) / float(std::max(field.fieldWidth0, 1));
  LensModel lens;
  lens.width = field.frameWidth;
  lens.height = field.frameHeight;
  lens.focal = LoadF32Le(intrinsics.data()) * scale;
  lens.centreX = LoadF32Le(intrinsics.data() + 8) * scale;
  lens.centreY = LoadF32Le(intrinsics.data() + 12) * scale;
  if (field.fieldDiffers()) {
    lens.centreX -= float((field.fieldWidth - field.frameWidth) / 2);
    lens.centreY -= float((field.fieldHeight - field.frameHeight) / 2);
  }
  for (size_t i = 0; i < 5; ++i) lens.d[i] = double(LoadF32Le(distortion.data() + 4 * i));
  const float reachX = std::max(lens.centreX, float(field.frameWidth) - lens.centreX);
  const float reachY = std::max(lens.centreY, float(field.frameHeight) - lens.centreY);
  const double ratio = double(std::sqrt(reachX * reachX + reachY * reachY) / lens.focal);
  if (!std::isfinite(ratio)) return std::nullopt;

  const double s = lens.Zoom();
  const double r2 = ratio * ratio, s2 = s * s;
  Warp warp;
  warp.kr[0] = s;
  warp.kr[1] = lens.d[0] * r2 * s * s2;
  warp.kr[2] = lens.d[1] * r2 * r2 * s * s2 * s2;
  warp.kr[3] = lens.d[2] * r2 * r2 * r2 * s * s2 * s2 * s2;
  warp.kt[0] = lens.d[3] * ratio * s2;
  warp.kt[1] = lens.d[4] * ratio * s2;
  warp.centreX = double(lens.centreX);
  warp.centreY = double(lens.centreY);
  return warp;
}

Warp WarpFromRadial(Bytes radial, const FieldGeometry& field) {
  const auto halfDiagonal = [](int32_t width, int32_t height) { return std::hypot(double(width / 2), double(height / 2)); };
  double g2 = 1;
  if (field.fieldDiffers()) {
    const double g = halfDiagonal(field.fieldWidth, field.fieldHeight) / halfDiagonal(field.frameWidth, field.frameHeight);
    g2 = g * g;
  }
  Warp warp;
  double power = g2, unit = std::sqrt(2.0);
  for (size_t i = 0; i < 4; ++i) {
    warp.kr[i] = double(LoadF32Le(radial.data() + 4 * i)) * power * unit;
    power *= g2;
    unit *= 2;
  }
  for (size_t i = 0; i < 2; ++i) warp.kt[i] = 2 * double(LoadF32Le(radial.data() + 16 + 4 * i)) * g2;
  warp.centreX = field.frameWidth / 2;
  warp.centreY = field.frameHeight / 2;
  return warp;
}

std::optional<Bytes> DynamicOrStatic(const TagInputs& inputs, Item dynamic, Item fixed) {
  constexpr size_t kFiveFloats = 20;
  const std::optional<Bytes> own = inputs.Dynamic(dynamic, kFiveFloats);
  return own ? own : inputs.Static(fixed, kFiveFloats);
}

std::optional<Warp> FindWarp(const TagInputs& inputs, const FieldGeometry& field, uint32_t white) {
  const std::optional<Bytes> intrinsics = DynamicOrStatic(inputs, Item::INTRINSICS, Item::STATIC_INTRINSICS);
  const std::optional<Bytes> distortion = DynamicOrStatic(inputs, Item::DISTORTION, Item::STATIC_DISTORTION);
  if (intrinsics && distortion) {
    if (white == 0 || field.frameWidth < 2 || field.frameHeight < 2) return std::nullopt;
    return WarpFromIntrinsics(*intrinsics, *distortion, field);
  }
  const std::optional<Bytes> radial = inputs.Dynamic(Item::RADIAL_DISTORTION, 24);
  if (!radial || field.frameWidth < 2 || field.frameHeight < 2) return std::nullopt;
  return WarpFromRadial(*radial, field);
}

double CentreFraction(double centre, int32_t size) {
  if (centre == 0) centre = size / 2.0;
  return std::clamp(centre / (size - 1), 0.0, 1.0);
}

}  // namespace

std::vector<uint8_t> MakeGainMapList(Bytes shadingMap, const FieldGeometry& field, int32_t pattern) {
  if (shadingMap.size() < kShadingHeaderBytes) return {};
  const uint32_t columns = LoadU16Le(shadingMap.data()), rows = LoadU16Le(shadingMap.data() + 2);
  const uint64_t points = uint64_t(columns) * rows;
  if (columns < 2 || rows < 2 || shadingMap.size() < points * 16 + kShadingHeaderBytes) return {};
  BigEndianWriter out;
  out.U32(4);
  for (size_t channel = 0; channel < 4; ++channel) {
    const uint32_t top = kPhaseTop[pattern][channel], left = kPhaseLeft[pattern][channel];
    out.OpcodeHeader(kGainMap, uint32_t(points * 4 + kGainMapHeaderBytes));
    for (const uint32_t value :
         {top, left, uint32_t(field.fieldHeight) - top, uint32_t(field.fieldWidth) - left, 0u, 1u, 2u, 2u, rows, columns})
      out.U32(value);
    const double height = field.frameHeight, width = field.frameWidth;
    out.F64(field.fieldHeight / double(rows - 1) / height);
    out.F64(field.fieldWidth / double(columns - 1) / width);
    out.F64(-0.5 * (field.fieldHeight - height) / height);
    out.F64(-0.5 * (field.fieldWidth - width) / width);
    out.U32(1);
    for (uint64_t point = 0; point < points; ++point)
      out.U32(LoadU32Le(shadingMap.data() + kShadingHeaderBytes + point * 16 + channel * 4));
  }
  return out.Take();
}

std::vector<uint8_t> MakeLensWarpList(const TagInputs& inputs, const FieldGeometry& field, uint32_t white) {
  if (const auto corrected = inputs.Static(Item::DISTORTION_CORR, 1); corrected && (*corrected)[0] == 0) return {};
  const std::optional<Warp> warp = FindWarp(inputs, field, white);
  if (!warp) return {};
  BigEndianWriter out;
  out.U32(1);
  out.OpcodeHeader(kWarpRectilinear, 68);
  out.U32(1);
  out.F64(warp->kr[0] != 0 ? warp->kr[0] : 1);
  for (size_t i = 1; i < 4; ++i) out.F64(warp->kr[i]);
  for (const double kt : warp->kt) out.F64(kt);
  out.F64(CentreFraction(warp->centreX, field.frameWidth));
  out.F64(CentreFraction(warp->centreY, field.frameHeight));
  return out.Take();
}

}  // namespace qx
