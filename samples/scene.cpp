#include "samples/scene.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qx {

namespace {

struct Color {
  float r = 0, g = 0, b = 0;
};

Color operator*(Color c, float k) {
  return {c.r * k, c.g * k, c.b * k};
}
Color operator+(Color a, Color b) {
  return {a.r + b.r, a.g + b.g, a.b + b.b};
}
Color Mix(Color a, Color b, float t) {
  return a * (1 - t) + b * t;
}
float Lerp(float a, float b, float t) {
  return a + t * (b - a);
}
float Smooth(float from, float to, float x) {
  const float t = std::clamp((x - from) / (to - from), 0.0f, 1.0f);
  return t * t * (3 - 2 * t);
}

/// A well-mixed 64-bit value for a counter (splitmix64).
uint64_t Hash(uint64_t counter) {
  uint64_t z = counter + 0x9E3779B97F4A7C15u;
  z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
  z = (z ^ z >> 27) * 0x94D049BB133111EBu;
  return z ^ z >> 31;
}

/// std::floor for what fits an int, without the call.
float Floor(float x) {
  const float truncated = float(int(x));
  return truncated > x ? truncated - 1 : truncated;
}

/// Noise on a grid of whole numbers, smoothly interpolated, 0 … 1. Keeps the grid cell it is in: walks along a row stay there for long.
class ValueNoise {
 public:
  float At(float x, float y) {
    const float fx = Floor(x), fy = Floor(y);
    if (fx != cellX_ || fy != cellY_) EnterCell(fx, fy);
    const float tx = Smooth(0, 1, x - fx), ty = Smooth(0, 1, y - fy);
    return Lerp(Lerp(corners_[0], corners_[1], tx), Lerp(corners_[2], corners_[3], tx), ty);
  }

 private:
  void EnterCell(float fx, float fy) {
    cellX_ = fx;
    cellY_ = fy;
    for (int i = 0; i < 4; ++i) {
      const uint64_t cell = uint64_t(uint32_t(int(fx) + (i & 1))) << 32 | uint32_t(int(fy) + (i >> 1));
      corners_[i] = float(Hash(cell) >> 40) * 0x1p-24f;
    }
  }

  float cellX_ = -1e9f, cellY_ = 0;
  float corners_[4] = {};
};

/// Three octaves of it.
class CloudNoise {
 public:
  float At(float x, float y) {
    return 0.57f * octaves_[0].At(x, y) + 0.29f * octaves_[1].At(2 * x + 17, 2 * y) + 0.14f * octaves_[2].At(4 * x, 4 * y + 31);
  }

 private:
  ValueNoise octaves_[3];
};

/// Where the hills begin in one column of the picture.
struct Hills {
  float farTop = 0, nearTop = 0;
};
Hills HillsAt(float u) {
  return {0.56f + 0.05f * std::sin(2.1f * u + 0.5f) + 0.02f * std::sin(7.3f * u) + 0.006f * std::sin(31 * u),
          0.70f + 0.06f * std::sin(1.3f * u + 2.2f) + 0.012f * std::sin(9.1f * u + 1)};
}

/// The landscape in linear light, 1 being the brightest white. Coordinates: u to the right in picture heights, v downwards, 0 … 1.
class Landscape {
 public:
  Landscape(float aspect, int frameIndex)
      : time_(float(frameIndex) / 25.0f), balloonU_(std::fmod(0.35f * aspect + 0.06f * time_, aspect + 0.5f)), balloonV_(0.30f) {
    balloonV_ += 0.02f * std::sin(0.9f * time_);
  }

  /// `hills`: HillsAt(u), which a caller needs once a column.
  Color At(float u, float v, const Hills& hills) {
    if (const Color* patch = ChartPatch(u, v)) return *patch;
    if (Color balloon; Balloon(u, v, balloon)) return balloon;
    if (v > hills.nearTop) return Meadow(u, v, hills.nearTop);
    if (v > hills.farTop) return Mix({0.10f, 0.13f, 0.17f}, {0.30f, 0.24f, 0.24f}, Smooth(hills.farTop, 0.74f, v));
    return Sky(u, v);
  }

 private:
  Color Sky(float u, float v) {
    const Color high = {0.09f, 0.20f, 0.48f}, low = {0.85f, 0.52f, 0.30f};
    const float sunDistance = std::hypot(u - 1.25f, v - 0.50f);
    const Color glow = Color{1.0f, 0.72f, 0.40f} * (0.10f / (0.05f + sunDistance));
    const Color clear = Mix(high, low, Smooth(0.0f, 0.62f, v)) + glow * 0.45f;
    const float cloud = Smooth(0.50f, 0.78f, clouds_.At(2.2f * u + 0.10f * time_, 5.5f * v));
    return Mix(clear, {0.88f, 0.72f, 0.66f}, 0.75f * cloud);
  }

  /// Grass with mown stripes that run towards the horizon, finer and paler with the distance.
  Color Meadow(float u, float v, float horizon) {
    const float depth = 1.0f / (v - horizon + 0.06f);
    const float stripe = std::sin((u - 0.9f + 0.02f * time_) * depth * 3.0f);
    const float blades = 0.75f + 0.5f * blades_.At(u * 220, v * 140);
    const Color grass = Mix({0.05f, 0.13f, 0.03f}, {0.12f, 0.21f, 0.06f}, Smooth(-0.25f, 0.25f, stripe)) * blades;
    return Mix(grass, {0.24f, 0.22f, 0.17f}, Smooth(4, 17, depth));
  }

