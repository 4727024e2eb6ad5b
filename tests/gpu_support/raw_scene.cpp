#include "tests/gpu_support/raw_scene.h"

#include <random>

namespace qx {

DngInfo MakePhoneCamera(int width, int height) {
  DngInfo camera;
  camera.width = uint32_t(width);
  camera.height = uint32_t(height);
  camera.bitsPerSample = 16;
  camera.photometric = 32803;
  camera.activeRight = camera.width;
  camera.activeBottom = camera.height;
  camera.cropWidth = float(width);
  camera.cropHeight = float(height);
  camera.black = {64, 64, 64, 64};
  camera.white = 1023;
  camera.hasColorMatrix1 = true;
  camera.colorMatrix1.m[0][0] = 0.9, camera.colorMatrix1.m[0][1] = -0.3, camera.colorMatrix1.m[0][2] = -0.1;
  camera.colorMatrix1.m[1][0] = -0.4, camera.colorMatrix1.m[1][1] = 1.3, camera.colorMatrix1.m[1][2] = 0.1;
  camera.colorMatrix1.m[2][0] = -0.05, camera.colorMatrix1.m[2][1] = 0.2, camera.colorMatrix1.m[2][2] = 0.6;
  camera.calibrationIlluminant1 = 21;
  camera.hasAsShotNeutral = true;
  camera.asShotNeutral = {0.5, 1, 0.62};
  return camera;
}

std::vector<uint16_t> MakeSceneSamples(const DngInfo& camera, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<uint16_t> samples;
  for (uint32_t y = 0; y < camera.height; ++y) {
    for (uint32_t x = 0; x < camera.width; ++x) {
      const uint32_t base = (x / 7 * 97 + y / 5 * 61) % 1000, noise = random() % 90;
      samples.push_back(uint16_t(random() % 50 == 0 ? 1500 : base + noise));
    }
  }
  return samples;
}

GainMap MakeSceneGainMap(uint32_t top, uint32_t left, uint32_t bottom, uint32_t right, uint32_t pitch, float lift) {
  GainMap map;
  map.top = top, map.left = left, map.bottom = bottom, map.right = right;
  map.rowPitch = map.colPitch = pitch;
  map.planes = map.mapPlanes = 1;
  map.pointsV = 4, map.pointsH = 5;
  map.spacingV = 1.0 / 3, map.spacingH = 0.25;
  for (int i = 0; i < 20; ++i) map.gains.push_back(1 + lift * float(i % 7));
  return map;
}

RectilinearWarp MakeSceneWarp(double k0, double k1, double t0) {
  RectilinearWarp warp;
  warp.valid = true;
  warp.planes = 1;
  warp.plane[0].kr[0] = k0;
  warp.plane[0].kr[1] = k1;
  warp.plane[0].kt[0] = t0;
  warp.centreX = 0.52;
  warp.centreY = 0.47;
  return warp;
}

std::unique_ptr<CubeLut> MakeSceneLut(bool with1D, bool with3D) {
  auto lut = std::make_unique<CubeLut>();
  if (with3D && lut->table3D.Reserve(5 * 5 * 5 * 3)) {
    lut->size3D = 5;
    for (int i = 0; i < 125; ++i) {
      const float r = float(i % 5) / 4, g = float(i / 5 % 5) / 4, b = float(i / 25) / 4;
      lut->table3D[size_t(3 * i)] = r * r;
      lut->table3D[size_t(3 * i + 1)] = 0.8f * g + 0.2f * b;
      lut->table3D[size_t(3 * i + 2)] = 1.1f * b - 0.05f;
    }
  }
  if (with1D && lut->table1D.Reserve(27)) {
    lut->size1D = 9;
    for (int i = 0; i < 27; ++i) lut->table1D[size_t(i)] = float(i / 3) / 8 * (0.9f + 0.05f * float(i % 3));
  }
  lut->contentHash = 1 + uint32_t(with1D) + 2 * uint32_t(with3D);
  return lut;
}

SceneRaw::SceneRaw(const DngInfo& camera, const RectilinearWarp& frameWarp, const std::vector<uint16_t>& values) {
  described = &camera;
  samples = values.data();
  warpDecided = true;
  warp = frameWarp;
}

}  // namespace qx
