#include "develop/pack_rows.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define QX_AVX2 __attribute__((target("avx2")))

namespace qx::avx2 {

namespace {

// Two pixels are 12 bytes and are loaded as 16. So every loop stops while at least one more pixel follows, and the plain version does the
// rest of the row.

QX_AVX2 inline __m256i LoadLanes(const uint16_t* low, const uint16_t* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low))),
                                 _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
}
QX_AVX2 inline void Store(void* p, __m256i v) {
  _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}
QX_AVX2 inline void StoreLanes(void* low, void* high, __m256i v) {
  _mm_storeu_si128(static_cast<__m128i*>(low), _mm256_castsi256_si128(v));
  _mm_storeu_si128(static_cast<__m128i*>(high), _mm256_extracti128_si256(v, 1));
}
// Both lanes alike.
QX_AVX2 inline __m256i ShuffleLanes(__m256i v, __m128i order) {
  return _mm256_shuffle_epi8(v, _mm256_broadcastsi128_si256(order));
}

// Eight pairs of pixels, a pair per 32-bit element, the channels as 16-bit halves (first name in the low half).
struct Pairs {
  __m256i evenRg, evenGb, oddRg, oddGb;
};

// `rows`: two pairs each, of the first four pairs in the low lanes and of the last four in the high lanes.
QX_AVX2 inline Pairs Transpose(const __m256i rows[4]) {
  const __m128i order = _mm_setr_epi8(0, 1, 2, 3, 2, 3, 4, 5, 6, 7, 8, 9, 8, 9, 10, 11);
  const __m256i a = ShuffleLanes(rows[0], order), b = ShuffleLanes(rows[1], order);
  const __m256i c = ShuffleLanes(rows[2], order), d = ShuffleLanes(rows[3], order);
  const __m256i evenAb = _mm256_unpacklo_epi32(a, b), evenCd = _mm256_unpacklo_epi32(c, d);
  const __m256i oddAb = _mm256_unpackhi_epi32(a, b), oddCd = _mm256_unpackhi_epi32(c, d);
  return {_mm256_unpacklo_epi64(evenAb, evenCd), _mm256_unpackhi_epi64(evenAb, evenCd), _mm256_unpacklo_epi64(oddAb, oddCd),
          _mm256_unpackhi_epi64(oddAb, oddCd)};
}

// 16 pixels, in order.
QX_AVX2 inline Pairs LoadPairs(const uint16_t* p) {
  const __m256i rows[4] = {LoadLanes(p, p + 24), LoadLanes(p + 6, p + 30), LoadLanes(p + 12, p + 36), LoadLanes(p + 18, p + 42)};
  return Transpose(rows);
}

// 12 pixels: a group of v210 in each lane, whose last element repeats the one before.
QX_AVX2 inline Pairs LoadGroups(const uint16_t* p) {
  const __m256i last = LoadLanes(p + 12, p + 30);
  const __m256i rows[4] = {LoadLanes(p, p + 18), LoadLanes(p + 6, p + 24), last, last};
  return Transpose(rows);
}

QX_AVX2 inline __m256i Add(__m256i a, __m256i b) {
  return _mm256_add_epi32(a, b);
}
QX_AVX2 inline __m256i Add(__m256i a, int32_t b) {
  return _mm256_add_epi32(a, _mm256_set1_epi32(b));
}
// low half · `low` + high half · `high`, all signed.
QX_AVX2 inline __m256i MultiplyHalves(__m256i v, int16_t low, int16_t high) {
  return _mm256_madd_epi16(v, _mm256_set1_epi32(int32_t(uint32_t(uint16_t(high)) << 16 | uint16_t(low))));
}

// Luma of signed 16-bit channels. The weight of green does not fit 16 bits and is shared by its two places. As the weights add up to 65536,
// an offset of all channels is an offset of the result.
QX_AVX2 inline __m256i Luma(__m256i rg, __m256i gb) {
  return _mm256_srai_epi32(Add(Add(MultiplyHalves(rg, 13933, 23435), MultiplyHalves(gb, 23436, 4732)), 32768), 16);
}
// (b − luma) and (r − luma), as pairs of halves for one multiplication.
QX_AVX2 inline __m256i BlueDifference(__m256i gb, __m256i luma, int16_t weight) {
  return MultiplyHalves(_mm256_blend_epi16(gb, luma, 0x55), int16_t(-weight), weight);
}
QX_AVX2 inline __m256i RedDifference(__m256i rg, __m256i luma, int16_t weight) {
  return MultiplyHalves(_mm256_blend_epi16(rg, _mm256_slli_epi32(luma, 16), 0xAA), weight, int16_t(-weight));
}

