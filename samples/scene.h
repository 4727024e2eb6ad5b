// The synthetic scene of demo recordings, tests and benchmarks: what a phone's sensor would see of a moving landscape.
#pragma once

#include <cstdint>
#include <vector>

namespace qx {

/// One frame as an RGGB mosaic of width × height samples, top row first: a balloon drifting over hills under a cloudy evening sky, a colour
/// chart in the lower left corner, vignetting, and shot and read noise as a small sensor has them. Samples are linear, from `black` to
/// 2^bits − 1 (8 to 16 bits). The scene moves with `frameIndex` (it is made for 24 to 30 frames a second); `seed` changes the noise alone.
/// The same arguments give the same frame on every machine with the same compiler settings.
std::vector<uint16_t> MakeNoisyMosaic(int width, int height, int bits, int black, uint32_t seed, int frameIndex);

/// White balance of that sensor: what neutral grey reads as, green being 1.
inline constexpr double kSceneNeutral[3] = {0.50, 1.0, 0.62};
/// What the lens loses: the light at a distance r from the centre is 1 − kSceneVignetting × r², r being 1 in the corners.
inline constexpr double kSceneVignetting = 0.45;

}  // namespace qx
