// The AHD row kernels on 16 columns at a time.
#include "develop/cpu/ahd_kernels.h"
#include "develop/cpu/avx2_block.h"
#include "develop/cpu/lab_tables.h"
#include "platform/cpu_features.h"

namespace qx {

#if defined(__x86_64__)
namespace {

using namespace avx2_block;

/// Both orders of alternating words: all ones in the low word of each 32-bit lane, or in the high one.
struct ColumnMasks {
  __m256i words[2];
  __m256i doublewords[2];
};
QX_AVX2 inline ColumnMasks MakeColumnMasks() {
  const __m256i even16 = _mm256_set1_epi32(0xffff), even32 = _mm256_set1_epi64x(0xffffffffLL);
  const __m256i ones = _mm256_set1_epi32(-1);
  return {{even16, _mm256_xor_si256(even16, ones)}, {even32, _mm256_xor_si256(even32, ones)}};
}

/// v4 >> 2 of eight columns. Packing limits it to 0 … 65535, which changes nothing: the neighbours' range that follows is narrower.
QX_AVX2 inline __m256i QuarterSum(__m256i c, __m256i a, __m256i b, __m256i a2, __m256i b2) {
  const __m256i near = _mm256_add_epi32(_mm256_add_epi32(a, b), c);
  const __m256i far = _mm256_add_epi32(a2, b2);
  return _mm256_srai_epi32(_mm256_sub_epi32(_mm256_slli_epi32(near, 1), far), 2);
}

QX_AVX2 void Green(const GreenTaps& taps, int greenParity, int begin, int end, uint16_t* out) {
  const __m256i zero = _mm256_setzero_si256();
  const ColumnMasks masks = MakeColumnMasks();
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    const __m256i c = Load(taps.center + x), a = Load(taps.before + x), b = Load(taps.after + x);
    const __m256i a2 = Load(taps.before2 + x), b2 = Load(taps.after2 + x);
    const __m256i low = QuarterSum(_mm256_unpacklo_epi16(c, zero), _mm256_unpacklo_epi16(a, zero), _mm256_unpacklo_epi16(b, zero),
                                   _mm256_unpacklo_epi16(a2, zero), _mm256_unpacklo_epi16(b2, zero));
    const __m256i high = QuarterSum(_mm256_unpackhi_epi16(c, zero), _mm256_unpackhi_epi16(a, zero), _mm256_unpackhi_epi16(b, zero),
                                    _mm256_unpackhi_epi16(a2, zero), _mm256_unpackhi_epi16(b2, zero));
    const __m256i sum = _mm256_packus_epi32(low, high);  // undoes the unpacking's order
    const __m256i limited = _mm256_min_epu16(_mm256_max_epu16(sum, _mm256_min_epu16(a, b)), _mm256_max_epu16(a, b));
    Store(out + x, _mm256_blendv_epi8(limited, c, masks.words[(x ^ greenParity) & 1]));
  }
}

QX_AVX2 void Chroma(const RowTriple<uint16_t>& mosaic, const RowTriple<uint16_t>& green, int begin, int end, int32_t* sum) {
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    for (int i = x; i < x + kColumns; i += 8) {
      const __m256i samples =
          _mm256_add_epi32(_mm256_add_epi32(Load8(mosaic.above + i), Load8(mosaic.center + i)), Load8(mosaic.below + i));
      const __m256i greens = _mm256_add_epi32(_mm256_add_epi32(Load8(green.above + i), Load8(green.center + i)), Load8(green.below + i));
      Store(sum + i, _mm256_sub_epi32(samples, greens));
    }
  }
}

