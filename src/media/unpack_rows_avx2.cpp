#include <immintrin.h>

#include <array>

#include "media/unpack_rows.h"

#define QX_AVX2 __attribute__((target("avx2")))

namespace qx {

namespace {

/// How eight samples of kBits are cut out of the 16 bytes that begin with the first one. Sample k starts in byte k × kBits / 8 at bit
/// s = k × kBits mod 8 and reaches over two bytes, at 14 bits over three:
///   sample = (first two bytes << s | third byte >> (8 − s)) >> (16 − kBits), all in 16 bits.
/// Both shifts by a lane's own amount are multiplications by 2^s: the low half for the first, the high half of (third byte << 8) for the
/// second.
template <int kBits>
struct Layout {
  alignas(16) std::array<int8_t, 16> firstTwo{};
  alignas(16) std::array<int8_t, 16> third{};
  alignas(16) std::array<uint16_t, 8> shift{};

  constexpr Layout() {
    for (int k = 0; k < 8; ++k) {
      const int byte = k * kBits / 8;
      firstTwo[2 * k] = int8_t(byte + 1);  // little-endian lane: the low byte comes second in the stream
      firstTwo[2 * k + 1] = int8_t(byte);
      third[2 * k] = -1;  // zero
      third[2 * k + 1] = int8_t(byte + 2);
      shift[k] = uint16_t(1 << (k * kBits % 8));
    }
  }
};

template <typename Array>
QX_AVX2 inline __m256i LoadTwice(const Array& array) {
  return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(array.data())));
}

template <int kBits>
QX_AVX2 void UnpackRow(Bytes row, uint16_t* out, uint32_t width) {
  static_assert(kBits == 10 || kBits == 12 || kBits == 14);
  static constexpr Layout<kBits> kLayout;
  const __m256i firstTwo = LoadTwice(kLayout.firstTwo), third = LoadTwice(kLayout.third), shift = LoadTwice(kLayout.shift);
  const uint8_t* in = row.data();
  size_t left = row.size();
  uint32_t x = 0;
  // Sixteen samples a step: kBits bytes for each half, the second load reads 16.
  for (; x + 16 <= width && left >= kBits + 16; x += 16, in += 2 * kBits, left -= 2 * kBits) {
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + kBits));
    const __m256i bytes = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    __m256i samples = _mm256_mullo_epi16(_mm256_shuffle_epi8(bytes, firstTwo), shift);
    if constexpr (kBits == 14) samples = _mm256_or_si256(samples, _mm256_mulhi_epu16(_mm256_shuffle_epi8(bytes, third), shift));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x), _mm256_srli_epi16(samples, 16 - kBits));
  }
  UnpackRowBits(Bytes(in, left), kBits, out + x, width - x);
}

}  // namespace

QX_AVX2 void UnpackRow10Avx2(Bytes row, uint16_t* out, uint32_t width) {
  UnpackRow<10>(row, out, width);
}
QX_AVX2 void UnpackRow12Avx2(Bytes row, uint16_t* out, uint32_t width) {
  UnpackRow<12>(row, out, width);
}
QX_AVX2 void UnpackRow14Avx2(Bytes row, uint16_t* out, uint32_t width) {
  UnpackRow<14>(row, out, width);
}

}  // namespace qx
