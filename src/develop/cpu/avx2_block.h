// What the AVX2 kernels of debayering share: blocks of 16 columns, loads and stores. Only for the source files of these kernels.
#pragma once

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstdint>

#define QX_AVX2 __attribute__((target("avx2")))

namespace qx::avx2_block {

constexpr int kColumns = 16;

/// The first column of the next block of begin … end − 1. The last block overlaps the one before it, so nothing outside the range is
/// touched.
inline int NextBlock(int x, int end) {
  return x + kColumns >= end ? end : x + 2 * kColumns > end ? end - kColumns : x + kColumns;
}

template <typename T>
QX_AVX2 inline __m256i Load(const T* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
template <typename T>
QX_AVX2 inline void Store(T* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
/// Eight 16-bit values, widened.
QX_AVX2 inline __m256i Load8(const uint16_t* p) {
  return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
/// Eight and eight 32-bit values in column order, packed with limits 0 … 65535.
QX_AVX2 inline __m256i Pack16(__m256i first, __m256i second) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi32(first, second), 0xd8);
}

}  // namespace qx::avx2_block

#endif