// (16-bit v · 255 + 32767) / 65535 = (v + 128) / 257; 0xFF01 is 2^24 / 257, exact for every 16-bit dividend.
QX_AVX2 inline __m256i To8Bits(__m256i v) {
  const __m256i rounded = _mm256_adds_epu16(v, _mm256_set1_epi16(128));
  return _mm256_srli_epi16(_mm256_mulhi_epu16(rounded, _mm256_set1_epi16(int16_t(0xFF01))), 8);
}

// n / 65535 for n below 2^31.
QX_AVX2 inline __m256i DivideBy65535(__m256i n) {
  return _mm256_srli_epi32(Add(Add(n, 1), _mm256_srli_epi32(n, 16)), 16);
}
// n / 4095 for n below 4095 · 4096.
QX_AVX2 inline __m256i DivideBy4095(__m256i n) {
  return _mm256_srli_epi32(Add(Add(n, 1), _mm256_srli_epi32(n, 12)), 12);
}

QX_AVX2 inline __m256i Y8(__m256i rg, __m256i gb) {
  return DivideBy4095(Add(MultiplyHalves(Luma(rg, gb), 219, 0), 16 * 4095 + 2047));
}

// Channels and luma less 32768.
QX_AVX2 inline __m256i Y10(__m256i rg, __m256i gb) {
  return DivideBy65535(Add(MultiplyHalves(Luma(rg, gb), 876, 0), 32768 * 876 + 64 * 65535 + 32767));
}

// Bytes of 16 pixels. Luma stays within 16 … 235 and chroma within 16 … 240, so nothing has to be limited.
QX_AVX2 inline __m256i UyvyWords(const Pairs& pixels) {
  const Pairs p = {_mm256_srli_epi16(pixels.evenRg, 4), _mm256_srli_epi16(pixels.evenGb, 4), _mm256_srli_epi16(pixels.oddRg, 4),
                   _mm256_srli_epi16(pixels.oddGb, 4)};
  const __m256i rg = _mm256_avg_epu16(p.evenRg, p.oddRg), gb = _mm256_avg_epu16(p.evenGb, p.oddGb), luma = Luma(rg, gb);
  const __m256i blue = BlueDifference(gb, luma, 30911);
  const __m256i red = Add(RedDifference(rg, luma, 18211), RedDifference(rg, luma, 18212));  // 36423 does not fit 16 bits
  const __m256i u = _mm256_srli_epi32(Add(blue, 134742016), 20), v = _mm256_srli_epi32(Add(red, 134742016), 20);
  const __m256i y0 = Y8(p.evenRg, p.evenGb), y1 = Y8(p.oddRg, p.oddGb);
  return _mm256_or_si256(_mm256_or_si256(u, _mm256_slli_epi32(y0, 8)),
                         _mm256_or_si256(_mm256_slli_epi32(v, 16), _mm256_slli_epi32(y1, 24)));
}

// Words of a group in each lane. Luma stays within 64 … 940 and chroma within 64 … 960, so nothing has to be limited.
QX_AVX2 inline __m256i V210Words(const Pairs& pixels) {
  const __m256i sign = _mm256_set1_epi16(-32768);
  const __m256i rg = _mm256_xor_si256(_mm256_avg_epu16(pixels.evenRg, pixels.oddRg), sign);
  const __m256i gb = _mm256_xor_si256(_mm256_avg_epu16(pixels.evenGb, pixels.oddGb), sign);
  const __m256i luma = Luma(rg, gb);
  const __m256i cb = _mm256_srli_epi32(Add(BlueDifference(gb, luma, 7726), 537395200), 20);
  const __m256i cr = _mm256_srli_epi32(Add(RedDifference(rg, luma, 9104), 537395200), 20);
  const __m256i yEven = Y10(_mm256_xor_si256(pixels.evenRg, sign), _mm256_xor_si256(pixels.evenGb, sign));
  const __m256i yOdd = Y10(_mm256_xor_si256(pixels.oddRg, sign), _mm256_xor_si256(pixels.oddGb, sign));

  // 16-bit elements: Cb0 Cb2 Cb4 – Cr0 Cr2 Cr4 – and Y0 Y2 Y4 – Y1 Y3 Y5 –. A word's low and middle field become neighbours, its high
  // field stands apart.
  const __m256i chroma = _mm256_packus_epi32(cb, cr), luminance = _mm256_packus_epi32(yEven, yOdd);
  const __m256i lowMiddle =
      _mm256_or_si256(ShuffleLanes(chroma, _mm_setr_epi8(0, 1, -1, -1, -1, -1, 2, 3, 10, 11, -1, -1, -1, -1, 12, 13)),
                      ShuffleLanes(luminance, _mm_setr_epi8(-1, -1, 0, 1, 8, 9, -1, -1, -1, -1, 10, 11, 4, 5, -1, -1)));
  const __m256i high =
      _mm256_or_si256(ShuffleLanes(chroma, _mm_setr_epi8(8, 9, -1, -1, -1, -1, -1, -1, 4, 5, -1, -1, -1, -1, -1, -1)),
                      ShuffleLanes(luminance, _mm_setr_epi8(-1, -1, -1, -1, 2, 3, -1, -1, -1, -1, -1, -1, 12, 13, -1, -1)));
  return _mm256_or_si256(MultiplyHalves(lowMiddle, 1, 1 << 10), _mm256_slli_epi32(high, 20));
}

