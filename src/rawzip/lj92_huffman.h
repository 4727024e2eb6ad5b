// Huffman tables of lossless JPEG streams: difference categories 0 … 16 (ITU-T T.81, tables H.2 and K.3's layout).
#pragma once

#include <array>
#include <cstdint>

#include "base/byte_reader.h"

namespace qx {

/// What one code means, packed so that a row routine can use each part as a shift count without masking it first:
///   bits 0 … 7    bits of the code and of the difference that follows it, together
///   bits 8 … 15   bits of the code alone
///   bits 16 … 23  63 minus the category
///   bit 31        the code needs Find(): it is longer than the direct table, has category 16, or does not exist
using Lj92Code = uint32_t;

constexpr Lj92Code kLj92SlowCode = 0x80000000u;
constexpr int kLj92LargestCategory = 16;

constexpr Lj92Code MakeLj92Code(int codeBits, int category) {
  return uint32_t(codeBits + category) | uint32_t(codeBits) << 8 | uint32_t(63 - category) << 16;
}
constexpr int Lj92CodeBits(Lj92Code code) {
  return int(code >> 8 & 0x3F);
}
constexpr int Lj92Category(Lj92Code code) {
  return 63 - int(code >> 16 & 0x3F);
}

class Lj92HuffmanTable {
 public:
  /// The direct table covers codes of up to this many bits. Differences are not part of the index, so even the tables of noisy 16-bit
  /// footage rarely leave it, and it takes only 8 KiB of the first-level cache.
  static constexpr int kDirectBits = 11;

  /// Builds the canonical code: counts[n] codes of n + 1 bits, given the symbols in code order. False when a symbol is above 16, the
  /// codes do not fit their length, or `symbols` does not hold exactly as many as the counts say; the table is then unusable.
  [[nodiscard]] bool Build(const std::array<uint8_t, 16>& counts, Bytes symbols);

  bool built() const { return built_; }
  /// True when a symbol has two codes, the mark of encoders that write 16 bits after category 16.
  bool repeatsSymbol() const { return repeatsSymbol_; }

  /// The code at the top of `bits`; at least kDirectBits of them must be valid.
  Lj92Code Direct(uint64_t bits) const { return direct_[bits >> (64 - kDirectBits)]; }
  /// The code at the top of `bits` whatever its length or category; at least 16 of them must be valid. 0 when no code matches.
  Lj92Code Find(uint64_t bits) const;

 private:
  void FillDirect(uint32_t firstCode, int codeBits, uint8_t category);

  std::array<Lj92Code, 1 << kDirectBits> direct_;
  std::array<uint32_t, 16> codeEnd_;      // one past the largest code of each length, 0 when the length has none
  std::array<int32_t, 16> symbolOffset_;  // index of a code's symbol minus the code
  std::array<uint8_t, 256> symbols_;
  bool built_ = false;
  bool repeatsSymbol_ = false;
};

}  // namespace qx
