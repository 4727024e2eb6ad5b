#include "develop/cpu/row_kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define QX_AVX2 __attribute__((target("avx2")))

namespace qx::avx2 {

namespace {

QX_AVX2 inline __m256i Load(const uint16_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
QX_AVX2 inline void Store(uint16_t* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

// Two levels, alternating from column to column.
QX_AVX2 inline __m256 Alternating(const float pair[2]) {
  return _mm256_setr_ps(pair[0], pair[1], pair[0], pair[1], pair[0], pair[1], pair[0], pair[1]);
}

struct UnpackVectors {
  __m256 black, range, whiteBalance;
};

// Eight samples to the 32-bit integers v · 65535 + 0.5.
QX_AVX2 inline __m256i Normalize(__m256i samples, const UnpackVectors& levels, const float* gains) {
  const __m256 zero = _mm256_setzero_ps(), one = _mm256_set1_ps(1);
  __m256 v = _mm256_sub_ps(_mm256_cvtepi32_ps(samples), levels.black);
  v = _mm256_max_ps(_mm256_div_ps(v, levels.range), zero);
  if (gains != nullptr) v = _mm256_mul_ps(v, _mm256_loadu_ps(gains));
  v = _mm256_min_ps(_mm256_max_ps(_mm256_mul_ps(v, levels.whiteBalance), zero), one);
  return _mm256_cvttps_epi32(_mm256_add_ps(_mm256_mul_ps(v, _mm256_set1_ps(65535)), _mm256_set1_ps(0.5f)));
}

// A row's columns as 32-bit integers: the even and the odd ones of 16 columns apart.
QX_AVX2 inline __m256i Even(__m256i columns) {
  return _mm256_blend_epi16(columns, _mm256_setzero_si256(), 0xAA);
}
QX_AVX2 inline __m256i Odd(__m256i columns) {
  return _mm256_srli_epi32(columns, 16);
}
QX_AVX2 inline __m256i Even(const uint16_t* p) {
  return Even(Load(p));
}
QX_AVX2 inline __m256i Odd(const uint16_t* p) {
  return Odd(Load(p));
}

QX_AVX2 inline __m256i Add(__m256i a, __m256i b) {
  return _mm256_add_epi32(a, b);
}
QX_AVX2 inline __m256i Sub(__m256i a, __m256i b) {
  return _mm256_sub_epi32(a, b);
}
template <int kShift>
QX_AVX2 inline __m256i Left(__m256i v) {
  return _mm256_slli_epi32(v, kShift);
}

// (sum + half) >> shift.
template <int kShift>
QX_AVX2 inline __m256i Round(__m256i sum) {
  return _mm256_srai_epi32(Add(sum, _mm256_set1_epi32(1 << (kShift - 1))), kShift);
}

// Even and odd columns, limited to 0 … 65535, back in their places.
QX_AVX2 inline void StoreColumns(uint16_t* out, __m256i even, __m256i odd) {
  const __m256i order =
      _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
  Store(out, _mm256_shuffle_epi8(_mm256_packus_epi32(even, odd), order));
}

QX_AVX2 inline __m256 EightAsFloat(const uint16_t* p) {
  const __m256i wide = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
  return _mm256_mul_ps(_mm256_cvtepi32_ps(wide), _mm256_set1_ps(1.0f / 65535));
}

}  // namespace

QX_AVX2 void Unpack(const uint16_t* samples, const UnpackLevels& levels, const float* gains, uint16_t* out, int n) {
  const UnpackVectors vectors = {Alternating(levels.black), Alternating(levels.range), Alternating(levels.whiteBalance)};
  int x = 0;
  for (; x + 16 <= n; x += 16) {
    const __m256i s = Load(samples + x);
    const __m256i low = _mm256_cvtepu16_epi32(_mm256_castsi256_si128(s)), high = _mm256_cvtepu16_epi32(_mm256_extracti128_si256(s, 1));
    const __m256i a = Normalize(low, vectors, gains == nullptr ? nullptr : gains + x);
    const __m256i b = Normalize(high, vectors, gains == nullptr ? nullptr : gains + x + 8);
    Store(out + x, _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8));
  }
  plain::Unpack(samples + x, levels, gains == nullptr ? nullptr : gains + x, out + x, n - x);
}

// Names as in the plain version; Even and Odd say which columns of the row a vector holds, Left and Right that it is one pair further.
QX_AVX2 void Gradient(const uint16_t* const rows[5], uint16_t* own, uint16_t* green, uint16_t* opposite, int n) {
  const uint16_t *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
  for (int x = 0; x < n; x += 16) {
    const __m256i here = Load(c + x), left = Load(c + x - 2), right = Load(c + x + 2);
    const __m256i above = Load(b + x), below = Load(d + x), aboveFar = Load(a + x), belowFar = Load(e + x);
    const __m256i even = Even(here), odd = Odd(here);
    const __m256i downEven = Add(Even(above), Even(below)), downOdd = Add(Odd(above), Odd(below));
    const __m256i downOddLeft = Add(Odd(b + x - 2), Odd(d + x - 2)), downEvenRight = Add(Even(b + x + 2), Even(d + x + 2));

    // Red or blue sites: the even columns.
    const __m256i far = Add(Add(Even(left), Even(right)), Add(Even(aboveFar), Even(belowFar)));
    const __m256i cross = Add(Add(Odd(left), odd), downEven);
    const __m256i base = Sub(Left<2>(even), far);  // 4c − far
    const __m256i greenEven = Round<3>(Add(base, Left<1>(cross)));
    const __m256i oppositeEven = Round<4>(Add(Add(Left<1>(base), base), Left<2>(Add(downOddLeft, downOdd))));

    // Green sites: the odd columns.
    const __m256i across = Add(even, Even(right)), acrossFar = Add(Odd(left), Odd(right));
    const __m256i downFar = Add(Odd(aboveFar), Odd(belowFar));
    const __m256i diagonal = Add(downEven, downEvenRight);
    const __m256i common = Left<1>(Sub(Add(Left<2>(odd), odd), diagonal));  // 10c − 2 · diagonal
    const __m256i ownOdd = Round<4>(Add(Add(common, Left<1>(Sub(Left<2>(across), acrossFar))), downFar));
    const __m256i oppositeOdd = Round<4>(Add(Add(common, Left<1>(Sub(Left<2>(downOdd), downFar))), acrossFar));

    StoreColumns(own + x, even, ownOdd);
    StoreColumns(green + x, greenEven, odd);
    StoreColumns(opposite + x, oppositeEven, oppositeOdd);
  }
}

QX_AVX2 void Bilinear(const uint16_t* const rows[3], uint16_t* own, uint16_t* green, uint16_t* opposite, int n) {
  const uint16_t *b = rows[0], *c = rows[1], *d = rows[2];
  for (int x = 0; x < n; x += 16) {
    const __m256i here = Load(c + x), above = Load(b + x), below = Load(d + x);
    const __m256i even = Even(here), odd = Odd(here);
    const __m256i downEven = Add(Even(above), Even(below)), downOdd = Add(Odd(above), Odd(below));
    const __m256i downOddLeft = Add(Odd(b + x - 2), Odd(d + x - 2));
    const __m256i greenEven = Round<2>(Add(Add(Odd(c + x - 2), odd), downEven));
    const __m256i oppositeEven = Round<2>(Add(downOddLeft, downOdd));
    StoreColumns(own + x, even, Round<1>(Add(even, Even(c + x + 2))));
    StoreColumns(green + x, greenEven, odd);
    StoreColumns(opposite + x, oppositeEven, Round<1>(downOdd));
  }
}

QX_AVX2 void Color(const RgbRow& in, const ColorStep& step, float* const out[3], int n) {
  __m256 m[9];
  for (size_t i = 0; i < 9; ++i) m[i] = _mm256_set1_ps(step.matrix[i]);
  const __m256 gain = _mm256_set1_ps(step.gain), zero = _mm256_setzero_ps();
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const __m256 r = EightAsFloat(in.r + x), g = EightAsFloat(in.g + x), b = EightAsFloat(in.b + x);
    for (int i = 0; i < 3; ++i) {
      __m256 v = _mm256_add_ps(_mm256_mul_ps(m[3 * i], r), _mm256_mul_ps(m[3 * i + 1], g));
      v = _mm256_add_ps(v, _mm256_mul_ps(m[3 * i + 2], b));
      _mm256_storeu_ps(out[i] + x, _mm256_max_ps(_mm256_mul_ps(v, gain), zero));
    }
  }
  float* const rest[3] = {out[0] + x, out[1] + x, out[2] + x};
  plain::Color({in.r + x, in.g + x, in.b + x}, step, rest, n - x);
}

QX_AVX2 void Halve(const float* above, const float* below, float* out, int n) {
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const __m256 first = _mm256_add_ps(_mm256_loadu_ps(above + 2 * x), _mm256_loadu_ps(below + 2 * x));
    const __m256 second = _mm256_add_ps(_mm256_loadu_ps(above + 2 * x + 8), _mm256_loadu_ps(below + 2 * x + 8));
    const __m256 even = _mm256_shuffle_ps(first, second, 0x88), odd = _mm256_shuffle_ps(first, second, 0xDD);
    const __m256 mean = _mm256_mul_ps(_mm256_add_ps(even, odd), _mm256_set1_ps(0.25f));
    _mm256_storeu_ps(out + x, _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(mean), 0xD8)));
  }
  plain::Halve(above + 2 * x, below + 2 * x, out + x, n - x);
}

}  // namespace qx::avx2

#endif
