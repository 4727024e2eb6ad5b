#include <algorithm>
#include <cmath>

#include "develop/cpu/row_kernels.h"

namespace qx::plain {

namespace {

// The texels of one axis under a footprint, and the footprint relative to the first of them.
struct Texels {
  int first, count;
  float from, to;
};

Texels TexelsUnder(double low, double high) {
  const double first = std::floor(low - 0.5) + 1;
  return {int(first), int(std::ceil(high + 0.5) - first), float(low - first), float(high - first)};
}

float Weight(const Texels& t, int i) {
  return std::max(std::min(float(i) + 0.5f, t.to) - std::max(float(i) - 0.5f, t.from), 0.0f);
}

}  // namespace

void WarpPoints(const LensWarp& warp, const double* x, double y, double* outX, double* outY, int n) {
  for (int i = 0; i < n; ++i) {
    const Point p = ApplyLensWarp(warp, {x[i], y});
    if (outX != nullptr) outX[i] = p.x;
    if (outY != nullptr) outY[i] = p.y;
  }
}

void Footprints(const double* centre, const double* one, const double* other, double reach, int texels, double* low, double* high, int n) {
  for (int i = 0; i < n; ++i) {
    const double c = centre[i] > -reach ? std::min(centre[i], texels + reach) : -reach;
    low[i] = std::max(std::min({c - 0.5, one[i], other[i]}), c - reach);
    high[i] = std::min(std::max({c + 0.5, one[i], other[i]}), c + reach);
  }
}

void ToTexels(const LinearRow& in, float* texels, int n) {
  for (int x = 0; x < n; ++x, texels += kTexelFloats) {
    texels[0] = in.r[x];
    texels[1] = in.g[x];
    texels[2] = in.b[x];
    texels[3] = 0;
  }
}

// Even and odd columns are summed apart, as the vector version does, which takes two texels at a time. The weights of an axis add up to the
// footprint's width.
void AverageTexels(const FootprintAxis& x, const FootprintAxis& y, const TexelRows& texels, float* const out[3], int n) {
  for (int pixel = 0; pixel < n; ++pixel) {
    const Texels columns = TexelsUnder(x.low[pixel], x.high[pixel]), rows = TexelsUnder(y.low[pixel], y.high[pixel]);
    float sums[2][3] = {};
    for (int j = 0; j < rows.count; ++j) {
      const float* texel = texels.rows[rows.first + j - texels.firstRow] + kTexelFloats * columns.first;
      const float rowWeight = Weight(rows, j);
      for (int i = 0; i < columns.count; ++i, texel += kTexelFloats) {
        const float weight = Weight(columns, i) * rowWeight;
        for (int c = 0; c < 3; ++c) sums[i & 1][c] += weight * texel[c];
      }
    }
    const float scale = 1 / ((columns.to - columns.from) * (rows.to - rows.from));
    for (int c = 0; c < 3; ++c) out[c][pixel] = (sums[0][c] + sums[1][c]) * scale;
  }
}

}  // namespace qx::plain
