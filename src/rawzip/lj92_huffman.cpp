#include "rawzip/lj92_huffman.h"

#include <algorithm>
#include <numeric>

namespace qx {

bool Lj92HuffmanTable::Build(const std::array<uint8_t, 16>& counts, Bytes symbols) {
  built_ = false;
  const size_t total = std::accumulate(counts.begin(), counts.end(), size_t(0));
  if (total > symbols_.size() || symbols.size() != total) return false;

  std::array<bool, kLj92LargestCategory + 1> seen = {};
  repeatsSymbol_ = false;
  for (const uint8_t symbol : symbols) {
    if (symbol > kLj92LargestCategory) return false;
    repeatsSymbol_ |= seen[symbol];
    seen[symbol] = true;
  }
  std::copy(symbols.begin(), symbols.end(), symbols_.begin());

  direct_.fill(kLj92SlowCode);
  uint32_t code = 0;
  int32_t index = 0;
  for (int codeBits = 1; codeBits <= 16; ++codeBits) {
    const uint32_t count = counts[codeBits - 1];
    if (code + count > 1u << codeBits) return false;
    symbolOffset_[codeBits - 1] = index - int32_t(code);
    codeEnd_[codeBits - 1] = count == 0 ? 0 : code + count;
    for (uint32_t i = 0; i < count; ++i) FillDirect(code++, codeBits, symbols_[index++]);
    code <<= 1;
  }
  built_ = true;
  return true;
}

void Lj92HuffmanTable::FillDirect(uint32_t firstCode, int codeBits, uint8_t category) {
  if (codeBits > kDirectBits || category == kLj92LargestCategory) return;
  const int freeBits = kDirectBits - codeBits;
  std::fill_n(direct_.begin() + (firstCode << freeBits), size_t(1) << freeBits, MakeLj92Code(codeBits, category));
}

Lj92Code Lj92HuffmanTable::Find(uint64_t bits) const {
  for (int codeBits = 1; codeBits <= 16; ++codeBits) {
    const uint32_t code = uint32_t(bits >> (64 - codeBits));
    // Shorter codes were ruled out, so a value below the end is one of this length: canonical codes of a length are consecutive.
    if (code < codeEnd_[codeBits - 1]) return MakeLj92Code(codeBits, symbols_[symbolOffset_[codeBits - 1] + int32_t(code)]);
  }
  return 0;
}

}  // namespace qx
