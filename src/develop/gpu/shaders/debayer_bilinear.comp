// Bilinear debayering.
// In:  uQ the mosaic.   Out: the linear image.   Prefix: LINFMT.
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
#include "linear_image.glsl"
uniform usampler2D uQ;

int q(ivec2 p, int dx, int dy) {
  return int(texelFetch(uQ, mirrored(p + ivec2(dx, dy)), 0).r);
}

int rounded(int sum) {
  return min((sum + 2) >> 2, 65535);
}

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  int c = q(p, 0, 0), own = colorAt(p);
  int across = q(p, -1, 0) + q(p, 1, 0), down = q(p, 0, -1) + q(p, 0, 1);
  ivec3 rgb;
  if (own == 1) {
    int horizontal = rounded(2 * across), vertical = rounded(2 * down);
    bool redBeside = colorAt(p + ivec2(1, 0)) == 0;
    rgb = redBeside ? ivec3(horizontal, c, vertical) : ivec3(vertical, c, horizontal);
  } else {
    int green = rounded(across + down), opposite = rounded(q(p, -1, -1) + q(p, 1, -1) + q(p, -1, 1) + q(p, 1, 1));
    rgb = own == 0 ? ivec3(c, green, opposite) : ivec3(opposite, green, c);
  }
  storeLinear(p, rgb);
}
