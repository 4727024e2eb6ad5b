// Arithmetic on frame numbers, time codes and time stamps. They come from files and may be anything, so sums saturate instead of
// overflowing.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "media/source_timeline.h"

namespace qx {

inline int64_t SaturatingAdd(int64_t a, int64_t b) {
  int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

inline int64_t SaturatingSub(int64_t a, int64_t b) {
  int64_t difference = 0;
  if (!__builtin_sub_overflow(a, b, &difference)) return difference;
  return b < 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

inline int64_t SaturatingMul(int64_t a, int64_t b) {
  int64_t product = 0;
  if (!__builtin_mul_overflow(a, b, &product)) return product;
  return (a < 0) == (b < 0) ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

/// The nearest integer, halves away from zero. Values outside int64 are clamped; 0 for NaN.
inline int64_t RoundToInt64(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 0x1p63) return std::numeric_limits<int64_t>::max();
  if (value < -0x1p63) return std::numeric_limits<int64_t>::min();
  return std::llround(value);
}

/// Frames per second at which the sensor ran.
inline double CaptureRate(const SourceTimeline& source) {
  return source.captureFps > 0 ? source.captureFps : source.fps;
}

/// Frame periods between two sensor time stamps, rounded.
inline int64_t FramesBetween(int64_t fromNs, int64_t toNs, double framesPerSecond) {
  return RoundToInt64(double(SaturatingSub(toNs, fromNs)) * framesPerSecond / 1e9);
}

}  // namespace qx
