// AHD's full colour of one direction. The including pass defines
//   int q(ivec2 p)          the mosaic
//   int green(ivec2 p, int d)   the directional green, d 0 horizontal, 1 vertical
// for the positions around p.

// The colour difference to green of two neighbours, put on the green value at p.
int acrossGreen(ivec2 p, ivec2 step, int d) {
  return clamp16(q(p) + ((q(p - step) + q(p + step) - green(p - step, d) - green(p + step, d)) >> 1));
}

ivec3 ahdColor(ivec2 p, int d) {
  int own = colorAt(p), c = q(p);
  if (own == 1) {
    int h = acrossGreen(p, ivec2(1, 0), d), v = acrossGreen(p, ivec2(0, 1), d);
    return colorAt(p + ivec2(1, 0)) == 0 ? ivec3(h, c, v) : ivec3(v, c, h);
  }
  int gc = green(p, d), sum = 0;
  for (int i = 0; i < 4; ++i) {
    ivec2 diagonal = p + ivec2((i & 1) * 2 - 1, (i & 2) - 1);
    sum += q(diagonal) - green(diagonal, d);
  }
  int opposite = clamp16(gc + ((sum + 1) >> 2));
  return own == 0 ? ivec3(c, gc, opposite) : ivec3(opposite, gc, c);
}
