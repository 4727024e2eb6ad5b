// Refinement, first pass of an iteration: red and blue from the medians of their differences to green.
// In:  uMed the integer image.   Out: image 0 red | green << 16, image 1 blue.
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
#include "median.glsl"
layout(r32ui, binding = 0) writeonly uniform uimage2D uOutRg;
layout(r32ui, binding = 1) writeonly uniform uimage2D uOutB;
uniform usampler2D uMed;

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  int dr[9], db[9];
  ivec3 centre;
  for (int i = 0; i < 9; ++i) {
    ivec3 rgb = ivec3(texelFetch(uMed, mirrored(p + ivec2(i % 3 - 1, i / 3 - 1)), 0).rgb);
    dr[i] = rgb.r - rgb.g;
    db[i] = rgb.b - rgb.g;
    if (i == 4) centre = rgb;
  }
  int own = colorAt(p);
  int red = own == 0 ? centre.r : clamp16(med9(dr) + centre.g);
  int blue = own == 2 ? centre.b : clamp16(med9(db) + centre.g);
  imageStore(uOutRg, p, uvec4(uint(red) | uint(centre.g) << 16, 0u, 0u, 0u));
  imageStore(uOutB, p, uvec4(uint(blue), 0u, 0u, 0u));
}
