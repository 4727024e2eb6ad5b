// Arithmetic on sizes that come from files: overflow is an answer, not an accident.
#pragma once

#include <cstdint>
#include <optional>

namespace qx {

inline std::optional<uint64_t> CheckedAdd(uint64_t a, uint64_t b) {
  uint64_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) return std::nullopt;
  return sum;
}

inline std::optional<uint64_t> CheckedMul(uint64_t a, uint64_t b) {
  uint64_t product = 0;
  if (__builtin_mul_overflow(a, b, &product)) return std::nullopt;
  return product;
}

/// True when the range [offset, offset + count) lies inside [0, size); never overflows.
inline bool RangeFits(uint64_t offset, uint64_t count, uint64_t size) {
  return offset <= size && count <= size - offset;
}

}  // namespace qx
