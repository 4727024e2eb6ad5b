// Lays many rows out in one allocation.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/grow_buffer.h"

namespace qx {

/// Columns that every carved row carries on either side of 0 … width − 1.
constexpr int kCarvedPad = 16;

/// Hands out rows one behind the other. Used twice with the same calls: the first pass only counts, Allocate() ends it, the second pass
/// gives the pointers. The rows live as long as the carver.
class RowCarver {
 public:
  explicit RowCarver(int width) : width_(size_t(width)) {}

  /// Column 0 of a row of `width` values with pads, aligned to 64 bytes; null while counting.
  template <typename T>
  T* Row() {
    static_assert(kCarvedPad * sizeof(T) <= kPadBytes);
    uint8_t* row = block_.data() == nullptr ? nullptr : block_.data() + used_ + kPadBytes;
    used_ += 2 * kPadBytes + (width_ * sizeof(T) + 63) / 64 * 64;
    return reinterpret_cast<T*>(row);
  }

  /// False when memory is short.
  [[nodiscard]] bool Allocate() {
    const size_t bytes = used_;
    used_ = 0;
    return block_.Reserve(bytes);
  }

 private:
  static constexpr size_t kPadBytes = 64;

  size_t width_;
  size_t used_ = 0;
  GrowBuffer<uint8_t> block_;
};

}  // namespace qx