QX_AVX2 inline __m256 ToFloat(__m256i v) {
  return _mm256_div_ps(_mm256_cvtepi32_ps(v), _mm256_set1_ps(65535));
}

// Two pixels to B, G, R, 1 each.
QX_AVX2 inline __m256 BgraFloats(const uint16_t* rgb) {
  const __m128i order = _mm_setr_epi8(4, 5, 2, 3, 0, 1, -1, -1, 10, 11, 8, 9, 6, 7, -1, -1);
  const __m128i bgr = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(rgb)), order);
  return _mm256_blend_ps(ToFloat(_mm256_cvtepu16_epi32(bgr)), _mm256_set1_ps(1), 0x88);
}

// Eight pixels, four per lane, each 32 bytes after the one before; the high lane's begin 128 bytes after the low lane's.
QX_AVX2 inline void StoreVuya(uint8_t* out, __m256i rg, __m256i gb) {
  const __m256i low = _mm256_set1_epi32(0xFFFF);
  const __m256 r = ToFloat(_mm256_and_si256(rg, low)), g = ToFloat(_mm256_and_si256(gb, low)), b = ToFloat(_mm256_srli_epi32(gb, 16));
  const __m256 y = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(0.2126f), r), _mm256_mul_ps(_mm256_set1_ps(0.7152f), g)),
                                 _mm256_mul_ps(_mm256_set1_ps(0.0722f), b));
  const __m256 v = _mm256_mul_ps(_mm256_sub_ps(r, y), _mm256_set1_ps(0.63500127f));
  const __m256 u = _mm256_mul_ps(_mm256_sub_ps(b, y), _mm256_set1_ps(0.53890925f));
  const __m256i one = _mm256_castps_si256(_mm256_set1_ps(1)), yBits = _mm256_castps_si256(y);
  const __m256i vu01 = _mm256_castps_si256(_mm256_unpacklo_ps(v, u)), vu23 = _mm256_castps_si256(_mm256_unpackhi_ps(v, u));
  const __m256i ya01 = _mm256_unpacklo_epi32(yBits, one), ya23 = _mm256_unpackhi_epi32(yBits, one);
  StoreLanes(out, out + 128, _mm256_unpacklo_epi64(vu01, ya01));
  StoreLanes(out + 32, out + 160, _mm256_unpackhi_epi64(vu01, ya01));
  StoreLanes(out + 64, out + 192, _mm256_unpacklo_epi64(vu23, ya23));
  StoreLanes(out + 96, out + 224, _mm256_unpackhi_epi64(vu23, ya23));
}

// Sums over 2 × 2 pixels, R G B 0 in each lane, from two pixels of two rows in each lane.
QX_AVX2 inline __m256i BlockMeans(__m256i above, __m256i below) {
  const __m128i order = _mm_setr_epi8(0, 1, 6, 7, 2, 3, 8, 9, 4, 5, 10, 11, -1, -1, -1, -1);
  const __m256i sign = _mm256_set1_epi16(-32768);
  const __m256i sums = Add(MultiplyHalves(ShuffleLanes(_mm256_xor_si256(above, sign), order), 1, 1),
                           MultiplyHalves(ShuffleLanes(_mm256_xor_si256(below, sign), order), 1, 1));
  return _mm256_srli_epi32(Add(sums, 4 * 32768 + 2), 2);
}

}  // namespace

QX_AVX2 void PackBgra8(const uint16_t* rgb, uint8_t* out, int32_t width) {
  const __m128i order = _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 10, 9, 8, -1, 13, 12, 11, -1);
  const __m256i alpha = _mm256_set1_epi32(int32_t(0xFF000000));
  int32_t x = 0;
  for (; x + 8 < width; x += 8) {
    const uint16_t* p = rgb + 3 * x;
    const __m256i bytes = _mm256_packus_epi16(To8Bits(LoadLanes(p, p + 12)), To8Bits(LoadLanes(p + 6, p + 18)));
    Store(out + 4 * int64_t(x), _mm256_or_si256(ShuffleLanes(bytes, order), alpha));
  }
  plain::PackBgra8(rgb + 3 * x, out + 4 * int64_t(x), width - x);
}

