#include "qorix/crc32c_polynomial.h"
#include "qorix/crc32c_variants.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstring>

namespace qx {

namespace {

// Bytes of each interleaved chain. Long enough that joining costs little, short enough that the self-test's 1,021 bytes reach the loop.
constexpr size_t kChainBytes = 320;

inline uint64_t Load64(const uint8_t* p) {
  uint64_t value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

// Continues the register (not inverted) over any bytes.
[[gnu::target("sse4.2")]] uint64_t OneChain(uint64_t c, const uint8_t* data, size_t length) {
  for (; length >= 64; data += 64, length -= 64) {
    c = _mm_crc32_u64(c, Load64(data));
    c = _mm_crc32_u64(c, Load64(data + 8));
    c = _mm_crc32_u64(c, Load64(data + 16));
    c = _mm_crc32_u64(c, Load64(data + 24));
    c = _mm_crc32_u64(c, Load64(data + 32));
    c = _mm_crc32_u64(c, Load64(data + 40));
    c = _mm_crc32_u64(c, Load64(data + 48));
    c = _mm_crc32_u64(c, Load64(data + 56));
  }
  for (; length >= 8; data += 8, length -= 8) c = _mm_crc32_u64(c, Load64(data));
  for (; length > 0; ++data, --length) c = _mm_crc32_u8(uint32_t(c), *data);
  return c;
}

// The register after kBytes more zero bytes: a product with x^(8 × bytes). The reflected product of two 32-bit values carries one factor x,
// and reducing it with the CRC instruction multiplies by x^32: the constant is lower by 33.
template <size_t kBytes>
[[gnu::target("sse4.2,pclmul")]] inline uint64_t AppendZeros(uint64_t c) {
  constexpr uint32_t kFactor = Crc32cPowerOfX(8 * kBytes - 33);
  const __m128i product = _mm_clmulepi64_si128(_mm_cvtsi64_si128(int64_t(c)), _mm_cvtsi64_si128(int64_t(kFactor)), 0);
  return _mm_crc32_u64(0, uint64_t(_mm_cvtsi128_si64(product)));
}

}  // namespace

uint32_t Crc32cSse42(uint32_t crc, const uint8_t* data, size_t length) {
  return ~uint32_t(OneChain(uint32_t(~crc), data, length));
}

[[gnu::target("sse4.2,pclmul")]] uint32_t Crc32cSse42x3(uint32_t crc, const uint8_t* data, size_t length) {
  uint64_t c = uint32_t(~crc);
  for (; length >= 3 * kChainBytes; data += 3 * kChainBytes, length -= 3 * kChainBytes) {
    uint64_t second = 0, third = 0;
    for (size_t i = 0; i < kChainBytes; i += 8) {
      c = _mm_crc32_u64(c, Load64(data + i));
      second = _mm_crc32_u64(second, Load64(data + kChainBytes + i));
      third = _mm_crc32_u64(third, Load64(data + 2 * kChainBytes + i));
    }
    c = AppendZeros<2 * kChainBytes>(c) ^ AppendZeros<kChainBytes>(second) ^ third;
  }
  return ~uint32_t(OneChain(c, data, length));
}

}  // namespace qx

#endif
