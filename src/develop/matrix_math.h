// 3 × 3 matrices and 3-vectors in double precision: what the colour model and the gamut matrices need.
#pragma once

#include <array>
#include <cmath>
#include <optional>

#include "media/dng_info.h"

namespace qx {

using Vector3 = std::array<double, 3>;

inline Matrix3 Diagonal(const Vector3& d) {
  return {{{d[0], 0, 0}, {0, d[1], 0}, {0, 0, d[2]}}};
}

inline Vector3 operator*(const Matrix3& a, const Vector3& v) {
  Vector3 product;
  for (int row = 0; row < 3; ++row) product[row] = a.m[row][0] * v[0] + a.m[row][1] * v[1] + a.m[row][2] * v[2];
  return product;
}

inline Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
  Matrix3 product;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) {
      product.m[row][col] = a.m[row][0] * b.m[0][col] + a.m[row][1] * b.m[1][col] + a.m[row][2] * b.m[2][col];
    }
  }
  return product;
}

inline Matrix3 operator*(double factor, const Matrix3& a) {
  Matrix3 product;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) product.m[row][col] = factor * a.m[row][col];
  }
  return product;
}

/// `weight` of `first`, the rest of `second`.
inline Matrix3 Mix(const Matrix3& first, const Matrix3& second, double weight) {
  Matrix3 mixed;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) mixed.m[row][col] = weight * first.m[row][col] + (1 - weight) * second.m[row][col];
  }
  return mixed;
}

/// Absent when the determinant is below 1e-12 in magnitude or not a number.
inline std::optional<Matrix3> Inverse(const Matrix3& a) {
  const auto& m = a.m;
  Matrix3 cofactors;  // transposed
  for (int row = 0; row < 3; ++row) {
    const int r1 = (row + 1) % 3, r2 = (row + 2) % 3;
    for (int col = 0; col < 3; ++col) {
      const int c1 = (col + 1) % 3, c2 = (col + 2) % 3;
      cofactors.m[col][row] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
    }
  }
  const double determinant = m[0][0] * cofactors.m[0][0] + m[0][1] * cofactors.m[1][0] + m[0][2] * cofactors.m[2][0];
  if (!(std::fabs(determinant) >= 1e-12)) return std::nullopt;
  return (1 / determinant) * cofactors;
}

}  // namespace qx
