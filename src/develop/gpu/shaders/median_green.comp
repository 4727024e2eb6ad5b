// Refinement, second pass of an iteration: green from the medians of its differences to red and blue.
// In:  uMrg red | green << 16, uMb blue.   Out: image 0, the integer image.
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
#include "median.glsl"
layout(rgba16ui, binding = 0) writeonly uniform uimage2D uOut;
uniform usampler2D uMrg, uMb;

ivec3 rgbAt(ivec2 p) {
  ivec2 at = mirrored(p);
  uint rg = texelFetch(uMrg, at, 0).r;
  return ivec3(int(rg & 65535u), int(rg >> 16), int(texelFetch(uMb, at, 0).r));
}

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  ivec3 rgb = rgbAt(p);
  if (colorAt(p) != 1) {
    int dr[9], db[9];
    for (int i = 0; i < 9; ++i) {
      ivec3 near = rgbAt(p + ivec2(i % 3 - 1, i / 3 - 1));
      dr[i] = near.g - near.r;
      db[i] = near.g - near.b;
    }
    rgb.g = clamp16((med9(dr) + rgb.r + med9(db) + rgb.b) >> 1);
  }
  imageStore(uOut, p, uvec4(uvec3(rgb), 0u));
}
