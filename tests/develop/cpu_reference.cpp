#include "cpu_reference.h"

#include <algorithm>
#include <cmath>

#include "ahd_reference.h"
#include "develop/cpu/row_stages.h"
#include "develop/gain_table.h"

namespace qx {

namespace {

constexpr int kRed = 0, kGreen = 1;

float SampleGain(const GainTable& gains, size_t phase, int x, int y, int w, int h) {
  return GainAt(gains.phase[phase], x, y, w, h);
}

uint16_t Rounded(int sum, int shift) {
  return sum <= 0 ? 0 : uint16_t(std::min((sum + (1 << (shift - 1))) >> shift, 65535));
}

struct Footprint {
  double lowX, highX, lowY, highY;
};

Footprint FootprintOf(const DevelopGeometry& g, int x, int y) {
  const auto warp = [&](double px, double py) { return g.warp.active ? ApplyLensWarp(g.warp, {px, py}) : Point{px, py}; };
  const double fx = std::max(g.scaleX(), 1.0), fy = std::max(g.scaleY(), 1.0);
  const double cx = g.cropX + (x + 0.5) * g.scaleX() - 0.5, cy = g.cropY + (y + 0.5) * g.scaleY() - 0.5;
  const Point s = warp(cx, cy);
  const double left = warp(cx - 0.5 * fx, cy).x, right = warp(cx + 0.5 * fx, cy).x;
  const double upper = warp(cx, cy - 0.5 * fy).y, lower = warp(cx, cy + 0.5 * fy).y;
  return {std::min({left, right, s.x - 0.5}), std::max({left, right, s.x + 0.5}), std::min({upper, lower, s.y - 0.5}),
          std::max({upper, lower, s.y + 0.5})};
}

double Weight(int i, double low, double high) {
  return std::max(std::min(i + 0.5, high) - std::max(i - 0.5, low), 0.0);
}

void AverageFootprint(const std::vector<double>& linear, const DevelopGeometry& g, const Footprint& f, double* out) {
  double sums[3] = {}, weightX = 0, weightY = 0;
  const int firstX = int(std::floor(f.lowX - 0.5)) + 1, lastX = int(std::ceil(f.highX + 0.5)) - 1;
  const int firstY = int(std::floor(f.lowY - 0.5)) + 1, lastY = int(std::ceil(f.highY + 0.5)) - 1;
  for (int i = firstX; i <= lastX; ++i) weightX += Weight(i, f.lowX, f.highX);
  for (int j = firstY; j <= lastY; ++j) {
    const double wy = Weight(j, f.lowY, f.highY);
    weightY += wy;
    for (int i = firstX; i <= lastX; ++i) {
      const int column = std::clamp(i, 0, g.activeWidth - 1), row = std::clamp(j, 0, g.activeHeight - 1);
      const double* texel = &linear[3 * (size_t(row) * size_t(g.activeWidth) + size_t(column))];
      for (int c = 0; c < 3; ++c) sums[c] += Weight(i, f.lowX, f.highX) * wy * texel[c];
    }
  }
  for (int c = 0; c < 3; ++c) out[c] = sums[c] / (weightX * weightY);
}

}  // namespace

std::vector<uint16_t> ReferenceMosaic(const DngInfo& camera, const std::vector<uint16_t>& samples, const DevelopParams& params) {
  const ColorState color = ComputeColorState(camera, params);
  const GainTable gains = BuildGainTable(camera, params.vignetteStrength);
  const int w = int(camera.activeRight - camera.activeLeft), h = int(camera.activeBottom - camera.activeTop);
  std::vector<uint16_t> mosaic;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const size_t phase = size_t(y & 1) * 2 + size_t(x & 1);
      uint16_t s = samples[(size_t(y) + camera.activeTop) * camera.width + size_t(x) + camera.activeLeft];
      if (!camera.linearization.empty()) s = camera.linearization[std::min<size_t>(s, camera.linearization.size() - 1)];
      float v = std::max((float(s) - camera.black[phase]) / (camera.white - camera.black[phase]), 0.0f);
      v *= SampleGain(gains, phase, x, y, w, h);
      v = std::min(v * color.whiteBalance[camera.cfa[phase]], 1.0f);
      mosaic.push_back(uint16_t(v * 65535 + 0.5f));
    }
  }
  return mosaic;
}

