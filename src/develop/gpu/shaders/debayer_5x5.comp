// 5 × 5 gradient-corrected debayering (Malvar, He and Cutler, 2004, with integer weights in units of 1/16).
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
  return sum <= 0 ? 0 : min((sum + 8) >> 4, 65535);
}

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  int c = q(p, 0, 0), own = colorAt(p);
  int across = q(p, -1, 0) + q(p, 1, 0), down = q(p, 0, -1) + q(p, 0, 1);
  int farAcross = q(p, -2, 0) + q(p, 2, 0), farDown = q(p, 0, -2) + q(p, 0, 2);
  int diagonal = q(p, -1, -1) + q(p, 1, -1) + q(p, -1, 1) + q(p, 1, 1);
  ivec3 rgb;
  if (own == 1) {
    int both = 10 * c - 2 * diagonal;
    int horizontal = rounded(both + 8 * across - 2 * farAcross + farDown);
    int vertical = rounded(both + 8 * down - 2 * farDown + farAcross);
    bool redBeside = colorAt(p + ivec2(1, 0)) == 0;
    rgb = redBeside ? ivec3(horizontal, c, vertical) : ivec3(vertical, c, horizontal);
  } else {
    int far = farAcross + farDown;
    int green = rounded(8 * c + 4 * (across + down) - 2 * far), opposite = rounded(12 * c + 4 * diagonal - 3 * far);
    rgb = own == 0 ? ivec3(c, green, opposite) : ivec3(opposite, green, c);
  }
  storeLinear(p, rgb);
}
