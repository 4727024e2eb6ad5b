// Small RAW frames with a phone camera's description, for both development paths.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "develop/cube_lut.h"
#include "media/raw_frame.h"

namespace qx {

/// Colours (0 red, 1 green, 2 blue) of the phases (0,0), (0,1), (1,0), (1,1).
constexpr std::array<uint8_t, 4> kBayerPatterns[] = {{0, 1, 1, 2}, {2, 1, 1, 0}, {1, 0, 2, 1}, {1, 2, 0, 1}};

/// Levels 64 … 1023, daylight, whole sensor.
DngInfo MakePhoneCamera(int width, int height);
/// Blocks of different brightness with noise; some samples lie below black and above white.
std::vector<uint16_t> MakeSceneSamples(const DngInfo& camera, uint32_t seed);
GainMap MakeSceneGainMap(uint32_t top, uint32_t left, uint32_t bottom, uint32_t right, uint32_t pitch, float lift);
RectilinearWarp MakeSceneWarp(double k0, double k1, double t0);
/// A 1-D table of nine entries and a 3-D one of 5³, neither the identity.
std::unique_ptr<CubeLut> MakeSceneLut(bool with1D, bool with3D);

/// A frame that hands out `samples` as 16-bit values.
struct SceneRaw : RawFrame {
  SceneRaw(const DngInfo& camera, const RectilinearWarp& frameWarp, const std::vector<uint16_t>& values);
};

}  // namespace qx
