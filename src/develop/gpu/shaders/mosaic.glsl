// The active area: its size, its colour filter array, and how it continues beyond its edges.
//   uActSize  width, height in pixels
//   uCfa      colour of phases (0,0), (0,1), (1,0), (1,1): 0 red, 1 green, 2 blue
uniform ivec2 uActSize;
uniform ivec4 uCfa;

bool outside(ivec2 p) {
  return p.x >= uActSize.x || p.y >= uActSize.y;
}

// Reflects at the edges without repeating them. Tiles that reach far over the edge ask for more than is mirrored; any texel will do there.
ivec2 mirrored(ivec2 p) {
  ivec2 last = uActSize - 1;
  p = abs(p);
  p = last - abs(last - p);
  return clamp(p, ivec2(0), last);
}

int colorAt(ivec2 p) {
  return uCfa[(p.y & 1) * 2 + (p.x & 1)];
}

int clamp16(int v) {
  return clamp(v, 0, 65535);
}
