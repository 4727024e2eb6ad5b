// The median row kernels on 16 columns at a time.
#include "develop/cpu/avx2_block.h"
#include "develop/cpu/median_kernels.h"
#include "platform/cpu_features.h"

namespace qx {

#if defined(__x86_64__)
namespace {

using namespace avx2_block;

QX_AVX2 inline __m256i Min(__m256i a, __m256i b) {
  return _mm256_min_epi32(a, b);
}
QX_AVX2 inline __m256i Max(__m256i a, __m256i b) {
  return _mm256_max_epi32(a, b);
}

/// All ones at the columns x with (x & 1) == parity, for a block that begins at column x.
QX_AVX2 inline __m256i ParityMask(int x, int parity) {
  const __m256i even = _mm256_set1_epi32(0xffff);
  return _mm256_xor_si256(even, _mm256_set1_epi32(-((x ^ parity) & 1)));
}

QX_AVX2 inline __m256i Median3(__m256i a, __m256i b, __m256i c) {
  return Max(Min(a, b), Min(Max(a, b), c));
}

/// Medians of the 3 × 3 neighbourhoods around columns x … x + 7.
QX_AVX2 inline __m256i Median9(const SortedColumns& columns, int x) {
  const int32_t* low = columns.low + x;
  const int32_t* middle = columns.middle + x;
  const int32_t* high = columns.high + x;
  return Median3(Max(Max(Load(low - 1), Load(low)), Load(low + 1)), Median3(Load(middle - 1), Load(middle), Load(middle + 1)),
                 Min(Min(Load(high - 1), Load(high)), Load(high + 1)));
}

QX_AVX2 inline void SortInto(const SortedColumns& out, int x, __m256i a, __m256i b, __m256i c) {
  const __m256i low = Min(a, b), high = Max(a, b);
  Store(out.low + x, Min(low, c));
  Store(out.middle + x, Max(low, Min(high, c)));
  Store(out.high + x, Max(high, c));
}

QX_AVX2 void SortChroma(const RgbNeighbors& rows, int begin, int end, const ChromaColumns& out) {
  const auto& [above, center, below] = rows;
  for (int block = begin; block < end; block = NextBlock(block, end)) {
    for (int x = block; x < block + kColumns; x += 8) {
      const __m256i g0 = Load8(above.g + x), g1 = Load8(center.g + x), g2 = Load8(below.g + x);
      SortInto(out.red, x, _mm256_sub_epi32(Load8(above.r + x), g0), _mm256_sub_epi32(Load8(center.r + x), g1),
               _mm256_sub_epi32(Load8(below.r + x), g2));
      SortInto(out.blue, x, _mm256_sub_epi32(Load8(above.b + x), g0), _mm256_sub_epi32(Load8(center.b + x), g1),
               _mm256_sub_epi32(Load8(below.b + x), g2));
    }
  }
}

/// Green plus the median chroma of 16 columns.
QX_AVX2 inline __m256i Filtered(const uint16_t* green, const SortedColumns& chroma, int x) {
  return Pack16(_mm256_add_epi32(Median9(chroma, x), Load8(green + x)), _mm256_add_epi32(Median9(chroma, x + 8), Load8(green + x + 8)));
}

QX_AVX2 void FilterChroma(const RgbRow& center, const ChromaColumns& columns, BayerRow row, int begin, int end, uint16_t* red,
                          uint16_t* blue) {
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    const __m256i measured = ParityMask(x, 1 - row.greenParity);
    const __m256i r = Filtered(center.g, columns.red, x), b = Filtered(center.g, columns.blue, x);
    Store(red + x, row.red ? _mm256_blendv_epi8(r, Load(center.r + x), measured) : r);
    Store(blue + x, row.red ? b : _mm256_blendv_epi8(b, Load(center.b + x), measured));
  }
}

/// Green of eight red or blue sites, not yet limited.
QX_AVX2 inline __m256i MeanGreen(const RgbRow& center, const ChromaColumns& columns, int x) {
  const __m256i fromRed = _mm256_sub_epi32(Load8(center.r + x), Median9(columns.red, x));
  const __m256i fromBlue = _mm256_sub_epi32(Load8(center.b + x), Median9(columns.blue, x));
  return _mm256_srai_epi32(_mm256_add_epi32(fromRed, fromBlue), 1);
}

QX_AVX2 void FilterGreen(const RgbRow& center, const ChromaColumns& columns, BayerRow row, int begin, int end, uint16_t* green) {
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    const __m256i mean = Pack16(MeanGreen(center, columns, x), MeanGreen(center, columns, x + 8));
    Store(green + x, _mm256_blendv_epi8(mean, Load(center.g + x), ParityMask(x, row.greenParity)));
  }
}

}  // namespace

MedianKernels Avx2MedianKernels() {
  return {"avx2", GetCpuFeatures().avx2, kColumns, SortChroma, FilterChroma, FilterGreen};
}

#else

MedianKernels Avx2MedianKernels() {
  return {"avx2", false};
}

#endif

}  // namespace qx