  /// A striped ball lit from the sun's side, with a basket below.
  bool Balloon(float u, float v, Color& color) const {
    constexpr float kRadius = 0.13f;
    const float x = (u - balloonU_) / kRadius, y = (v - balloonV_) / kRadius;
    if (std::fabs(x) < 0.16f && y > 1.25f && y < 1.5f) {
      color = {0.16f, 0.09f, 0.04f};
      return true;
    }
    const float squared = x * x + y * y;
    if (squared >= 1) return false;
    const float z = std::sqrt(1 - squared);
    const float longitude = std::atan2(x, z) + 0.25f * time_;
    const int gore = int(std::floor(longitude * 2.546f)) & 3;  // 16 gores around
    static constexpr Color kGores[4] = {{0.80f, 0.06f, 0.05f}, {0.90f, 0.75f, 0.10f}, {0.04f, 0.16f, 0.60f}, {0.85f, 0.85f, 0.82f}};
    color = kGores[gore] * (0.25f + 0.75f * std::max(0.0f, 0.55f * x - 0.25f * y + 0.75f * z));
    return true;
  }

  /// Six colours and six greys, with a dark frame around them.
  static const Color* ChartPatch(float u, float v) {
    static constexpr Color kFrame = {0.02f, 0.02f, 0.02f};
    static constexpr Color kPatches[2][6] = {{{0.43f, 0.03f, 0.04f},
                                              {0.06f, 0.29f, 0.07f},
                                              {0.03f, 0.05f, 0.30f},
                                              {0.83f, 0.57f, 0.01f},
                                              {0.48f, 0.09f, 0.30f},
                                              {0.0f, 0.23f, 0.38f}},
                                             {{0.90f, 0.90f, 0.90f},
                                              {0.59f, 0.59f, 0.59f},
                                              {0.36f, 0.36f, 0.36f},
                                              {0.19f, 0.19f, 0.19f},
                                              {0.09f, 0.09f, 0.09f},
                                              {0.03f, 0.03f, 0.03f}}};
    const float x = (u - 0.06f) / 0.07f, y = (v - 0.80f) / 0.07f;
    if (x < -0.1f || x > 6.1f || y < -0.1f || y > 2.1f) return nullptr;
    const int column = int(std::floor(x)), row = int(std::floor(y));
    const bool inside = x > 0 && x < 6 && y > 0 && y < 2 && x - column > 0.08f && x - column < 0.92f && y - row > 0.08f && y - row < 0.92f;
    return inside ? &kPatches[row][column] : &kFrame;
  }

  float time_;  // seconds
  float balloonU_, balloonV_;
  CloudNoise clouds_;
  ValueNoise blades_;
};

/// Standard normal to within a percent: the sum of four uniform values from one hash.
float Gaussian(uint64_t counter) {
  const uint64_t hash = Hash(counter);
  const int sum = int(hash & 0xFFFF) + int(hash >> 16 & 0xFFFF) + int(hash >> 32 & 0xFFFF) + int(hash >> 48);
  return float(sum - 2 * 65535) * (1.7320508f / 65536.0f);
}

}  // namespace

std::vector<uint16_t> MakeNoisyMosaic(int width, int height, int bits, int black, uint32_t seed, int frameIndex) {
  const float white = float((1 << bits) - 1), range = white - float(black);
  Landscape landscape(float(width) / float(height), frameIndex);
  // At full scale a pixel of a small sensor holds about 6,000 electrons; reading it out adds some three.
  constexpr float kFullWell = 6000, kReadNoise = 3;
  const uint64_t stream = Hash(uint64_t(seed) << 32 | uint32_t(frameIndex));
  const float centreX = float(width) / 2, centreY = float(height) / 2, cornerSquared = centreX * centreX + centreY * centreY;

  std::vector<Hills> hills(size_t(width), Hills{});
  for (int x = 0; x < width; ++x) hills[size_t(x)] = HillsAt((float(x) + 0.5f) / float(height));

  std::vector<uint16_t> mosaic(size_t(width) * height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const Color light = landscape.At((float(x) + 0.5f) / float(height), (float(y) + 0.5f) / float(height), hills[size_t(x)]);
      const int phase = (y & 1) * 2 + (x & 1);
      const float seen = phase == 0 ? light.r * float(kSceneNeutral[0]) : phase == 3 ? light.b * float(kSceneNeutral[2]) : light.g;
      const float dx = float(x) - centreX, dy = float(y) - centreY;
      const float vignetting = 1 - float(kSceneVignetting) * (dx * dx + dy * dy) / cornerSquared;
      const float electrons = kFullWell * seen * vignetting;
      const size_t index = size_t(y) * width + x;
      const float noisy = electrons + Gaussian(stream + index) * std::sqrt(electrons + kReadNoise * kReadNoise);
      mosaic[index] = uint16_t(std::clamp(float(black) + noisy / kFullWell * range + 0.5f, 0.0f, white));
    }
  }
  return mosaic;
}

}  // namespace qx
