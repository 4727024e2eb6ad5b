// AHD, first pass: green interpolated horizontally and vertically (Hirakawa and Parks, 2005).
// In:  uQ the mosaic.   Out: image 0, horizontal | vertical << 16.
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
layout(r32ui, binding = 0) writeonly uniform uimage2D uOut;
uniform usampler2D uQ;

int q(ivec2 p) {
  return int(texelFetch(uQ, mirrored(p), 0).r);
}

int greenAlong(ivec2 p, ivec2 step) {
  int c = q(p), a = q(p - step), b = q(p + step);
  int v4 = 2 * (a + c + b) - q(p - 2 * step) - q(p + 2 * step);
  int low = min(a, b);
  return v4 < 4 * low ? low : min(v4 >> 2, max(a, b));
}

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  bool isGreen = colorAt(p) == 1;
  int horizontal = isGreen ? q(p) : greenAlong(p, ivec2(1, 0));
  int vertical = isGreen ? horizontal : greenAlong(p, ivec2(0, 1));
  imageStore(uOut, p, uvec4(uint(horizontal) | uint(vertical) << 16, 0u, 0u, 0u));
}
