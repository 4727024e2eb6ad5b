// RAW samples to the normalised mosaic: linearise, subtract black, scale to white, gain maps, white balance, clip.
// In:  buffer 0 the RAW bytes, buffer 1 the linearisation table (two entries a word, the even one low), uGainTex the gain points.
// Out: image 0, one 16-bit value a texel.
//   uBase, uRowBytes     first byte of the image, bytes from row to row
//   uBps, uBigEndian     bits a sample; byte order of 16-bit samples (other widths run from the most significant bit)
//   uActive              left, top of the active area in the sensor
//   uBlack[phase], uWhite   levels in samples
//   uNlin                entries of the linearisation table, 0 for none
//   uHasGain             gain maps: per phase
//     uGainGeom[phase]     spacing V, spacing H, origin V, origin H, in fractions of the active area
//     uGainPts[phase]      points H, points V
//     uGainArea[phase]     top, left, bottom, right within the active area, the last two exclusive; the gain is 1 outside
//   uAA                  width, height of the active area, as the gain maps measure it
//   uZero                0, which the compiler does not know
//   uWb                  white-balance multipliers of red, green, blue
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
layout(std430, binding = 0) readonly buffer Raw {
  uint raw[];
};
layout(std430, binding = 1) readonly buffer Linearization {
  uint table[];
};
layout(r32ui, binding = 0) writeonly uniform uimage2D uOut;
uniform sampler2D uGainTex;
uniform uint uBase, uRowBytes, uBps;
uniform int uBigEndian;
uniform ivec2 uActive;
uniform vec4 uBlack;
uniform float uWhite;
uniform int uNlin, uHasGain;
uniform vec4 uGainGeom[4];
uniform ivec4 uGainPts[4];
uniform ivec4 uGainArea[4];
uniform ivec2 uAA;
uniform uint uZero;
uniform vec3 uWb;

uint byteAt(uint offset) {
  return raw[offset >> 2] >> ((offset & 3u) * 8u) & 255u;
}

uint sampleAt(uint x, uint y) {
  uint row = uBase + y * uRowBytes;
  if (uBps == 16u) {
    uint low = byteAt(row + 2u * x), high = byteAt(row + 2u * x + 1u);
    return uBigEndian != 0 ? low << 8 | high : high << 8 | low;
  }
  if (uBps == 8u) return byteAt(row + x);
  uint bit = x * uBps, first = row + (bit >> 3);
  uint three = byteAt(first) << 16 | byteAt(first + 1u) << 8 | byteAt(first + 2u);
  return three >> (24u - (bit & 7u) - uBps) & ((1u << uBps) - 1u);
}

uint linearized(uint s) {
  if (uNlin == 0) return s;
  uint i = min(s, uint(uNlin - 1));
  return table[i >> 1] >> ((i & 1u) * 16u) & 65535u;
}

// a / b, rounded as the processor rounds it. Drivers may divide by multiplying with a reciprocal, which misses the last bit now and then;
// one miss here can turn the direction that AHD picks.
float divided(float a, float b) {
  float q = a / b;
  if (!(q > 0.0 && q < 3.0e38)) return q;
  // The remainders of q and of its neighbours, without rounding: b and q in halves of 12 bits, so that all products are exact.
  float bHigh = uintBitsToFloat(floatBitsToUint(b) & 0xfffff000u), bLow = b - bHigh;
  float best = q, bestError = 0.0;
  for (int step = -1; step <= 1; ++step) {
    float candidate = uintBitsToFloat(floatBitsToUint(q) + uint(step));
    float high = uintBitsToFloat(floatBitsToUint(candidate) & 0xfffff000u), low = candidate - high;
    float error = abs(((a - high * bHigh) - (high * bLow + low * bHigh)) - low * bLow);
    if (step == -1 || error < bestError) {
      best = candidate;
      bestError = error;
    }
  }
  return best;
}

// Position of a pixel among the points of one axis. What is not a number counts as 0.
float pointPosition(int pixel, int side, float origin, float spacing, int points) {
  float position = divided(divided(float(pixel) + 0.5, float(side)) - origin, spacing);
  return position > 0.0 ? min(position, float(points - 1)) : 0.0;
}

// From a to b, each operation rounded by itself as the processor does it. Drivers may fuse a product with the sum behind it, which moves a
// few hundred samples of a frame by one; through the integers they cannot.
float between(float a, float b, float t) {
  return a + uintBitsToFloat(floatBitsToUint((b - a) * t) ^ uZero);
}

float gainPoint(int phase, int column, int row) {
  return texelFetch(uGainTex, ivec2(column, row), 0)[phase];
}

float gainAt(int phase, ivec2 p) {
  ivec4 area = uGainArea[phase];
  if (p.y < area.x || p.x < area.y || p.y >= area.z || p.x >= area.w) return 1.0;
  vec4 geometry = uGainGeom[phase];
  ivec2 points = uGainPts[phase].xy;
  float fy = pointPosition(p.y, uAA.y, geometry.z, geometry.x, points.y);
  float fx = pointPosition(p.x, uAA.x, geometry.w, geometry.y, points.x);
  int top = int(fy), left = int(fx);
  int bottom = min(top + 1, points.y - 1), right = min(left + 1, points.x - 1);
  float above = between(gainPoint(phase, left, top), gainPoint(phase, right, top), fx - float(left));
  float below = between(gainPoint(phase, left, bottom), gainPoint(phase, right, bottom), fx - float(left));
  return between(above, below, fy - float(top));
}

// Also turns what is not a number into 0.
float notNegative(float v) {
  return v > 0.0 ? v : 0.0;
}

void main() {
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  int phase = (p.y & 1) * 2 + (p.x & 1);
  float s = float(linearized(sampleAt(uint(uActive.x + p.x), uint(uActive.y + p.y))));
  // A white level that does not lie above black leaves nothing to scale: the frame is black.
  float range = uWhite - uBlack[phase];
  float v = range > 0.0 ? notNegative(divided(s - uBlack[phase], range)) : 0.0;
  if (uHasGain != 0) v *= gainAt(phase, p);
  v = min(notNegative(v * uWb[uCfa[phase]]), 1.0);
  imageStore(uOut, p, uvec4(uint(v * 65535.0 + 0.5), 0u, 0u, 0u));
}
