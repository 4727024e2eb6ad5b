// A slice decoder to compare with: bit by bit, straight from the format's description, without any thought of speed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

namespace qx {

struct SlowSliceFormat {
  uint32_t width = 0, rows = 0;
  bool rice = false;   // coder 1
  bool lanes = false;  // interleaved, or two parts
  int predictor = 0;
  int flatThreshold = 0;
};

/// Bits of bytes, the lowest first. Reading past the end throws std::out_of_range.
class SlowBits {
 public:
  SlowBits(std::span<const uint8_t> bytes, size_t firstByte) : bytes_(bytes.begin(), bytes.end()), at_(8 * firstByte) {}
  uint32_t Take(unsigned count) {
    uint32_t value = 0;
    for (unsigned i = 0; i < count; ++i, ++at_) value |= uint32_t(bytes_.at(at_ / 8) >> (at_ % 8) & 1) << i;
    return value;
  }
  unsigned Ones() {
    unsigned count = 0;
    while (count < 16 && Take(1) == 1) ++count;
    return count;
  }
  size_t NextByte() const { return (at_ + 7) / 8; }

 private:
  std::vector<uint8_t> bytes_;
  size_t at_;
};

/// Lane j of 8 has its 4c bits in groups: 16 bits of each lane as long as they last, then 8 of each, then 4 of each.
inline void SlowLanes(SlowBits& bits, unsigned c, uint16_t* cell) {
  uint64_t lanes[8] = {};
  unsigned done = 0;
  for (const unsigned group : {16u, 16u, 16u, 8u, 4u}) {
    if (group == 16 ? 4 * c - done < 16 : (4 * c & group) == 0) continue;
    for (uint64_t& lane : lanes) lane |= uint64_t(bits.Take(group)) << done;
    done += group;
  }
  for (unsigned n = 0; n < 32; ++n) cell[n] = uint16_t(lanes[n % 8] >> (n / 8 * c) & ((1u << c) - 1));
}

inline std::vector<uint16_t> SlowResiduals(std::span<const uint8_t> bytes, const SlowSliceFormat& f, size_t cells) {
  std::vector<uint16_t> residuals(cells * 32);
  const auto codeOf = [bytes](size_t i) { return unsigned(bytes[i / 2] >> (i % 2 * 4) & 15); };
  SlowBits bits(bytes, (cells + 1) / 2);
  for (size_t i = 0; i < cells; ++i) {
    uint16_t* cell = &residuals[i * 32];
    const unsigned code = codeOf(i);
    if (f.rice ? code == 15 : code == 0) continue;
    if (f.lanes) SlowLanes(bits, code, cell);
    for (unsigned n = 0; n < 32 && !f.lanes; ++n) {
      const unsigned quotient = f.rice ? bits.Ones() : 0;
      cell[n] = uint16_t(quotient == 16 ? bits.Take(16) : quotient << code | bits.Take(code));
    }
  }
  for (size_t i = 0; i < cells && f.rice && f.lanes; ++i) {
    const unsigned code = codeOf(i);
    for (unsigned n = 0; n < 32 && code != 15; ++n) {
      const unsigned ones = bits.Ones();
      residuals[i * 32 + n % 4 * 8 + n / 4] |= uint16_t((ones == 16 ? bits.Take(16 - code) : ones) << code);
    }
  }
  if (bits.NextByte() != bytes.size()) return {};
  return residuals;
}

/// The samples, or none when the data does not end with the slice.
inline std::vector<uint16_t> SlowDecodeSlice(std::span<const uint8_t> bytes, const SlowSliceFormat& f) {
  const size_t rowCells = (f.width + 31) / 32;
  const std::vector<uint16_t> residuals = SlowResiduals(bytes, f, rowCells * f.rows);
  if (residuals.empty()) return {};
  std::vector<uint16_t> out(size_t(f.width) * f.rows);
  for (int64_t y = 0; y < f.rows; ++y) {
    for (int64_t x = 0; x < f.width; ++x) {
      const int residual = residuals[size_t(y * int64_t(rowCells) * 32 + x)];
      const int difference = residual % 2 == 0 ? residual / 2 : -(residual + 1) / 2;
      const auto at = [&](int64_t column, int64_t row) { return int(out[size_t(row * f.width + column)]); };
      int value = 0;
      if (f.predictor == 0 || y < 2) {
        value = x < 2 ? residual : at(x - 2, y) + difference;
      } else if (x < 2) {
        value = at(x, y - 2) + difference;
      } else {
        const int a = at(x - 2, y), b = at(x, y - 2), c = at(x - 2, y - 2), d = x < f.width - 2 ? at(x + 2, y - 2) : b;
        const int spread = std::max({a, b, c, d}) - std::min({a, b, c, d});
        const int median = std::max(std::min(a, b), std::min(std::max(a, b), a + b - c));
        value = difference + (spread <= f.flatThreshold ? (std::min(a + b + c + d, 65535) + 2) / 4 : median);
      }
      out[size_t(y * f.width + x)] = uint16_t(value);
    }
  }
  return out;
}

}  // namespace qx
