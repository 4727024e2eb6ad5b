// Prediction of CFA samples from their neighbours of the same colour, one row at a time: the reference.
#pragma once

#include <cstdint>

namespace qx {

/// Signed differences are stored with the sign in the lowest bit: 0, −1, 1, −2, … become 0, 1, 2, 3, …; all modulo 2^16.
constexpr uint16_t Unzigzag(uint16_t value) {
  return uint16_t(value >> 1 ^ -(value & 1));
}

/// Restores a row from its residuals, each sample predicted from the one two to the left; the first two residuals are samples themselves.
void ReconstructFromLeft(const uint16_t* residuals, uint32_t width, uint16_t* out);

/// Restores a row from its residuals and `up`, the row two above: the mean of the neighbours where they differ by at most
/// `flatThreshold`, else the median edge predictor of LOCO-I (Weinberger, Seroussi, Sapiro, 2000).
void ReconstructFromNeighbours(const uint16_t* residuals, const uint16_t* up, uint32_t width, uint32_t flatThreshold, uint16_t* out);

}  // namespace qx
