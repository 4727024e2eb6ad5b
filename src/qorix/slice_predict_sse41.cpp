#include "qorix/slice_kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstring>

#define QX_SSE41 [[gnu::target("sse4.1"), gnu::always_inline]] inline

namespace qx {

namespace {

constexpr uint32_t kBlock = 8;  // samples of a row in one register

QX_SSE41 __m128i Load(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

/// Stores the samples of a block that lie before the width.
QX_SSE41 void StoreBlock(uint16_t* row, uint32_t x, uint32_t width, __m128i samples) {
  if (x + kBlock <= width) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + x), samples);
    return;
  }
  uint16_t block[kBlock];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(block), samples);
  if (x < width) std::memcpy(row + x, block, (width - x) * sizeof(uint16_t));
}

QX_SSE41 __m128i UnzigzagEach(__m128i v) {
  const __m128i sign = _mm_sub_epi16(_mm_setzero_si128(), _mm_and_si128(v, _mm_set1_epi16(1)));
  return _mm_xor_si128(_mm_srli_epi16(v, 1), sign);
}

/// A 4 × 4 matrix of colour pairs.
struct Pairs4x4 {
  __m128i rows[4];
};

QX_SSE41 Pairs4x4 Transpose(const Pairs4x4& m) {
  const __m128i low01 = _mm_unpacklo_epi32(m.rows[0], m.rows[1]), low23 = _mm_unpacklo_epi32(m.rows[2], m.rows[3]);
  const __m128i high01 = _mm_unpackhi_epi32(m.rows[0], m.rows[1]), high23 = _mm_unpackhi_epi32(m.rows[2], m.rows[3]);
  return {{_mm_unpacklo_epi64(low01, low23), _mm_unpackhi_epi64(low01, low23), _mm_unpacklo_epi64(high01, high23),
           _mm_unpackhi_epi64(high01, high23)}};
}

/// Repeats the last sample of each colour behind the width.
QX_SSE41 void RepeatLastSamples(FourPairs* pairs, uint32_t width) {
  const uint32_t last = (width - 1) / 2;
  __m128i pair = Load(pairs + last);
  if (width % 2 == 1 && last > 0) pair = _mm_blend_epi16(pair, Load(pairs + last - 1), 0xAA);
  _mm_store_si128(reinterpret_cast<__m128i*>(pairs + last), pair);
  _mm_store_si128(reinterpret_cast<__m128i*>(pairs + last + 1), pair);
}

/// What a sample is predicted from, besides the one to the left.
struct Above {
  __m128i up, upLeft, upRight;
};

/// The chain through `left` is kept short: all that depends on the row above alone can be computed ahead.
QX_SSE41 __m128i Predict(__m128i left, const Above& n, __m128i flatThreshold) {
  // Flat: left lies within the threshold of the highest and of the lowest of the others, and they of each other.
  const __m128i high = _mm_max_epu16(_mm_max_epu16(n.up, n.upLeft), n.upRight);
  const __m128i low = _mm_min_epu16(_mm_min_epu16(n.up, n.upLeft), n.upRight);
  const __m128i spread = _mm_subs_epu16(_mm_sub_epi16(high, low), flatThreshold);
  const __m128i below = _mm_subs_epu16(_mm_subs_epu16(high, flatThreshold), left);
  const __m128i above = _mm_subs_epu16(left, _mm_adds_epu16(low, flatThreshold));
  const __m128i flat = _mm_cmpeq_epi16(_mm_or_si128(_mm_or_si128(spread, below), above), _mm_setzero_si128());

  // (min(sum, 65535) + 2) >> 2 can be 16,384: the average instruction has the 17th bit that a sum of 16 bits lacks.
  const __m128i sum = _mm_adds_epu16(left, _mm_adds_epu16(_mm_adds_epu16(n.up, n.upLeft), n.upRight));
  const __m128i mean = _mm_avg_epu16(_mm_srli_epi16(sum, 1), _mm_setzero_si128());

  // Median edge: left + up − upLeft with upLeft limited to between them; then the result lies between them, too, and cannot overflow.
  const __m128i lowest = _mm_min_epu16(left, n.up), highest = _mm_max_epu16(left, n.up);
  const __m128i corner = _mm_max_epu16(lowest, _mm_min_epu16(highest, n.upLeft));
  const __m128i median = _mm_sub_epi16(_mm_add_epi16(left, n.up), corner);
  return _mm_blendv_epi8(median, mean, flat);
}

}  // namespace

[[gnu::target("sse4.1")]] void ReconstructFromLeftSse41(const uint16_t* residuals, uint32_t width, uint16_t* out) {
  __m128i left = _mm_setzero_si128();
  for (uint32_t x = 0; x < width; x += kBlock) {
    const __m128i stored = Load(residuals + x);
    __m128i sum = UnzigzagEach(stored);
    if (x == 0) sum = _mm_blend_epi16(sum, stored, 0x03);
    sum = _mm_add_epi16(sum, _mm_slli_si128(sum, 4));
    sum = _mm_add_epi16(sum, _mm_slli_si128(sum, 8));
    sum = _mm_add_epi16(sum, left);
    StoreBlock(out, x, width, sum);
    left = _mm_shuffle_epi32(sum, 0xFF);
  }
}

[[gnu::target("sse4.1")]] void InterleaveFourRowsSse41(FourRows rows, uint32_t width, FourPairs* pairs) {
  for (uint32_t x = 0; x < width; x += kBlock) {
    Pairs4x4 block;
    for (int s = 0; s < kGroupSlices; ++s) {
      uint16_t samples[kBlock] = {};
      std::memcpy(samples, rows[s] + x, (width - x < kBlock ? width - x : kBlock) * sizeof(uint16_t));
      block.rows[s] = Load(samples);
    }
    block = Transpose(block);
    for (int i = 0; i < 4; ++i) _mm_store_si128(reinterpret_cast<__m128i*>(pairs + x / 2 + i), block.rows[i]);
  }
  RepeatLastSamples(pairs, width);
}

[[gnu::target("sse4.1")]] void ReconstructFourRowsSse41(FourRows residuals, FourPairs* pairs, uint32_t width, uint16_t flatThreshold,
                                                        FourRows out) {
  const __m128i threshold = _mm_set1_epi16(int16_t(flatThreshold));
  auto* history = reinterpret_cast<__m128i*>(pairs);
  __m128i left = _mm_setzero_si128();
  Above above = {_mm_setzero_si128(), _mm_setzero_si128(), _mm_load_si128(history)};
  for (uint32_t x = 0; x < width; x += kBlock, history += kBlock / 2) {
    Pairs4x4 block;
    for (int s = 0; s < kGroupSlices; ++s) block.rows[s] = UnzigzagEach(Load(residuals[s] + x));
    block = Transpose(block);
    for (int i = 0; i < 4; ++i) {
      above = {above.upRight, above.up, _mm_load_si128(history + i + 1)};
      // The first two samples of a row have none to the left.
      const __m128i prediction = x == 0 && i == 0 ? above.up : Predict(left, above, threshold);
      left = block.rows[i] = _mm_add_epi16(prediction, block.rows[i]);
      _mm_store_si128(history + i, left);
    }
    block = Transpose(block);
    for (int s = 0; s < kGroupSlices; ++s) StoreBlock(out[s], x, width, block.rows[s]);
  }
  RepeatLastSamples(pairs, width);
}

}  // namespace qx

#endif
