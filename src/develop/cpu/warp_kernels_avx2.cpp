#include "develop/cpu/row_kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define QX_AVX2 __attribute__((target("avx2")))

namespace qx::avx2 {

namespace {

struct WarpVectors {
  explicit QX_AVX2 WarpVectors(const LensWarp& warp, double y)
      : centreX(_mm256_set1_pd(warp.centreX)),
        centreY(_mm256_set1_pd(warp.centreY)),
        radius(_mm256_set1_pd(warp.radius)),
        inverseRadius(_mm256_set1_pd(warp.inverseRadius)),
        t0(_mm256_set1_pd(warp.t[0])),
        t1(_mm256_set1_pd(warp.t[1])),
        twoT0(_mm256_set1_pd(warp.t[0] * 2)),
        twoT1(_mm256_set1_pd(warp.t[1] * 2)) {
    for (int i = 0; i < 4; ++i) k[i] = _mm256_set1_pd(warp.k[i]);
    const double rowY = (y - warp.centreY) * warp.inverseRadius;
    ny = _mm256_set1_pd(rowY);
    nyny = _mm256_set1_pd(rowY * rowY);
    twoNyNy = _mm256_set1_pd(2 * rowY * rowY);
  }
  __m256d centreX, centreY, radius, inverseRadius, t0, t1, twoT0, twoT1, k[4], ny, nyny, twoNyNy;
};

// Four points, in ApplyLensWarp's order of operations.
template <bool kX, bool kY>
QX_AVX2 inline void WarpFour(const WarpVectors& w, const double* x, double* outX, double* outY) {
  const __m256d nx = _mm256_mul_pd(_mm256_sub_pd(_mm256_loadu_pd(x), w.centreX), w.inverseRadius);
  const __m256d r2 = _mm256_min_pd(_mm256_set1_pd(1), _mm256_add_pd(_mm256_mul_pd(nx, nx), w.nyny));
  __m256d radial = _mm256_add_pd(w.k[2], _mm256_mul_pd(r2, w.k[3]));
  radial = _mm256_add_pd(w.k[1], _mm256_mul_pd(r2, radial));
  radial = _mm256_add_pd(w.k[0], _mm256_mul_pd(r2, radial));
  if (kX) {
    const __m256d twoNxNx = _mm256_mul_pd(_mm256_add_pd(nx, nx), nx);
    const __m256d tangential =
        _mm256_add_pd(_mm256_mul_pd(w.t1, _mm256_add_pd(r2, twoNxNx)), _mm256_mul_pd(_mm256_mul_pd(w.twoT0, nx), w.ny));
    const __m256d offset = _mm256_add_pd(_mm256_mul_pd(nx, radial), tangential);
    _mm256_storeu_pd(outX, _mm256_add_pd(w.centreX, _mm256_mul_pd(w.radius, offset)));
  }
  if (kY) {
    const __m256d tangential =
        _mm256_add_pd(_mm256_mul_pd(w.t0, _mm256_add_pd(r2, w.twoNyNy)), _mm256_mul_pd(_mm256_mul_pd(w.twoT1, nx), w.ny));
    const __m256d offset = _mm256_add_pd(_mm256_mul_pd(w.ny, radial), tangential);
    _mm256_storeu_pd(outY, _mm256_add_pd(w.centreY, _mm256_mul_pd(w.radius, offset)));
  }
}

constexpr int kBlock = 4;  // pixels whose footprints are turned into texels at a time

// For four pixels and one axis: first texel, number of texels, and the footprint relative to the first.
struct AxisBlock {
  alignas(16) int32_t first[kBlock], count[kBlock];
  alignas(16) float from[kBlock], to[kBlock], width[kBlock];
};

QX_AVX2 inline void FillBlock(const double* lowIn, const double* highIn, AxisBlock& block) {
  const __m256d half = _mm256_set1_pd(0.5), low = _mm256_loadu_pd(lowIn), high = _mm256_loadu_pd(highIn);
  const __m256d first = _mm256_add_pd(_mm256_floor_pd(_mm256_sub_pd(low, half)), _mm256_set1_pd(1));
  const __m256d count = _mm256_sub_pd(_mm256_ceil_pd(_mm256_add_pd(high, half)), first);
  const __m128 from = _mm256_cvtpd_ps(_mm256_sub_pd(low, first)), to = _mm256_cvtpd_ps(_mm256_sub_pd(high, first));
  _mm_store_si128(reinterpret_cast<__m128i*>(block.first), _mm256_cvttpd_epi32(first));
  _mm_store_si128(reinterpret_cast<__m128i*>(block.count), _mm256_cvttpd_epi32(count));
  _mm_store_ps(block.from, from);
  _mm_store_ps(block.to, to);
  _mm_store_ps(block.width, _mm_sub_ps(to, from));
}

// Weights of the first four texels of a footprint.
QX_AVX2 inline __m128 FourWeights(const AxisBlock& block, int pixel) {
  const __m128 starts = _mm_setr_ps(-0.5f, 0.5f, 1.5f, 2.5f), ends = _mm_setr_ps(0.5f, 1.5f, 2.5f, 3.5f);
  const __m128 from = _mm_load1_ps(&block.from[pixel]), to = _mm_load1_ps(&block.to[pixel]);
  return _mm_max_ps(_mm_sub_ps(_mm_min_ps(ends, to), _mm_max_ps(starts, from)), _mm_setzero_ps());
}

// Sums of a footprint of at most 4 × 4 texels: r, g, b.
QX_AVX2 inline __m128 SumTexels(const AxisBlock& x, const AxisBlock& y, int pixel, const TexelRows& texels) {
  const __m256 columns = _mm256_castps128_ps256(FourWeights(x, pixel));
  const __m256 firstTwo = _mm256_permutevar8x32_ps(columns, _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1));
  alignas(16) float rowWeights[4];
  _mm_store_ps(rowWeights, FourWeights(y, pixel));
  const float* const* rows = texels.rows + (y.first[pixel] - texels.firstRow);
  const ptrdiff_t offset = ptrdiff_t(x.first[pixel]) * kTexelFloats;
  __m256 sums = _mm256_setzero_ps();
  if (x.count[pixel] <= 2) {
    for (int j = 0; j < y.count[pixel]; ++j) {
      const __m256 weights = _mm256_mul_ps(firstTwo, _mm256_broadcast_ss(&rowWeights[j]));
      sums = _mm256_add_ps(sums, _mm256_mul_ps(weights, _mm256_loadu_ps(rows[j] + offset)));
    }
  } else {
    const __m256 nextTwo = _mm256_permutevar8x32_ps(columns, _mm256_setr_epi32(2, 2, 2, 2, 3, 3, 3, 3));
    for (int j = 0; j < y.count[pixel]; ++j) {
      const __m256 rowWeight = _mm256_broadcast_ss(&rowWeights[j]);
      sums = _mm256_add_ps(sums, _mm256_mul_ps(_mm256_mul_ps(firstTwo, rowWeight), _mm256_loadu_ps(rows[j] + offset)));
      sums = _mm256_add_ps(sums, _mm256_mul_ps(_mm256_mul_ps(nextTwo, rowWeight), _mm256_loadu_ps(rows[j] + offset + 2 * kTexelFloats)));
    }
  }
  return _mm_add_ps(_mm256_castps256_ps128(sums), _mm256_extractf128_ps(sums, 1));
}

bool IsSmall(const AxisBlock& block) {
  return block.count[0] <= 4 && block.count[1] <= 4 && block.count[2] <= 4 && block.count[3] <= 4;
}

void PlainTexels(const FootprintAxis& x, const FootprintAxis& y, const TexelRows& texels, float* const out[3], int first, int n) {
  float* const rest[3] = {out[0] + first, out[1] + first, out[2] + first};
  plain::AverageTexels({x.low + first, x.high + first}, {y.low + first, y.high + first}, texels, rest, n);
}

}  // namespace

