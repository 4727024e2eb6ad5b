#include "develop/cpu/stream_copy.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace qx {

#if defined(__x86_64__)

void StreamCopy(uint8_t* destination, const uint8_t* source, size_t bytes) {
  constexpr size_t kLine = 64, kWord = sizeof(__m128i);
  // Only whole lines leave the processor in one piece.
  const size_t before = std::min(bytes, (kLine - uintptr_t(destination) % kLine) % kLine);
  std::memcpy(destination, source, before);
  const size_t end = before + (bytes - before) / kLine * kLine;
  for (size_t i = before; i < end; i += kWord) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(destination + i), _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + i)));
  }
  std::memcpy(destination + end, source + end, bytes - end);
  _mm_sfence();  // locks do not order these stores
}

#else

void StreamCopy(uint8_t* destination, const uint8_t* source, size_t bytes) {
  std::memcpy(destination, source, bytes);
}

#endif

}  // namespace qx
