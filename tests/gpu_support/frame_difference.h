// How far two frames lie apart.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "develop/pixel_format.h"

namespace qx {

/// The values of a frame whose channels are of type T.
template <typename T>
std::vector<T> ValuesOf(const std::vector<uint8_t>& bytes) {
  std::vector<T> values(bytes.size() / sizeof(T));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
  return values;
}

/// The largest difference of two packed frames, in steps of the format; floats in steps of 16 bits, words of v210 taken apart. Frames of
/// different sizes fail the test.
double WorstStep(OutputPixelFormat format, const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

}  // namespace qx