QX_AVX2 void WarpPoints(const LensWarp& warp, const double* x, double y, double* outX, double* outY, int n) {
  const WarpVectors vectors(warp, y);
  int i = 0;
  if (outX != nullptr && outY != nullptr) {
    for (; i + 4 <= n; i += 4) WarpFour<true, true>(vectors, x + i, outX + i, outY + i);
  } else if (outX != nullptr) {
    for (; i + 4 <= n; i += 4) WarpFour<true, false>(vectors, x + i, outX + i, nullptr);
  } else if (outY != nullptr) {
    for (; i + 4 <= n; i += 4) WarpFour<false, true>(vectors, x + i, nullptr, outY + i);
  }
  plain::WarpPoints(warp, x + i, y, outX == nullptr ? nullptr : outX + i, outY == nullptr ? nullptr : outY + i, n - i);
}

// Operands in the order that chooses as the plain version's comparisons do.
QX_AVX2 void Footprints(const double* centre, const double* one, const double* other, double reach, int texels, double* low, double* high,
                        int n) {
  const __m256d first = _mm256_set1_pd(-reach), last = _mm256_set1_pd(texels + reach);
  const __m256d half = _mm256_set1_pd(0.5), limit = _mm256_set1_pd(reach);
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m256d c = _mm256_min_pd(last, _mm256_max_pd(_mm256_loadu_pd(centre + i), first));
    const __m256d a = _mm256_loadu_pd(one + i), b = _mm256_loadu_pd(other + i);
    const __m256d from = _mm256_min_pd(b, _mm256_min_pd(a, _mm256_sub_pd(c, half)));
    const __m256d to = _mm256_max_pd(b, _mm256_max_pd(a, _mm256_add_pd(c, half)));
    _mm256_storeu_pd(low + i, _mm256_max_pd(_mm256_sub_pd(c, limit), from));
    _mm256_storeu_pd(high + i, _mm256_min_pd(_mm256_add_pd(c, limit), to));
  }
  plain::Footprints(centre + i, one + i, other + i, reach, texels, low + i, high + i, n - i);
}

