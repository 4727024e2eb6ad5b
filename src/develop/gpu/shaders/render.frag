// The render pass: crop, area-weighted resampling and lens warp of the linear image, then the output encoding.
// In:  uLin the linear image, row 0 the top; encoding.glsl's textures.   Out: one encoded colour, drawn top row first.
//   uCrop      x, y of the crop in the linear image; size of the crop / size of the output, both axes
//   uAA        width, height of the linear image
//   uVp        x, y of the viewport
//   uCopy      1: the crop has the output's size and there is no warp
//   uFs        texels that an output pixel covers, at least 1, both axes
//   uWarp      1: lens warp
//     uWarpKr    radial coefficients k0 … k3 (k0 only through uWarpGeom)
//     uWarpKtC   tangential coefficients t0, t1; centre x, y in pixels
//     uWarpGeom  R, 1 / R, k0 − 1; R is the distance from the centre to the farthest corner
//   uReach     texels that a warped footprint reaches at most to either side of its centre
precision highp float;
precision highp int;
#include "precision.glsl"
#include "encoding.glsl"
uniform sampler2D uLin;
uniform vec4 uCrop;
uniform ivec2 uAA, uVp;
uniform int uCopy, uWarp;
uniform vec4 uFs;
uniform vec4 uWarpKr, uWarpKtC, uWarpGeom;
uniform vec4 uReach;
out vec4 fragColor;

vec3 texelAt(ivec2 p) {
  return texelFetch(uLin, clamp(p, ivec2(0), uAA - 1), 0).rgb;
}

// How far the point p moves.
vec2 displacement(vec2 p) {
  if (uWarp == 0) return vec2(0.0);
  vec2 n = (p - uWarpKtC.zw) * uWarpGeom.y;
  float r2 = min(n.x * n.x + n.y * n.y, 1.0);
  float radial = uWarpGeom.z + r2 * (uWarpKr.y + r2 * (uWarpKr.z + r2 * uWarpKr.w));
  float t0 = uWarpKtC.x, t1 = uWarpKtC.y;
  vec2 tangential = vec2(t1 * (r2 + 2.0 * n.x * n.x) + 2.0 * t0 * n.x * n.y, t0 * (r2 + 2.0 * n.y * n.y) + 2.0 * t1 * n.x * n.y);
  return uWarpGeom.x * (n * radial + tangential);
}

// One axis of a footprint, bounded so that no warp, however wild, makes the loops long: at most `reach` to either side of the centre, which
// lies at most as far outside the image (`first` … `end`). What is not a number counts as far left.
vec2 span(float centre, float one, float other, float reach, float first, float end) {
  float c = centre > first - reach ? min(centre, end + reach) : first - reach;
  float low = min(c - 0.5, min(one, other)), high = max(c + 0.5, max(one, other));
  return vec2(low > c - reach ? low : c - reach, high < c + reach ? high : c + reach);
}

float weight(int i, vec2 range) {
  return max(min(float(i) + 0.5, range.y) - max(float(i) - 0.5, range.x), 0.0);
}

// Positions count from the texel under the unwarped centre: in floats that count from the corner, a position in a 4K image would be no
// better than 1/4000 of a texel, which shows in the lowest bits of steep edges.
vec3 resampled(vec2 pixel) {
  vec2 centre = uCrop.xy + (pixel + 0.5) * uCrop.zw - 0.5;
  ivec2 base = ivec2(floor(centre));
  vec2 from = centre - vec2(base), s = from + displacement(centre), first = -vec2(base), end = vec2(uAA - base);
  vec2 toSide = vec2(0.5 * uFs.x, 0.0), toRow = vec2(0.0, 0.5 * uFs.y);
  float left = (from - toSide + displacement(centre - toSide)).x, right = (from + toSide + displacement(centre + toSide)).x;
  float above = (from - toRow + displacement(centre - toRow)).y, below = (from + toRow + displacement(centre + toRow)).y;
  vec2 x = span(s.x, left, right, uReach.x, first.x, end.x), y = span(s.y, above, below, uReach.y, first.y, end.y);
  int firstColumn = int(floor(x.x - 0.5)) + 1, lastColumn = int(ceil(x.y + 0.5)) - 1;
  int firstRow = int(floor(y.x - 0.5)) + 1, lastRow = int(ceil(y.y + 0.5)) - 1;
  vec3 sum = vec3(0.0);
  float columnWeights = 0.0, rowWeights = 0.0;
  for (int i = firstColumn; i <= lastColumn; ++i) columnWeights += weight(i, x);
  for (int j = firstRow; j <= lastRow; ++j) {
    float rowWeight = weight(j, y);
    if (rowWeight == 0.0) continue;
    rowWeights += rowWeight;
    for (int i = firstColumn; i <= lastColumn; ++i) sum += weight(i, x) * rowWeight * texelAt(base + ivec2(i, j));
  }
  return sum / (columnWeights * rowWeights);
}

void main() {
  ivec2 pixel = ivec2(gl_FragCoord.xy) - uVp;
  vec3 value = uCopy != 0 ? texelAt(ivec2(uCrop.xy) + pixel) : resampled(vec2(pixel));
  fragColor = vec4(pcOut(value), 1.0);
}
