#include "develop/cpu/row_kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define QX_AVX2 __attribute__((target("avx2")))

namespace qx::avx2 {

namespace {

struct Rgb8 {
  __m256 r, g, b;
};

QX_AVX2 inline Rgb8 Load(const LinearRow& in, int x) {
  return {_mm256_loadu_ps(in.r + x), _mm256_loadu_ps(in.g + x), _mm256_loadu_ps(in.b + x)};
}

QX_AVX2 inline __m256 Dot(const float* row, const Rgb8& c) {
  const __m256 sum = _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(row[0]), c.r), _mm256_mul_ps(_mm256_set1_ps(row[1]), c.g));
  return _mm256_add_ps(sum, _mm256_mul_ps(_mm256_set1_ps(row[2]), c.b));
}

QX_AVX2 inline Rgb8 ThroughMatrix(const float* matrix, const Rgb8& c) {
  if (matrix == nullptr) return c;
  return {Dot(matrix, c), Dot(matrix + 3, c), Dot(matrix + 6, c)};
}

struct CurveVectors {
  const CurveBucket* pieces;
  __m256 largest;
  __m256i firstBits, before;  // before: −(1 << shift), also the mask that finds a piece's start
  __m128i shift;
};

QX_AVX2 inline CurveVectors MakeVectors(const CurveView& curve) {
  return {curve.pieces, _mm256_set1_ps(curve.largest), _mm256_set1_epi32(curve.firstBits), _mm256_set1_epi32(-(1 << curve.shift)),
          _mm_cvtsi32_si128(curve.shift)};
}

QX_AVX2 inline __m256 GatherPieces(const CurveBucket* pieces, __m128i index) {
  static_assert(sizeof(CurveBucket) == 8);
  return _mm256_castsi256_ps(_mm256_i32gather_epi64(reinterpret_cast<const long long*>(pieces), index, 8));
}

// Eight code values ×65535, limited to 0 … 65535.
QX_AVX2 inline __m256 CurveValues(const CurveVectors& curve, __m256 value) {
  const __m256 zero = _mm256_setzero_ps();
  const __m256 x = _mm256_min_ps(_mm256_max_ps(value, zero), curve.largest);
  const __m256i distance = _mm256_max_epi32(_mm256_sub_epi32(_mm256_castps_si256(x), curve.firstBits), curve.before);
  const __m256 start = _mm256_castsi256_ps(_mm256_add_epi32(_mm256_and_si256(distance, curve.before), curve.firstBits));
  // In the order 0 1 4 5 2 3 6 7, so that the two shuffles below leave base and slope in lane order.
  const __m256i index = _mm256_permute4x64_epi64(_mm256_sra_epi32(distance, curve.shift), 0xD8);
  const __m256 low = GatherPieces(curve.pieces, _mm256_castsi256_si128(index));
  const __m256 high = GatherPieces(curve.pieces, _mm256_extracti128_si256(index, 1));
  const __m256 base = _mm256_shuffle_ps(low, high, 0x88), slope = _mm256_shuffle_ps(low, high, 0xDD);
  const __m256 code = _mm256_add_ps(base, _mm256_mul_ps(slope, _mm256_sub_ps(x, start)));
  return _mm256_min_ps(_mm256_max_ps(code, zero), _mm256_set1_ps(65535));
}

// Eight values of 0 … 65535 rounded half up to 16 bits.
QX_AVX2 inline __m128i ToCodes(__m256 value) {
  const __m256i v = _mm256_cvttps_epi32(_mm256_add_ps(value, _mm256_set1_ps(0.5f)));
  return _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

// Eight pixels, interleaved. Each plane is shuffled once so that its values lie where all three output vectors want them.
QX_AVX2 inline void StorePixels(uint16_t* rgb, __m128i r, __m128i g, __m128i b) {
  r = _mm_shuffle_epi8(r, _mm_setr_epi8(0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5, 10, 11));
  g = _mm_shuffle_epi8(g, _mm_setr_epi8(10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15, 4, 5));
  b = _mm_shuffle_epi8(b, _mm_setr_epi8(4, 5, 10, 11, 0, 1, 6, 7, 12, 13, 2, 3, 8, 9, 14, 15));
  __m128i* out = reinterpret_cast<__m128i*>(rgb);
  _mm_storeu_si128(out, _mm_blend_epi16(_mm_blend_epi16(r, g, 0x92), b, 0x24));
  _mm_storeu_si128(out + 1, _mm_blend_epi16(_mm_blend_epi16(r, g, 0x24), b, 0x49));
  _mm_storeu_si128(out + 2, _mm_blend_epi16(_mm_blend_epi16(r, g, 0x49), b, 0x92));
}

LinearRow From(const LinearRow& in, int x) {
  return {in.r + x, in.g + x, in.b + x};
}

}  // namespace

QX_AVX2 void EncodeCurve(const LinearRow& in, const float* gamut, const CurveView& curve, uint16_t* rgb, int n) {
  const CurveVectors vectors = MakeVectors(curve);
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const Rgb8 c = ThroughMatrix(gamut, Load(in, x));
    StorePixels(rgb + 3 * x, ToCodes(CurveValues(vectors, c.r)), ToCodes(CurveValues(vectors, c.g)), ToCodes(CurveValues(vectors, c.b)));
  }
  plain::EncodeCurve(From(in, x), gamut, curve, rgb + 3 * x, n - x);
}

QX_AVX2 void ApplyCurve(const float* in, const CurveView& curve, float* out, int n) {
  const CurveVectors vectors = MakeVectors(curve);
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    _mm256_storeu_ps(out + x, _mm256_mul_ps(CurveValues(vectors, _mm256_loadu_ps(in + x)), _mm256_set1_ps(1.0f / 65535)));
  }
  plain::ApplyCurve(in + x, curve, out + x, n - x);
}

QX_AVX2 void EncodeLinear(const LinearRow& in, const float* gamut, uint16_t* rgb, int n) {
  const __m256 zero = _mm256_setzero_ps(), one = _mm256_set1_ps(1), white = _mm256_set1_ps(65535);
  int x = 0;
  for (; x + 8 <= n; x += 8) {
    const Rgb8 c = ThroughMatrix(gamut, Load(in, x));
    StorePixels(rgb + 3 * x, ToCodes(_mm256_mul_ps(_mm256_min_ps(_mm256_max_ps(c.r, zero), one), white)),
                ToCodes(_mm256_mul_ps(_mm256_min_ps(_mm256_max_ps(c.g, zero), one), white)),
                ToCodes(_mm256_mul_ps(_mm256_min_ps(_mm256_max_ps(c.b, zero), one), white)));
  }
  plain::EncodeLinear(From(in, x), gamut, rgb + 3 * x, n - x);
}

}  // namespace qx::avx2

#endif
