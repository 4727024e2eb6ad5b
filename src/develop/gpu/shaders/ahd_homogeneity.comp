// AHD, second pass: how many of a pixel's four neighbours look alike, for each direction of interpolation.
// In:  uQ the mosaic, uG the directional greens, buffer 2 the Lab tables (3 × 65536), uA camera RGB to XYZ in units of 1/1024.
// Out: image 0, horizontal | vertical << 8.
// A tile of 16 × 8 pixels needs Lab one pixel around it and the mosaic two pixels around it; both are kept in shared memory.
#include "precision.glsl"
#include "images.glsl"
#include "mosaic.glsl"
layout(std430, binding = 2) readonly buffer Lab {
  int lab[];
};
layout(r32ui, binding = 0) writeonly uniform uimage2D uOut;
uniform usampler2D uQ, uG;
uniform int uA[9];

const ivec2 kTile = ivec2(16, 8);
const ivec2 kLoaded = ivec2(20, 12);
const ivec2 kColored = ivec2(18, 10);
const int kThreads = 128;
shared uint sharedQ[240];
shared uint sharedG[240];
shared ivec3 sharedLab[360];

ivec2 tileOrigin() {
  return ivec2(gl_WorkGroupID.xy) * kTile;
}

int loadedIndex(ivec2 p) {
  ivec2 at = p - tileOrigin() + 2;
  return at.y * kLoaded.x + at.x;
}

int q(ivec2 p) {
  return int(sharedQ[loadedIndex(p)]);
}
int green(ivec2 p, int d) {
  return int(sharedG[loadedIndex(p)] >> (16 * d) & 65535u);
}
#include "ahd_color.glsl"

int xyz(int row, ivec3 rgb) {
  int sum = uA[3 * row] * rgb.r + uA[3 * row + 1] * rgb.g + uA[3 * row + 2] * rgb.b + 512;
  return sum <= 0 ? 0 : min(sum >> 10, 65535);
}

ivec3 toLab(ivec3 rgb) {
  int x = xyz(0, rgb), y = xyz(1, rgb), z = xyz(2, rgb);
  return ivec3(lab[y] - 1024, lab[65536 + x] - lab[65536 + y], lab[131072 + y] - lab[131072 + z]);
}

// `at` counts from the tile's origin.
ivec3 labAt(ivec2 at, int d) {
  return sharedLab[2 * ((at.y + 1) * kColored.x + at.x + 1) + d];
}

// Differences in lightness and, squared, in colour to the neighbours left, right, above, below. The squares can pass 2^31.
void differences(ivec2 at, int d, out uvec4 lightness, out uvec4 color) {
  ivec3 here = labAt(at, d);
  for (int i = 0; i < 4; ++i) {
    ivec2 step = i < 2 ? ivec2(2 * i - 1, 0) : ivec2(0, 2 * i - 5);
    ivec3 difference = abs(labAt(at + step, d) - here);
    lightness[i] = uint(difference.x);
    color[i] = uint(difference.y) * uint(difference.y) + uint(difference.z) * uint(difference.z);
  }
}

uint alike(uvec4 lightness, uvec4 color, uint mostLightness, uint mostColor) {
  uint count = 0u;
  for (int i = 0; i < 4; ++i) count += lightness[i] <= mostLightness && color[i] <= mostColor ? 1u : 0u;
  return count;
}

void main() {
  int thread = int(gl_LocalInvocationIndex);
  for (int i = thread; i < 240; i += kThreads) {
    ivec2 from = mirrored(tileOrigin() - 2 + ivec2(i % kLoaded.x, i / kLoaded.x));
    sharedQ[i] = texelFetch(uQ, from, 0).r;
    sharedG[i] = texelFetch(uG, from, 0).r;
  }
  barrier();
  for (int i = thread; i < 360; i += kThreads) {
    int position = i >> 1;
    ivec2 p = tileOrigin() - 1 + ivec2(position % kColored.x, position / kColored.x);
    sharedLab[i] = toLab(ahdColor(p, i & 1));
  }
  barrier();
  ivec2 p = ivec2(gl_GlobalInvocationID.xy);
  if (outside(p)) return;
  uvec4 lightness[2], color[2];
  for (int d = 0; d < 2; ++d) differences(ivec2(gl_LocalInvocationID.xy), d, lightness[d], color[d]);
  uint mostLightness = min(max(lightness[0].x, lightness[0].y), max(lightness[1].z, lightness[1].w));
  uint mostColor = min(max(color[0].x, color[0].y), max(color[1].z, color[1].w));
  uint horizontal = alike(lightness[0], color[0], mostLightness, mostColor);
  uint vertical = alike(lightness[1], color[1], mostLightness, mostColor);
  imageStore(uOut, p, uvec4(horizontal | vertical << 8, 0u, 0u, 0u));
}