/// The row's own chroma colour and the other one, of eight columns, not yet limited. `atGreen` is −1 at green sites, 0 elsewhere.
struct ColorPair {
  __m256i own, other;
};
QX_AVX2 inline ColorPair InterpolateColors(const uint16_t* green, const int32_t* sum, __m256i atGreen) {
  const __m256i one = _mm256_set1_epi32(1);
  const __m256i g = Load8(green);
  // Green sites: sides >> 1 and sum >> 1. Others: (sides + 1) >> 2 and sum.
  const __m256i sides = _mm256_add_epi32(_mm256_add_epi32(Load(sum - 1), Load(sum + 1)), _mm256_add_epi32(one, atGreen));
  const __m256i fromSides = _mm256_add_epi32(g, _mm256_srav_epi32(sides, _mm256_add_epi32(_mm256_add_epi32(one, one), atGreen)));
  const __m256i fromSum = _mm256_add_epi32(g, _mm256_srav_epi32(Load(sum), _mm256_abs_epi32(atGreen)));
  return {_mm256_blendv_epi8(fromSum, fromSides, atGreen), _mm256_blendv_epi8(fromSides, fromSum, atGreen)};
}

QX_AVX2 void Color(const uint16_t* green, const int32_t* sum, BayerRow row, int begin, int end, const RgbPlanes& out) {
  const ColumnMasks masks = MakeColumnMasks();
  uint16_t* const own = row.red ? out.r : out.b;
  uint16_t* const other = row.red ? out.b : out.r;
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    const __m256i atGreen = masks.doublewords[(x ^ row.greenParity) & 1];
    const ColorPair first = InterpolateColors(green + x, sum + x, atGreen);
    const ColorPair second = InterpolateColors(green + x + 8, sum + x + 8, atGreen);
    Store(own + x, Pack16(first.own, second.own));
    Store(other + x, Pack16(first.other, second.other));
    Store(out.g + x, Load(green + x));
  }
}

/// One row of the matrix for multiply-add on pairs (r, g) and (b, 0), each less 32768 to fit a signed word; `bias` undoes that, and rounds.
struct MatrixRow {
  __m256i rg, b, bias;
};
QX_AVX2 inline MatrixRow MakeMatrixRow(const int32_t* m) {
  return {_mm256_set1_epi32(int(uint32_t(m[1]) << 16 | (uint32_t(m[0]) & 0xffff))), _mm256_set1_epi32(m[2] & 0xffff),
          _mm256_set1_epi32(32768 * (m[0] + m[1] + m[2]) + 512)};
}

/// The packed table's words for eight values of X, Y or Z. Sums stay below 3 · 8191 · 65535 + 512 < 2^31.
QX_AVX2 inline __m256i LookUp(const MatrixRow& row, __m256i rg, __m256i b, const uint32_t* table) {
  const __m256i sum = _mm256_add_epi32(_mm256_add_epi32(_mm256_madd_epi16(rg, row.rg), _mm256_madd_epi16(b, row.b)), row.bias);
  const __m256i index = _mm256_min_epi32(_mm256_max_epi32(_mm256_srai_epi32(sum, 10), _mm256_setzero_si256()), _mm256_set1_epi32(65535));
  return _mm256_i32gather_epi32(reinterpret_cast<const int*>(table), index, 4);
}

/// Sixteen table words split into their halves; in the order of what was unpacked.
struct TableHalves {
  __m256i low, high;
};
QX_AVX2 inline TableHalves LookUp16(const MatrixRow& row, const __m256i (&rg)[2], const __m256i (&b)[2], const uint32_t* table) {
  const __m256i words[2] = {LookUp(row, rg[0], b[0], table), LookUp(row, rg[1], b[1], table)};
  const __m256i lowHalf = _mm256_set1_epi32(0xffff);
  return {_mm256_packus_epi32(_mm256_and_si256(words[0], lowHalf), _mm256_and_si256(words[1], lowHalf)),
          _mm256_packus_epi32(_mm256_srli_epi32(words[0], 16), _mm256_srli_epi32(words[1], 16))};
}

QX_AVX2 inline __m256i TableT2(const TableHalves& words) {
  return _mm256_add_epi16(_mm256_mulhi_epu16(words.low, _mm256_set1_epi16(kLabT2PerT1)), _mm256_srli_epi16(words.high, 13));
}

