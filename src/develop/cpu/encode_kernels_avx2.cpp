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

struct LutVectors {
  explicit QX_AVX2 LutVectors(const WideLut& lut)
      : last(_mm256_set1_ps(float(lut.size - 1))),
        lastCell(_mm256_set1_epi32(lut.size - 2)),
        red(_mm256_set1_epi32(1)),
        green(_mm256_set1_epi32(lut.size)),
        blue(_mm256_set1_epi32(lut.size * lut.size)) {
    for (size_t c = 0; c < 3; ++c) {
      domainMin[c] = _mm256_set1_ps(lut.domainMin[c]);
      domainWidth[c] = _mm256_set1_ps(lut.domainMax[c] - lut.domainMin[c]);
    }
  }
  __m256 last, domainMin[3], domainWidth[3];
  __m256i lastCell, red, green, blue;  // red, green, blue: entries from one node to the next
};

// The cells and corners of eight pixels: entry numbers and weights along the walk from the low corner to the high one.
struct LutBlock {
  alignas(32) int32_t corner[4][8];
  alignas(32) float weight[4][8];
};

QX_AVX2 inline __m256i Locate(const LutVectors& lut, int channel, __m256 value, __m256* fraction) {
  __m256 position = _mm256_div_ps(_mm256_sub_ps(value, lut.domainMin[channel]), lut.domainWidth[channel]);
  position = _mm256_min_ps(_mm256_max_ps(_mm256_mul_ps(position, lut.last), _mm256_setzero_ps()), lut.last);
  const __m256i cell = _mm256_min_epi32(_mm256_cvttps_epi32(position), lut.lastCell);
  *fraction = _mm256_sub_ps(position, _mm256_cvtepi32_ps(cell));
  return cell;
}

QX_AVX2 inline __m256i Greater(__m256 a, __m256 b) {
  return _mm256_castps_si256(_mm256_cmp_ps(a, b, _CMP_GT_OQ));
}
QX_AVX2 inline __m256i Choose(__m256i mask, __m256i yes, __m256i no) {
  return _mm256_blendv_epi8(no, yes, mask);
}
QX_AVX2 inline void StoreLanes(int32_t* out, __m256i v) {
  _mm256_store_si256(reinterpret_cast<__m256i*>(out), v);
}

QX_AVX2 inline void FillBlock(const LutVectors& lut, const Rgb8& c, LutBlock& block) {
  __m256 fr, fg, fb;
  const __m256i r = Locate(lut, 0, c.r, &fr), g = Locate(lut, 1, c.g, &fg), b = Locate(lut, 2, c.b, &fb);
  const __m256i redFirst = Greater(fr, fg), greenOverBlue = Greater(fg, fb), redOverBlue = Greater(fr, fb);
  const __m256i blueOverGreen = Greater(fb, fg), blueOverRed = Greater(fb, fr);
  const __m256i largest =
      Choose(redFirst, Choose(_mm256_or_si256(greenOverBlue, redOverBlue), lut.red, lut.blue), Choose(blueOverGreen, lut.blue, lut.green));
  const __m256i smallest =
      Choose(redFirst, Choose(greenOverBlue, lut.blue, lut.green), Choose(_mm256_or_si256(blueOverGreen, blueOverRed), lut.red, lut.blue));
  const __m256i low = _mm256_add_epi32(r, _mm256_add_epi32(_mm256_mullo_epi32(g, lut.green), _mm256_mullo_epi32(b, lut.blue)));
  const __m256i high = _mm256_add_epi32(low, _mm256_add_epi32(lut.red, _mm256_add_epi32(lut.green, lut.blue)));
  StoreLanes(block.corner[0], low);
  StoreLanes(block.corner[1], _mm256_add_epi32(low, largest));
  StoreLanes(block.corner[2], _mm256_sub_epi32(high, smallest));
  StoreLanes(block.corner[3], high);

  const __m256 more = _mm256_max_ps(fr, fg), less = _mm256_min_ps(fr, fg);
  const __m256 top = _mm256_max_ps(more, fb), bottom = _mm256_min_ps(less, fb);
  const __m256 middle = _mm256_max_ps(less, _mm256_min_ps(more, fb));
  _mm256_store_ps(block.weight[0], _mm256_sub_ps(_mm256_set1_ps(1), top));
  _mm256_store_ps(block.weight[1], _mm256_sub_ps(top, middle));
  _mm256_store_ps(block.weight[2], _mm256_sub_ps(middle, bottom));
  _mm256_store_ps(block.weight[3], bottom);
}

QX_AVX2 inline __m128 Corner(const float* entries, const LutBlock& block, int corner, int pixel) {
  return _mm_mul_ps(_mm_load_ps(entries + 4 * block.corner[corner][pixel]), _mm_load1_ps(&block.weight[corner][pixel]));
}

// The colour of one pixel as four 16-bit codes, the last one 0.
QX_AVX2 inline __m128i LutCodes(const float* entries, const LutBlock& block, int pixel) {
  __m128 sum = _mm_add_ps(Corner(entries, block, 0, pixel), Corner(entries, block, 1, pixel));
  sum = _mm_add_ps(_mm_add_ps(sum, Corner(entries, block, 2, pixel)), Corner(entries, block, 3, pixel));
  const __m128 limited = _mm_min_ps(_mm_max_ps(sum, _mm_setzero_ps()), _mm_set1_ps(1));
  const __m128i codes = _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(limited, _mm_set1_ps(65535)), _mm_set1_ps(0.5f)));
  return _mm_packus_epi32(codes, codes);
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

// Each pixel is stored as four codes, the next one overwriting the fourth; so the row's last pixel is left to the plain version.
QX_AVX2 void EncodeLut(const LinearRow& in, const WideLut& lut, uint16_t* rgb, int n) {
  const LutVectors vectors(lut);
  int x = 0;
  for (; x + 8 < n; x += 8) {
    LutBlock block;
    FillBlock(vectors, Load(in, x), block);
    for (int i = 0; i < 8; ++i) _mm_storel_epi64(reinterpret_cast<__m128i*>(rgb + 3 * (x + i)), LutCodes(lut.entries, block, i));
  }
  plain::EncodeLut(From(in, x), lut, rgb + 3 * x, n - x);
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
