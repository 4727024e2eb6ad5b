#include "media/unpack_rows.h"

#include "platform/cpu_features.h"

namespace qx {

namespace {

/// Four samples of 10, 12 or 14 bits are 5, 6 or 7 whole bytes: one 64-bit load holds them.
template <uint32_t kBits>
void UnpackRowWords(Bytes row, uint16_t* out, uint32_t width) {
  constexpr size_t kGroupBytes = 4 * kBits / 8;
  constexpr uint32_t kMask = (1u << kBits) - 1;
  static_assert(4 * kBits % 8 == 0 && kGroupBytes <= 8);
  const uint8_t* in = row.data();
  size_t left = row.size();
  uint32_t x = 0;
  for (; x + 4 <= width && left >= 8; x += 4, in += kGroupBytes, left -= kGroupBytes) {
    const uint64_t word = LoadU64Be(in);
    out[x] = uint16_t(word >> (64 - kBits));
    out[x + 1] = uint16_t(word >> (64 - 2 * kBits) & kMask);
    out[x + 2] = uint16_t(word >> (64 - 3 * kBits) & kMask);
    out[x + 3] = uint16_t(word >> (64 - 4 * kBits) & kMask);
  }
  UnpackRowBits(Bytes(in, left), kBits, out + x, width - x);
}

}  // namespace

void UnpackRowBits(Bytes row, uint32_t bits, uint16_t* out, uint32_t width) {
  const uint8_t* in = row.data();
  uint32_t window = 0, available = 0;
  for (uint32_t x = 0; x < width; ++x) {
    for (; available < bits; available += 8) window = window << 8 | *in++;
    available -= bits;
    out[x] = uint16_t(window >> available & ((1u << bits) - 1));
  }
}

std::span<const UnpackRowVariant> UnpackRowVariants() {
  static const UnpackRowVariant kVariants[] = {
      {"scalar", true, UnpackRowWords<10>, UnpackRowWords<12>, UnpackRowWords<14>},
      {"avx2", GetCpuFeatures().avx2, UnpackRow10Avx2, UnpackRow12Avx2, UnpackRow14Avx2},
  };
  return kVariants;
}

}  // namespace qx