QX_AVX2 void ToTexels(const LinearRow& in, float* texels, int n) {
  int x = 0;
  for (; x + 4 <= n; x += 4) {
    __m128 p0 = _mm_loadu_ps(in.r + x), p1 = _mm_loadu_ps(in.g + x), p2 = _mm_loadu_ps(in.b + x), p3 = _mm_setzero_ps();
    _MM_TRANSPOSE4_PS(p0, p1, p2, p3);
    float* out = texels + ptrdiff_t(x) * kTexelFloats;
    _mm_storeu_ps(out, p0);
    _mm_storeu_ps(out + 4, p1);
    _mm_storeu_ps(out + 8, p2);
    _mm_storeu_ps(out + 12, p3);
  }
  plain::ToTexels({in.r + x, in.g + x, in.b + x}, texels + ptrdiff_t(x) * kTexelFloats, n - x);
}

QX_AVX2 void AverageTexels(const FootprintAxis& x, const FootprintAxis& y, const TexelRows& texels, float* const out[3], int n) {
  int i = 0;
  for (; i + kBlock <= n; i += kBlock) {
    AxisBlock columns, rows;
    FillBlock(x.low + i, x.high + i, columns);
    FillBlock(y.low + i, y.high + i, rows);
    if (!IsSmall(columns) || !IsSmall(rows)) {
      PlainTexels(x, y, texels, out, i, kBlock);
      continue;
    }
    __m128 p0 = SumTexels(columns, rows, 0, texels), p1 = SumTexels(columns, rows, 1, texels);
    __m128 p2 = SumTexels(columns, rows, 2, texels), p3 = SumTexels(columns, rows, 3, texels);
    _MM_TRANSPOSE4_PS(p0, p1, p2, p3);
    const __m128 scale = _mm_div_ps(_mm_set1_ps(1), _mm_mul_ps(_mm_load_ps(columns.width), _mm_load_ps(rows.width)));
    _mm_storeu_ps(out[0] + i, _mm_mul_ps(p0, scale));
    _mm_storeu_ps(out[1] + i, _mm_mul_ps(p1, scale));
    _mm_storeu_ps(out[2] + i, _mm_mul_ps(p2, scale));
  }
  PlainTexels(x, y, texels, out, i, n - i);
}

}  // namespace qx::avx2

#endif