QX_AVX2 void Lab(const RgbRow& rgb, const LabConversion& conversion, int begin, int end, const LabPlanes& out) {
  const int32_t* m = conversion.matrix.data();
  const MatrixRow rows[3] = {MakeMatrixRow(m), MakeMatrixRow(m + 3), MakeMatrixRow(m + 6)};
  const uint32_t* table = conversion.packed;
  const __m256i half = _mm256_set1_epi16(-32768), zero = _mm256_setzero_si256();
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    const __m256i r = _mm256_xor_si256(Load(rgb.r + x), half), g = _mm256_xor_si256(Load(rgb.g + x), half);
    const __m256i b = _mm256_xor_si256(Load(rgb.b + x), half);
    const __m256i rg[2] = {_mm256_unpacklo_epi16(r, g), _mm256_unpackhi_epi16(r, g)};
    const __m256i b0[2] = {_mm256_unpacklo_epi16(b, zero), _mm256_unpackhi_epi16(b, zero)};
    const TableHalves fx = LookUp16(rows[0], rg, b0, table), fy = LookUp16(rows[1], rg, b0, table), fz = LookUp16(rows[2], rg, b0, table);
    Store(out.l + x, _mm256_sub_epi16(_mm256_and_si256(fy.high, _mm256_set1_epi16(0x1fff)), _mm256_set1_epi16(1024)));
    Store(out.a + x, _mm256_sub_epi16(fx.low, fy.low));
    Store(out.b + x, _mm256_sub_epi16(TableT2(fy), TableT2(fz)));
  }
}

QX_AVX2 void Distances(const LabPlanes& one, const LabPlanes& other, int begin, int end, const DistancePlanes& out) {
  const __m256i zero = _mm256_setzero_si256();
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    Store(out.l + x, _mm256_abs_epi16(_mm256_sub_epi16(Load(one.l + x), Load(other.l + x))));
    const __m256i a1 = Load(one.a + x), a2 = Load(other.a + x);
    // |Δa| passes 2^15: it is taken as an unsigned word, and squared by halves. The permutation makes unpacked halves column order.
    __m256i da = _mm256_sub_epi16(_mm256_max_epi16(a1, a2), _mm256_min_epi16(a1, a2));
    __m256i db = _mm256_sub_epi16(Load(one.b + x), Load(other.b + x));
    da = _mm256_permute4x64_epi64(da, 0xd8);
    db = _mm256_permute4x64_epi64(db, 0xd8);
    const __m256i low = _mm256_mullo_epi16(da, da), high = _mm256_mulhi_epu16(da, da);
    const __m256i db0 = _mm256_unpacklo_epi16(db, zero), db1 = _mm256_unpackhi_epi16(db, zero);
    Store(out.ab + x, _mm256_add_epi32(_mm256_unpacklo_epi16(low, high), _mm256_madd_epi16(db0, db0)));
    Store(out.ab + x + 8, _mm256_add_epi32(_mm256_unpackhi_epi16(low, high), _mm256_madd_epi16(db1, db1)));
  }
}

/// The limits of one block of columns: lightness of 16, chroma of the first and second 8.
struct Limits {
  __m256i l, ab[2];
};

QX_AVX2 inline Limits LimitsAt(const Surroundings& h, const Surroundings& v, int x) {
  Limits limits;
  limits.l = _mm256_min_epu16(_mm256_max_epu16(Load(h.across.l + x - 1), Load(h.across.l + x)),
                              _mm256_max_epu16(Load(v.above.l + x), Load(v.below.l + x)));
  for (int i = 0; i < 2; ++i, x += 8) {
    limits.ab[i] = _mm256_min_epu32(_mm256_max_epu32(Load(h.across.ab + x - 1), Load(h.across.ab + x)),
                                    _mm256_max_epu32(Load(v.above.ab + x), Load(v.below.ab + x)));
  }
  return limits;
}

