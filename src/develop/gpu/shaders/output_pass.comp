// The output pass: a rendered slot to the packed bytes of a pixel format.
// In:  uIn the slot, row 0 the top.   Out: buffer 1, 32-bit words.
//   uW, uH   size of the slot
//   uF       0 16-bit RGB, 1 BGRA 8-bit, 2 BGRA 16-bit, 3 BGRA float, 5 UYVY, 6 v210, 7 VUYA float
//   uQ       1: reduced 2 × 2 (uF 1, 2, 3 only)
//   uCount   invocations that have something to do
#include "precision.glsl"
layout(std430, binding = 1) writeonly buffer Packed {
  uint px[];
};
uniform sampler2D uIn;
uniform int uW, uH, uF, uQ, uCount;

vec3 atf(int x, int y) {
  return texelFetch(uIn, ivec2(x, y), 0).rgb;
}

ivec3 at(int x, int y) {
  return ivec3(clamp(atf(x, y), 0.0, 1.0) * 65535.0 + 0.5);
}

int c8(int v) {
  return (v * 255 + 32767) / 65535;
}
uint c16(int v) {
  return (uint(v) * 32768u + 32767u) / 65535u;
}

// Rec.709 luma.
int luma16(ivec3 c) {
  return int((13933u * uint(c.r) + 46871u * uint(c.g) + 4732u * uint(c.b) + 32768u) >> 16);
}

void storeBgra8(int pixel, ivec3 c) {
  px[pixel] = uint(c8(c.b) | c8(c.g) << 8 | c8(c.r) << 16) | 255u << 24;
}

void storeBgra16(int pixel, ivec3 c) {
  px[2 * pixel] = c16(c.b) | c16(c.g) << 16;
  px[2 * pixel + 1] = c16(c.r) | 32768u << 16;
}

void storeFloats(int pixel, vec3 c) {
  px[4 * pixel] = floatBitsToUint(c.x);
  px[4 * pixel + 1] = floatBitsToUint(c.y);
  px[4 * pixel + 2] = floatBitsToUint(c.z);
  px[4 * pixel + 3] = floatBitsToUint(1.0);
}

void storeVuya(int pixel, ivec3 c) {
  vec3 f = vec3(c) / 65535.0;
  float y = 0.2126 * f.r + 0.7152 * f.g + 0.0722 * f.b;
  storeFloats(pixel, vec3((f.r - y) * 0.63500127, (f.b - y) * 0.53890925, y));
}

void storeUyvy(int word, ivec3 a, ivec3 b) {
  ivec3 a12 = a >> 4, b12 = b >> 4, m = (a12 + b12 + 1) >> 1;
  int ym = luma16(m);
  int y0 = (luma16(a12) * 219 + 65520 + 2047) / 4095, y1 = (luma16(b12) * 219 + 65520 + 2047) / 4095;
  int u = clamp(((m.b - ym) * 30911 + 134742016) >> 20, 0, 255), v = clamp(((m.r - ym) * 36423 + 134742016) >> 20, 0, 255);
  px[word] = uint(u | y0 << 8 | v << 16) | uint(y1) << 24;
}

int y10(ivec3 c) {
  return clamp((luma16(c) * 876 + 4194240 + 32767) / 65535, 4, 1019);
}

// Blue and red difference of two pixels.
ivec2 chroma10(ivec3 a, ivec3 b) {
  ivec3 m = (a + b + 1) >> 1;
  int ym = luma16(m);
  return clamp(ivec2((m.b - ym) * 7726 + 537395200, (m.r - ym) * 9104 + 537395200) >> 20, 4, 1019);
}

int v210Groups() {
  return (uW + 47) / 48 * 8;
}

void storeV210(int group) {
  int first = group % v210Groups() * 6, y = group / v210Groups(), word = 4 * group;
  if (first >= uW) {
    for (int i = 0; i < 4; ++i) px[word + i] = 0u;
    return;
  }
  ivec3 p[6];
  for (int i = 0; i < 6; ++i) p[i] = at(min(first + i, uW - 1), y);
  ivec2 c0 = chroma10(p[0], p[1]), c2 = chroma10(p[2], p[3]), c4 = chroma10(p[4], p[5]);
  px[word] = uint(c0.x | y10(p[0]) << 10 | c0.y << 20);
  px[word + 1] = uint(y10(p[1]) | c2.x << 10 | y10(p[2]) << 20);
  px[word + 2] = uint(c2.y | y10(p[3]) << 10 | c4.x << 20);
  px[word + 3] = uint(y10(p[4]) | c4.y << 10 | y10(p[5]) << 20);
}

void storePair(int x, int y) {
  ivec3 a = at(x, y), b = at(x + 1, y);
  int pixel = (uH - 1 - y) * uW + x;  // bottom row first
  if (uF == 0) {
    int word = 3 * ((y * uW + x) / 2);
    px[word] = uint(a.r) | uint(a.g) << 16;
    px[word + 1] = uint(a.b) | uint(b.r) << 16;
    px[word + 2] = uint(b.g) | uint(b.b) << 16;
  } else if (uF == 1) {
    storeBgra8(pixel, a);
    storeBgra8(pixel + 1, b);
  } else if (uF == 2) {
    storeBgra16(pixel, a);
    storeBgra16(pixel + 1, b);
  } else if (uF == 3) {
    storeFloats(pixel, atf(x, y).bgr);
    storeFloats(pixel + 1, atf(x + 1, y).bgr);
  } else if (uF == 5) {
    storeUyvy((y * uW + x) / 2, a, b);
  } else if (uF == 7) {
    storeVuya(pixel, a);
    storeVuya(pixel + 1, b);
  }
}

void storeReduced(int x, int y) {
  int pixel = (uH / 2 - 1 - y) * (uW / 2) + x, fromX = 2 * x, fromY = 2 * y;
  if (uF == 3) {
    vec3 sum = atf(fromX, fromY) + atf(fromX + 1, fromY) + atf(fromX, fromY + 1) + atf(fromX + 1, fromY + 1);
    storeFloats(pixel, sum.bgr * 0.25);
    return;
  }
  ivec3 mean = (at(fromX, fromY) + at(fromX + 1, fromY) + at(fromX, fromY + 1) + at(fromX + 1, fromY + 1) + 2) >> 2;
  if (uF == 1) {
    storeBgra8(pixel, mean);
  } else {
    storeBgra16(pixel, mean);
  }
}

void main() {
  // Long lists are dispatched in rows of groups: drivers limit the groups along one side.
  uint group = gl_WorkGroupID.y * gl_NumWorkGroups.x + gl_WorkGroupID.x;
  int i = int(group * 64u + gl_LocalInvocationID.x);
  if (i >= uCount) return;
  int perRow = uW / 2;
  if (uF == 6) {
    storeV210(i);
  } else if (uQ != 0) {
    storeReduced(i % perRow, i / perRow);
  } else {
    storePair(i % perRow * 2, i / perRow);
  }
}