QX_AVX2 void PackBgra16(const uint16_t* rgb, uint8_t* out, int32_t width) {
  const __m128i order = _mm_setr_epi8(4, 5, 2, 3, 0, 1, -1, -1, 10, 11, 8, 9, 6, 7, -1, -1);
  const __m256i alpha = _mm256_set1_epi64x(int64_t(uint64_t(32768) << 48));
  int32_t x = 0;
  for (; x + 4 < width; x += 4) {
    // (v · 32768 + 32767) / 65535 = (v + 1) / 2 for every 16-bit v.
    const __m256i halves = _mm256_avg_epu16(LoadLanes(rgb + 3 * x, rgb + 3 * x + 6), _mm256_setzero_si256());
    Store(out + 8 * int64_t(x), _mm256_or_si256(ShuffleLanes(halves, order), alpha));
  }
  plain::PackBgra16(rgb + 3 * x, out + 8 * int64_t(x), width - x);
}

QX_AVX2 void PackBgraFloat(const uint16_t* rgb, uint8_t* out, int32_t width) {
  int32_t x = 0;
  for (; x + 2 < width; x += 2) Store(out + 16 * int64_t(x), _mm256_castps_si256(BgraFloats(rgb + 3 * x)));
  plain::PackBgraFloat(rgb + 3 * x, out + 16 * int64_t(x), width - x);
}

QX_AVX2 void PackUyvy(const uint16_t* rgb, uint8_t* out, int32_t width) {
  int32_t x = 0;
  for (; x + 16 < width; x += 16) Store(out + 2 * int64_t(x), UyvyWords(LoadPairs(rgb + 3 * x)));
  plain::PackUyvy(rgb + 3 * x, out + 2 * int64_t(x), width - x);
}

QX_AVX2 void PackV210(const uint16_t* rgb, uint8_t* out, int32_t width) {
  int32_t x = 0;
  for (; x + 12 < width; x += 12) Store(out + x / 6 * 16, V210Words(LoadGroups(rgb + 3 * x)));
  plain::PackV210From(x, rgb, out, width);
}

QX_AVX2 void PackVuyaFloat(const uint16_t* rgb, uint8_t* out, int32_t width) {
  int32_t x = 0;
  for (; x + 16 < width; x += 16) {
    const Pairs pixels = LoadPairs(rgb + 3 * x);
    StoreVuya(out + 16 * int64_t(x), pixels.evenRg, pixels.evenGb);
    StoreVuya(out + 16 * int64_t(x + 1), pixels.oddRg, pixels.oddGb);
  }
  plain::PackVuyaFloat(rgb + 3 * x, out + 16 * int64_t(x), width - x);
}

QX_AVX2 void ReduceRows(const uint16_t* above, const uint16_t* below, uint16_t* out, int32_t width) {
  const __m128i order = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1);
  int32_t x = 0;
  for (; x + 4 < width; x += 4) {
    const uint16_t *a = above + 6 * x, *b = below + 6 * x;
    const __m256i first = BlockMeans(LoadLanes(a, a + 12), LoadLanes(b, b + 12));
    const __m256i second = BlockMeans(LoadLanes(a + 6, a + 18), LoadLanes(b + 6, b + 18));
    // Each lane is 12 bytes; what it writes beyond them belongs to the next pixels, which follow.
    StoreLanes(out + 3 * x, out + 3 * x + 6, ShuffleLanes(_mm256_packus_epi32(first, second), order));
  }
  plain::ReduceRows(above + 6 * x, below + 6 * x, out + 3 * x, width - x);
}

QX_AVX2 void PackBgraFloatMean(const uint16_t* above, const uint16_t* below, uint8_t* out, int32_t width) {
  int32_t x = 0;
  for (; x + 1 < width; ++x) {
    const __m256 a = BgraFloats(above + 6 * x), b = BgraFloats(below + 6 * x);
    __m128 sum = _mm_add_ps(_mm256_castps256_ps128(a), _mm256_extractf128_ps(a, 1));
    sum = _mm_add_ps(_mm_add_ps(sum, _mm256_castps256_ps128(b)), _mm256_extractf128_ps(b, 1));
    _mm_storeu_ps(reinterpret_cast<float*>(out + 16 * int64_t(x)), _mm_mul_ps(sum, _mm_set1_ps(0.25f)));
  }
  plain::PackBgraFloatMean(above + 6 * x, below + 6 * x, out + 16 * int64_t(x), width - x);
}

}  // namespace qx::avx2

#endif
