// Powers of x modulo the Castagnoli polynomial, as the joining and folding constants need them. Bits are reflected: bit 31 is x^0.
#pragma once

#include <cstdint>

namespace qx {

constexpr uint32_t kCrc32cPolynomial = 0x82F63B78;

constexpr uint32_t Crc32cPowerOfX(unsigned exponent) {
  uint32_t power = 0x80000000;
  for (; exponent > 0; --exponent) power = (power >> 1) ^ ((power & 1) != 0 ? kCrc32cPolynomial : 0);
  return power;
}

}  // namespace qx
