// AHD, third pass: each pixel takes the direction with the more homogeneous 3 × 3 neighbourhood, or the mean of both.
// In:  uQ the mosaic, uG the directional greens, uH the homogeneity.
// Out: the linear image (prefix LINFMT), or with the prefix AHD_INT image 0 of integers, for refinement.
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
#ifdef AHD_INT
layout(rgba16ui, binding = 0) writeonly uniform uimage2D uOut;
#else
#include "linear_image.glsl"
#endif
uniform usampler2D uQ, uG, uH;

int q(ivec2 p) {
  return int(texelFetch(uQ, mirrored(p), 0).r);
}
int green(ivec2 p, int d) {
  return int(texelFetch(uG, mirrored(p), 0).r >> (16 * d) & 65535u);
}
#include "ahd_color.glsl"

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  uint sums = 0u;  // both directions at once: at most 36 each
  for (int dy = -1; dy <= 1; ++dy) {
    for (int dx = -1; dx <= 1; ++dx) sums += texelFetch(uH, mirrored(p + ivec2(dx, dy)), 0).r;
  }
  uint horizontal = sums & 255u, vertical = sums >> 8;
  ivec3 rgb;
  if (horizontal > vertical) {
    rgb = ahdColor(p, 0);
  } else if (vertical > horizontal) {
    rgb = ahdColor(p, 1);
  } else {
    rgb = (ahdColor(p, 0) + ahdColor(p, 1)) >> 1;
  }
#ifdef AHD_INT
  imageStore(uOut, p, uvec4(uvec3(rgb), 0u));
#else
  storeLinear(p, rgb);
#endif
}