/// −1 for each column whose distance keeps within the limits.
QX_AVX2 inline __m256i Within(const uint16_t* l, const uint32_t* ab, const Limits& limits) {
  const __m256i first = _mm256_cmpeq_epi32(_mm256_max_epu32(Load(ab), limits.ab[0]), limits.ab[0]);
  const __m256i second = _mm256_cmpeq_epi32(_mm256_max_epu32(Load(ab + 8), limits.ab[1]), limits.ab[1]);
  const __m256i abWithin = _mm256_permute4x64_epi64(_mm256_packs_epi32(first, second), 0xd8);
  return _mm256_andnot_si256(_mm256_cmpgt_epi16(Load(l), limits.l), abWithin);
}

/// Minus the number of neighbours within the limits.
QX_AVX2 inline __m256i MinusCount(const Surroundings& s, int x, const Limits& limits) {
  const __m256i sides =
      _mm256_add_epi16(Within(s.across.l + x - 1, s.across.ab + x - 1, limits), Within(s.across.l + x, s.across.ab + x, limits));
  const __m256i rows = _mm256_add_epi16(Within(s.above.l + x, s.above.ab + x, limits), Within(s.below.l + x, s.below.ab + x, limits));
  return _mm256_add_epi16(sides, rows);
}

QX_AVX2 void Homogeneity(const Surroundings& horizontal, const Surroundings& vertical, int begin, int end, int8_t* lead) {
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    const Limits limits = LimitsAt(horizontal, vertical, x);
    const __m256i difference = _mm256_sub_epi16(MinusCount(vertical, x, limits), MinusCount(horizontal, x, limits));
    const __m128i bytes = _mm_packs_epi16(_mm256_castsi256_si128(difference), _mm256_extracti128_si256(difference, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(lead + x), bytes);
  }
}

QX_AVX2 inline __m128i SumOfThree(const int8_t* p) {
  const auto load = [](const int8_t* q) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q)); };
  return _mm_add_epi8(_mm_add_epi8(load(p - 1), load(p)), load(p + 1));
}

struct VoteMasks {
  __m256i horizontal, vertical;
};

QX_AVX2 inline void SelectPlane(const uint16_t* h, const uint16_t* v, const VoteMasks& vote, uint16_t* out) {
  const __m256i a = Load(h), b = Load(v);
  // avg rounds up; the mean is to be rounded down.
  const __m256i mean = _mm256_sub_epi16(_mm256_avg_epu16(a, b), _mm256_and_si256(_mm256_xor_si256(a, b), _mm256_set1_epi16(1)));
  Store(out, _mm256_blendv_epi8(_mm256_blendv_epi8(mean, a, vote.horizontal), b, vote.vertical));
}

QX_AVX2 void Select(const RowTriple<int8_t>& lead, const RgbRow& horizontal, const RgbRow& vertical, int begin, int end,
                    const RgbPlanes& out) {
  const __m256i zero = _mm256_setzero_si256();
  for (int x = begin; x < end; x = NextBlock(x, end)) {
    const __m128i sum = _mm_add_epi8(_mm_add_epi8(SumOfThree(lead.above + x), SumOfThree(lead.center + x)), SumOfThree(lead.below + x));
    const __m256i votes = _mm256_cvtepi8_epi16(sum);  // within ±36
    const VoteMasks masks = {_mm256_cmpgt_epi16(votes, zero), _mm256_cmpgt_epi16(zero, votes)};
    SelectPlane(horizontal.r + x, vertical.r + x, masks, out.r + x);
    SelectPlane(horizontal.g + x, vertical.g + x, masks, out.g + x);
    SelectPlane(horizontal.b + x, vertical.b + x, masks, out.b + x);
  }
}

}  // namespace

AhdKernels Avx2AhdKernels() {
  return {"avx2", GetCpuFeatures().avx2, kColumns, Green, Chroma, Color, Lab, Distances, Homogeneity, Select};
}

#else

AhdKernels Avx2AhdKernels() {
  return {"avx2", false};
}

#endif

}  // namespace qx
