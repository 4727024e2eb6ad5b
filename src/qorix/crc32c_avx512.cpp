// Folding with 512-bit registers, after Gopal et al., "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ Instruction" (2009).
#include "qorix/crc32c_polynomial.h"
#include "qorix/crc32c_variants.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define QX_TARGET_FOLD [[gnu::target("avx512f,vpclmulqdq,sse4.2")]]

namespace qx {

namespace {

constexpr size_t kRegisterBytes = 64;
// Four registers hide the latency, and are few enough that the self-test's 1,021 bytes take several rounds.
constexpr size_t kRoundBytes = 4 * kRegisterBytes;

// Factors that move 128 bits ahead by a distance: the half that comes first takes x^(distance + 64), the other x^distance. Of these x^32
// come for free: a reflected 32-bit factor, shifted up by one in 64 bits, stands for x^31 more, and a product of reflected values for one
// x.
constexpr uint64_t FactorOfFirstHalf(unsigned distanceBits) {
  return uint64_t(Crc32cPowerOfX(distanceBits + 32)) << 1;
}
constexpr uint64_t FactorOfSecondHalf(unsigned distanceBits) {
  return uint64_t(Crc32cPowerOfX(distanceBits - 32)) << 1;
}

// Moves the accumulator kDistanceBits ahead and adds what is there.
template <unsigned kDistanceBits>
QX_TARGET_FOLD inline __m512i Fold(__m512i accumulator, __m512i next) {
  constexpr uint64_t kFirst = FactorOfFirstHalf(kDistanceBits), kSecond = FactorOfSecondHalf(kDistanceBits);
  const __m512i factors = _mm512_set4_epi64(int64_t(kSecond), int64_t(kFirst), int64_t(kSecond), int64_t(kFirst));
  constexpr int kXorOfThree = 0x96;
  return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(accumulator, factors, 0x00),
                                   _mm512_clmulepi64_epi128(accumulator, factors, 0x11), next, kXorOfThree);
}

// Continues a CRC register over 128 bits.
QX_TARGET_FOLD inline uint64_t Continue(uint64_t c, __m128i bits) {
  return _mm_crc32_u64(_mm_crc32_u64(c, uint64_t(_mm_cvtsi128_si64(bits))), uint64_t(_mm_extract_epi64(bits, 1)));
}

// The CRC register after all that was folded: its remainder is that of the 64 bytes it was folded into.
QX_TARGET_FOLD inline uint32_t Reduce(__m512i all) {
  constexpr __mmask8 kWhole = 0xF;  // masked, because GCC 12 warns of the plain extraction
  uint64_t c = Continue(0, _mm512_maskz_extracti32x4_epi32(kWhole, all, 0));
  c = Continue(c, _mm512_maskz_extracti32x4_epi32(kWhole, all, 1));
  c = Continue(c, _mm512_maskz_extracti32x4_epi32(kWhole, all, 2));
  return uint32_t(Continue(c, _mm512_maskz_extracti32x4_epi32(kWhole, all, 3)));
}

QX_TARGET_FOLD inline __m512i Load(const uint8_t* data) {
  return _mm512_loadu_si512(data);
}

}  // namespace

QX_TARGET_FOLD uint32_t Crc32cAvx512(uint32_t crc, const uint8_t* data, size_t length) {
  if (length < kRoundBytes) return Crc32cSse42x3(crc, data, length);

  // Four variables, not an array: nothing wide may go to the stack, which GCC does not align for it on Windows (its bug 54412).
  constexpr unsigned kRound = 8 * kRoundBytes, kOne = 8 * kRegisterBytes;  // distances in bits
  __m512i a = _mm512_xor_si512(Load(data), _mm512_zextsi128_si512(_mm_cvtsi32_si128(int(~crc))));
  __m512i b = Load(data + kRegisterBytes);
  __m512i c = Load(data + 2 * kRegisterBytes);
  __m512i d = Load(data + 3 * kRegisterBytes);
  for (data += kRoundBytes, length -= kRoundBytes; length >= kRoundBytes; data += kRoundBytes, length -= kRoundBytes) {
    a = Fold<kRound>(a, Load(data));
    b = Fold<kRound>(b, Load(data + kRegisterBytes));
    c = Fold<kRound>(c, Load(data + 2 * kRegisterBytes));
    d = Fold<kRound>(d, Load(data + 3 * kRegisterBytes));
  }
  __m512i all = Fold<kOne>(Fold<kOne>(Fold<kOne>(a, b), c), d);
  for (; length >= kRegisterBytes; data += kRegisterBytes, length -= kRegisterBytes) all = Fold<kOne>(all, Load(data));

  return Crc32cSse42(~Reduce(all), data, length);
}

}  // namespace qx

#endif
