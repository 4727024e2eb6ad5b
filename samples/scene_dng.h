// Frames of the synthetic scene as DNGs, the way a camera app writes them: packed or lossless JPEG, in one strip, strips or tiles, with the
// colour, gain map and lens tags that describe the scene.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "samples/dng_writer.h"

namespace qx {

struct SceneDngOptions {
  int width = 1920, height = 1080;            // samples, 16 … 16384
  int bits = 12;                              // 8, 10, 12, 14 or 16
  std::array<uint8_t, 4> cfa = {0, 1, 1, 2};  // a Bayer pattern: red 0, green 1, blue 2; (0,0), (0,1), (1,0), (1,1)
  uint32_t seed = 1;                          // of the noise
  bool bigEndian = false;
  int flashFrame = -1;  // is white all over; -1: none

  // Coding.
  bool losslessJpeg = false;
  int predictor = 1;                  // 1 … 7
  int components = 2;                 // 2: each JPEG line has two components of half the width, as cameras do it; 1: one of the whole width
  int stripRows = 0;                  // 0: one strip
  int tileWidth = 0, tileLength = 0;  // not 0: tiles instead of strips

  // Tags.
  bool colorTags = true;
  double baselineExposure = 0;  // stops
  bool gainMap = false;         // undoes the scene's vignetting
  bool warp = false;            // a lens correction (the scene itself is not distorted)
  /// The warp carries kr3 and the tangential terms in every k-th frame only, the last of each k; 1: in every frame, 0: in none.
  int fullWarpEvery = 1;
  std::optional<std::array<uint32_t, 4>> activeArea;  // top, left, bottom, right
  std::optional<std::array<double, 4>> crop;          // origin x, y, width, height, within the active area
  std::string reelName;
};

/// Black level of the frames, in samples: a 64th of the range.
constexpr int SceneBlack(int bits) {
  return 1 << (bits - 6);
}

/// The reason why no frame can be made so, or an empty text.
std::string CheckSceneDng(const SceneDngOptions& options);

/// Everything but the picture of frame `frameIndex`. Callers add time codes and the like.
DngDescription DescribeSceneFrame(const SceneDngOptions& options, int frameIndex);

/// The samples of frame `frameIndex`, width × height, top row first.
std::vector<uint16_t> SceneSamples(const SceneDngOptions& options, int frameIndex);

/// A DNG of `samples` (width × height) as the options and the description say. Any thread.
std::vector<uint8_t> EncodeSceneDng(const SceneDngOptions& options, const DngDescription& description,
                                    const std::vector<uint16_t>& samples);

}  // namespace qx
