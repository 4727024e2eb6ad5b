#include <algorithm>
#include <bit>

#include "develop/cpu/row_kernels.h"
#include "develop/cpu/vector_limits.h"

namespace qx::plain {

namespace {

struct Rgb {
  float r, g, b;
};

float Dot(const float* row, const Rgb& c) {
  return row[0] * c.r + row[1] * c.g + row[2] * c.b;
}

Rgb ThroughMatrix(const float* matrix, const Rgb& c) {
  return matrix == nullptr ? c : Rgb{Dot(matrix, c), Dot(matrix + 3, c), Dot(matrix + 6, c)};
}

// 0 … 65535.
float CurveValue(const CurveView& curve, float value) {
  const float x = AtMost(AtLeast(value, 0), curve.largest);
  const int32_t pieceWidth = 1 << curve.shift;
  const int32_t distance = std::max(std::bit_cast<int32_t>(x) - curve.firstBits, -pieceWidth);
  const float start = std::bit_cast<float>((distance & -pieceWidth) + curve.firstBits);
  const CurveBucket& piece = curve.pieces[distance >> curve.shift];
  return AtMost(AtLeast(piece.base + piece.slope * (x - start), 0), 65535);
}

uint16_t CurveCode(const CurveView& curve, float value) {
  return uint16_t(CurveValue(curve, value) + 0.5f);
}
uint16_t LinearCode(float value) {
  return uint16_t(AtMost(AtLeast(value, 0), 1) * 65535 + 0.5f);
}

struct LutPosition {
  int32_t index;
  float fraction;
};

LutPosition Locate(const WideLut& lut, size_t channel, float value) {
  const float last = float(lut.size - 1);
  const float position = (value - lut.domainMin[channel]) / (lut.domainMax[channel] - lut.domainMin[channel]) * last;
  const float limited = AtMost(AtLeast(position, 0), last);
  const int32_t index = std::min(int32_t(limited), lut.size - 2);
  return {index, limited - float(index)};
}

}  // namespace

void EncodeCurve(const LinearRow& in, const float* gamut, const CurveView& curve, uint16_t* rgb, int n) {
  for (int x = 0; x < n; ++x) {
    const Rgb c = ThroughMatrix(gamut, {in.r[x], in.g[x], in.b[x]});
    rgb[3 * x] = CurveCode(curve, c.r);
    rgb[3 * x + 1] = CurveCode(curve, c.g);
    rgb[3 * x + 2] = CurveCode(curve, c.b);
  }
}

void ApplyCurve(const float* in, const CurveView& curve, float* out, int n) {
  for (int x = 0; x < n; ++x) out[x] = CurveValue(curve, in[x]) * (1.0f / 65535);
}

// Tetrahedral: the walk from the cell's low corner to its high one takes the axes in the order of their fractions. The comparisons decide
// ties as ApplyLut does.
void EncodeLut(const LinearRow& in, const WideLut& lut, uint16_t* rgb, int n) {
  const int32_t red = 1, green = lut.size, blue = lut.size * lut.size;
  for (int x = 0; x < n; ++x, rgb += 3) {
    const LutPosition r = Locate(lut, 0, in.r[x]), g = Locate(lut, 1, in.g[x]), b = Locate(lut, 2, in.b[x]);
    const float fr = r.fraction, fg = g.fraction, fb = b.fraction;
    const bool redFirst = fr > fg;
    const int32_t largest = redFirst ? (fg > fb || fr > fb ? red : blue) : (fb > fg ? blue : green);
    const int32_t smallest = redFirst ? (fg > fb ? blue : green) : (fb > fg || fb > fr ? red : blue);
    const float top = std::max({fr, fg, fb}), bottom = std::min({fr, fg, fb});
    const float middle = std::max(std::min(fr, fg), std::min(std::max(fr, fg), fb));

    const int32_t low = r.index * red + g.index * green + b.index * blue, high = low + red + green + blue;
    const float* corners[4] = {lut.entries + 4 * low, lut.entries + 4 * (low + largest), lut.entries + 4 * (high - smallest),
                               lut.entries + 4 * high};
    const float weights[4] = {1 - top, top - middle, middle - bottom, bottom};
    for (int c = 0; c < 3; ++c) {
      const float value = corners[0][c] * weights[0] + corners[1][c] * weights[1] + corners[2][c] * weights[2] + corners[3][c] * weights[3];
      rgb[c] = LinearCode(value);
    }
  }
}

void EncodeLinear(const LinearRow& in, const float* gamut, uint16_t* rgb, int n) {
  for (int x = 0; x < n; ++x) {
    const Rgb c = ThroughMatrix(gamut, {in.r[x], in.g[x], in.b[x]});
    rgb[3 * x] = LinearCode(c.r);
    rgb[3 * x + 1] = LinearCode(c.g);
    rgb[3 * x + 2] = LinearCode(c.b);
  }
}

}  // namespace qx::plain
