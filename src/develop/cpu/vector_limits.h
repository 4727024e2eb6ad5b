// Limits of the plain kernels. Not for sources that are built for an instruction set of their own.
#pragma once

namespace qx::plain {

// As the vector minimum and maximum choose: the second operand when the comparison fails, so that NaN becomes `limit`.
inline float AtLeast(float v, float limit) {
  return v > limit ? v : limit;
}
inline float AtMost(float v, float limit) {
  return v < limit ? v : limit;
}

}  // namespace qx::plain