std::vector<uint16_t> ReferenceDebayer(const std::vector<uint16_t>& mosaic, int w, int h, const std::array<uint8_t, 4>& cfa,
                                       Demosaic method) {
  const auto q = [&](int x, int y) { return int(mosaic[size_t(MirrorIndex(y, h)) * size_t(w) + size_t(MirrorIndex(x, w))]); };
  const auto colorAt = [&](int x, int y) { return int(cfa[size_t(y & 1) * 2 + size_t(x & 1)]); };
  const bool bilinear = method == Demosaic::kBilinear;
  const int shift = bilinear ? 2 : 4;
  std::vector<uint16_t> rgb;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int c = q(x, y), own = colorAt(x, y);
      const int diagonal = q(x - 1, y - 1) + q(x + 1, y - 1) + q(x - 1, y + 1) + q(x + 1, y + 1);
      const int across = q(x - 1, y) + q(x + 1, y), down = q(x, y - 1) + q(x, y + 1);
      const int acrossFar = q(x - 2, y) + q(x + 2, y), downFar = q(x, y - 2) + q(x, y + 2);
      int sums[3];
      if (own == kGreen) {
        const int sh = bilinear ? 2 * across : 10 * c + 8 * across - 2 * acrossFar + downFar - 2 * diagonal;
        const int sv = bilinear ? 2 * down : 10 * c + 8 * down - 2 * downFar + acrossFar - 2 * diagonal;
        const bool redBeside = colorAt(x + 1, y) == kRed;
        sums[0] = redBeside ? sh : sv;
        sums[1] = (1 << shift) * c;
        sums[2] = redBeside ? sv : sh;
      } else {
        const int far = acrossFar + downFar;
        sums[own] = (1 << shift) * c;
        sums[1] = bilinear ? across + down : 8 * c + 4 * (across + down) - 2 * far;
        sums[2 - own] = bilinear ? diagonal : 12 * c + 4 * diagonal - 3 * far;
      }
      for (int sum : sums) rgb.push_back(Rounded(sum, shift));
    }
  }
  return rgb;
}

std::vector<double> ReferenceColor(const std::vector<uint16_t>& rgb, const ColorState& color) {
  std::vector<double> linear;
  for (size_t i = 0; i < rgb.size(); i += 3) {
    for (size_t row = 0; row < 9; row += 3) {
      double sum = 0;
      for (size_t c = 0; c < 3; ++c) sum += double(color.cameraToRec709[row + c]) * (rgb[i + c] / 65535.0);
      linear.push_back(std::max(sum * color.gain, 0.0));
    }
  }
  return linear;
}

std::vector<double> ReferenceRender(const std::vector<double>& linear, const DevelopGeometry& geometry) {
  std::vector<double> out(size_t(geometry.output.width) * size_t(geometry.output.height) * 3);
  double* next = out.data();
  for (int y = 0; y < geometry.output.height; ++y) {
    for (int x = 0; x < geometry.output.width; ++x, next += 3) AverageFootprint(linear, geometry, FootprintOf(geometry, x, y), next);
  }
  return out;
}

std::vector<uint16_t> ReferenceEncode(const std::vector<double>& rendered, const EncodingState& encoding) {
  const CurveBucket* table = encoding.profile == 0 ? nullptr : GetCurveTable(encoding.kind);
  std::vector<uint16_t> codes;
  for (size_t i = 0; i < rendered.size(); i += 3) {
    float rgb[3] = {float(rendered[i]), float(rendered[i + 1]), float(rendered[i + 2])};
    if (table == nullptr) {
      EncodePixel(encoding, rgb);
      for (float v : rgb) codes.push_back(uint16_t(std::clamp(v, 0.0f, 1.0f) * 65535 + 0.5f));
      continue;
    }
    for (size_t row = 0; row < 9; row += 3) {
      const float v = encoding.gamut[row] * rgb[0] + encoding.gamut[row + 1] * rgb[1] + encoding.gamut[row + 2] * rgb[2];
      codes.push_back(RoundTo16(CurveLookup(table, encoding.kind, v)));
    }
  }
  return codes;
}

ReferenceFrame ReferenceDevelop(const DngInfo& camera, const RectilinearWarp& warp, const std::vector<uint16_t>& samples,
                                const DevelopParams& params) {
  DevelopGeometry geometry;
  EncodingState encoding;
  if (!ComputeGeometry(camera, warp, params, &geometry) || !MakeEncoding(params.outputKind, params.lut, &encoding)) return {};
  const ColorState color = ComputeColorState(camera, params);
  encoding.white = color.gain;
  const int w = geometry.activeWidth, h = geometry.activeHeight;
  const auto mosaic = ReferenceMosaic(camera, samples, params);
  const bool ahd = params.demosaic == Demosaic::kAhd || params.demosaic == Demosaic::kAhdRefined;
  const auto rgb = ahd ? ReferenceAhd(mosaic, w, h, camera.cfa, color.labMatrix, params.demosaic == Demosaic::kAhdRefined)
                       : ReferenceDebayer(mosaic, w, h, camera.cfa, params.demosaic);
  ReferenceFrame frame;
  frame.size = geometry.output;
  frame.linear = ReferenceRender(ReferenceColor(rgb, color), geometry);
  frame.codes = ReferenceEncode(frame.linear, encoding);
  return frame;
}

}  // namespace qx
