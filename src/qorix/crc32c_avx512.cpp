// Folding with 512-bit registers, after Gopal et al., "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ Instruction" (2009).
#include "qorix/crc32c_polynomial.h"
#include "qorix/crc32c_variants.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define QX_TARGET_FOLD [[gnu::target("avx512f,vpclmulqdq")]]

namespace qx {

namespace {

constexpr size_t kRegisterBytes = 64;
constexpr int kRegisters = 4;  // enough to hide the latency; few enough that the self-test's 1,021 bytes take several rounds
constexpr size_t kRoundBytes = kRegisters * kRegisterBytes;

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

QX_TARGET_FOLD inline __m512i Load(const uint8_t* data) {
  return _mm512_loadu_si512(data);
}

}  // namespace

QX_TARGET_FOLD uint32_t Crc32cAvx512(uint32_t crc, const uint8_t* data, size_t length) {
  if (length < kRoundBytes) return Crc32cSse42x3(crc, data, length);

  __m512i folded[kRegisters];
  for (int i = 0; i < kRegisters; ++i) folded[i] = Load(data + i * kRegisterBytes);
  folded[0] = _mm512_xor_si512(folded[0], _mm512_zextsi128_si512(_mm_cvtsi32_si128(int(~crc))));
  for (data += kRoundBytes, length -= kRoundBytes; length >= kRoundBytes; data += kRoundBytes, length -= kRoundBytes) {
    for (int i = 0; i < kRegisters; ++i) folded[i] = Fold<8 * kRoundBytes>(folded[i], Load(data + i * kRegisterBytes));
  }

  __m512i all = folded[0];
  for (int i = 1; i < kRegisters; ++i) all = Fold<8 * kRegisterBytes>(all, folded[i]);
  for (; length >= kRegisterBytes; data += kRegisterBytes, length -= kRegisterBytes) all = Fold<8 * kRegisterBytes>(all, Load(data));

  // What all was folded into is congruent to it: its CRC, from an empty register, is that of all.
  uint8_t congruent[kRegisterBytes];
  _mm512_storeu_si512(congruent, all);
  constexpr uint32_t kEmptyRegister = ~uint32_t(0);
  return Crc32cSse42(Crc32cSse42(kEmptyRegister, congruent, sizeof congruent), data, length);
}

}  // namespace qx

#endif
