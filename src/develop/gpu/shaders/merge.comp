// The refined integer image to the linear image.
// In:  uMed the integer image.   Out: the linear image.   Prefix: LINFMT.
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
#include "linear_image.glsl"
uniform usampler2D uMed;

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  storeLinear(p, ivec3(texelFetch(uMed, p, 0).rgb));
}
