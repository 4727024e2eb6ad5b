#include "qorix/slice_kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <array>
#include <cstring>

#define QX_SSE41 [[gnu::target("sse4.1,bmi,bmi2"), gnu::always_inline]] inline

namespace qx {

namespace {

// A cell's loads may reach this far behind its beginning.
constexpr uint64_t kFixedReach = 64;

/// 32 values; register i has those from 8i on.
struct Cell {
  __m128i values[4];
};

QX_SSE41 __m128i Load(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

QX_SSE41 void StoreCell(uint16_t* residuals, const Cell& cell) {
  for (int i = 0; i < 4; ++i) _mm_storeu_si128(reinterpret_cast<__m128i*>(residuals + 8 * i), cell.values[i]);
}

/// The fixed-width data of the next cell with as many readable bytes as the kernels may touch: where it lies, or near the slice's end a
/// copy.
class FixedData {
 public:
  FixedData(SliceStream& stream, uint32_t bits) {
    const uint32_t size = FixedBytes(bits);
    data_ = stream.fixed;
    if (uint64_t(stream.end - stream.fixed) < kFixedReach) {
      std::memset(copy_, 0, sizeof copy_);
      std::memcpy(copy_, stream.fixed, size);
      data_ = copy_;
    }
    stream.fixed += size;
  }
  const uint8_t* data() const { return data_; }

 private:
  const uint8_t* data_;
  alignas(16) uint8_t copy_[kFixedReach];
};

/// How eight values of some width lie in as many bytes: each goes to a 32-bit place, is multiplied so that its highest bit comes to bit 31,
/// and shifted down (SSE4.1 has no shift with a count for each place).
struct PlainPlan {
  alignas(16) uint8_t bytesOf[2][16];
  alignas(16) uint32_t factors[2][4];
};

constexpr std::array<PlainPlan, 16> MakePlainPlans() {
  std::array<PlainPlan, 16> plans = {};
  for (uint32_t bits = 1; bits < 16; ++bits) {
    for (uint32_t i = 0; i < 8; ++i) {
      const uint32_t firstByte = i * bits / 8, lastByte = ((i + 1) * bits - 1) / 8;
      for (uint32_t b = 0; b < 4; ++b) {
        plans[bits].bytesOf[i / 4][i % 4 * 4 + b] = uint8_t(firstByte + b <= lastByte ? firstByte + b : 0x80);
      }
      plans[bits].factors[i / 4][i % 4] = 1u << (32 - bits - i * bits % 8);
    }
  }
  return plans;
}
constexpr std::array<PlainPlan, 16> kPlainPlans = MakePlainPlans();

QX_SSE41 Cell UnpackPlain(const uint8_t* data, uint32_t bits) {
  const PlainPlan& plan = kPlainPlans[bits];
  const __m128i down = _mm_cvtsi32_si128(int(32 - bits));
  Cell cell;
  for (int i = 0; i < 4; ++i) {
    const __m128i bytes = Load(data + i * bits);
    __m128i halves[2];
    for (int h = 0; h < 2; ++h) {
      const __m128i spread = _mm_shuffle_epi8(bytes, Load(plan.bytesOf[h]));
      halves[h] = _mm_srl_epi32(_mm_mullo_epi32(spread, Load(plan.factors[h])), down);
    }
    cell.values[i] = _mm_packus_epi32(halves[0], halves[1]);
  }
  return cell;
}

/// The bits of each lane behind its whole groups of 16: 8, if the width has bit 1 set, then 4, if it has bit 0 set.
QX_SSE41 __m128i LanesTail(const uint8_t* tail, uint32_t bits) {
  const uint32_t byteBits = (bits & 2) * 4;
  const __m128i hasBytes = _mm_set1_epi16(int16_t(-(bits >> 1 & 1))), hasNibbles = _mm_set1_epi16(int16_t(-(bits & 1)));
  const __m128i bytes = _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(tail)));
  int nibblePairs;
  std::memcpy(&nibblePairs, tail + byteBits, sizeof nibblePairs);
  // Each byte twice, multiplied by 16 and by 1: the nibble wanted comes to the bits 4 to 7.
  const __m128i order = _mm_setr_epi8(0, -1, 0, -1, 1, -1, 1, -1, 2, -1, 2, -1, 3, -1, 3, -1);
  const __m128i twice = _mm_shuffle_epi8(_mm_cvtsi32_si128(nibblePairs), order);
  const __m128i placed = _mm_mullo_epi16(twice, _mm_setr_epi16(16, 1, 16, 1, 16, 1, 16, 1));
  const __m128i nibbles = _mm_and_si128(_mm_srli_epi16(placed, 4), _mm_set1_epi16(15));
  const __m128i shifted = _mm_sll_epi16(nibbles, _mm_cvtsi32_si128(int(byteBits)));
  return _mm_or_si128(_mm_and_si128(bytes, hasBytes), _mm_and_si128(shifted, hasNibbles));
}

/// Eight lanes of 4 × bits. One code for all widths: they change from cell to cell, and a branch on them would often be mispredicted.
QX_SSE41 Cell UnpackInterleaved(const uint8_t* data, uint32_t bits) {
  alignas(16) __m128i groups[5] = {Load(data), Load(data + 16), Load(data + 32)};
  groups[bits / 4] = LanesTail(data + bits / 4 * 16, bits);
  const __m128i mask = _mm_set1_epi16(int16_t((1 << bits) - 1));
  Cell cell;
  for (uint32_t i = 0; i < 4; ++i) {
    const uint32_t group = i * bits / 16, shift = i * bits % 16;
    const __m128i low = _mm_srl_epi16(groups[group], _mm_cvtsi32_si128(int(shift)));
    const __m128i high = _mm_sll_epi16(groups[group + 1], _mm_cvtsi32_si128(int(16 - shift)));
    cell.values[i] = _mm_and_si128(_mm_or_si128(low, high), mask);
  }
  return cell;
}

// Bytes that the windows of a cell's high parts can touch.
constexpr uint64_t kHighReach = 4 * 8 + 8;

/// High parts of one cell in stream order as long as none escapes: where each zero ends one. False where that does not hold or the data may
/// end; the stream is then where it was.
QX_SSE41 bool ReadShortHighParts(SliceStream& stream, Cell& cell) {
  uint64_t bit = stream.nextBit;
  if (bit / 8 + kHighReach > uint64_t(stream.end - stream.begin)) return false;
  alignas(16) uint8_t zeroAt[kCellSamples];
  bool found = true;
  for (uint32_t group = 0; group < kCellSamples; group += 8) {
    uint64_t zeros = ~LoadU64Le(stream.begin + bit / 8) >> (bit % 8);
    uint64_t last = 0;
    for (uint32_t i = 0; i < 8; ++i, zeros = _blsr_u64(zeros)) zeroAt[group + i] = uint8_t(last = _tzcnt_u64(zeros));
    found &= last < 64;
    bit += last + 1;
  }
  if (!found) return false;

  // Ones = distance between zeros. The first of eight starts one before the window.
  const __m128i one = _mm_set1_epi64x(0x0101010101010100), most = _mm_set1_epi8(kEscapeOnes - 1);
  __m128i ones[2], tooMany = _mm_setzero_si128();
  for (int h = 0; h < 2; ++h) {
    const __m128i at = Load(zeroAt + 16 * h);
    ones[h] = _mm_sub_epi8(_mm_sub_epi8(at, _mm_slli_epi64(at, 8)), one);
    tooMany = _mm_or_si128(tooMany, _mm_subs_epu8(ones[h], most));
    // Stream order is lane by lane: 0, 8, 16, 24, 1, 9, …
    ones[h] = _mm_shuffle_epi8(ones[h], _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
  }
  if (!_mm_testz_si128(tooMany, tooMany)) return false;
  const __m128i first = _mm_unpacklo_epi32(ones[0], ones[1]), second = _mm_unpackhi_epi32(ones[0], ones[1]);
  cell.values[0] = _mm_cvtepu8_epi16(first);
  cell.values[1] = _mm_cvtepu8_epi16(_mm_srli_si128(first, 8));
  cell.values[2] = _mm_cvtepu8_epi16(second);
  cell.values[3] = _mm_cvtepu8_epi16(_mm_srli_si128(second, 8));
  stream.nextBit = bit;
  return true;
}

/// High parts of any cell, also where the data ends.
[[gnu::target("sse4.1,bmi,bmi2"), gnu::noinline]] void ReadHighParts(SliceStream& stream, uint32_t k, Cell& cell) {
  alignas(16) uint16_t high[kCellSamples] = {};
  for (uint32_t n = 0; n < kCellSamples && stream.nextBit <= stream.SizeBits(); ++n) {
    const uint64_t bits = stream.BitsAt(stream.nextBit);
    const uint32_t ones = uint32_t(_tzcnt_u64(~bits));
    const bool escapes = ones >= kEscapeOnes;
    high[n % 4 * 8 + n / 4] = uint16_t(escapes ? _bzhi_u64(bits >> kEscapeOnes, 16 - k) : ones);
    stream.nextBit += escapes ? 2 * kEscapeOnes - k : ones + 1;
  }
  for (int i = 0; i < 4; ++i) cell.values[i] = Load(high + 8 * i);
}

QX_SSE41 void ReadTwoPartCell(SliceStream& stream, uint16_t* residuals) {
  const uint32_t k = CellCode(stream.codes, stream.nextCell++);
  Cell cell = {};
  if (k != kZeroRiceCode) {
    if (!ReadShortHighParts(stream, cell)) ReadHighParts(stream, k, cell);
    const Cell low = UnpackInterleaved(FixedData(stream, k).data(), k);
    const __m128i up = _mm_cvtsi32_si128(int(k));
    for (int i = 0; i < 4; ++i) cell.values[i] = _mm_or_si128(_mm_sll_epi16(cell.values[i], up), low.values[i]);
  }
  StoreCell(residuals, cell);
}

}  // namespace

[[gnu::target("sse4.1,bmi,bmi2")]] void ReadPlainRowSse41(SliceStream& stream, uint64_t cells) {
  for (uint64_t i = 0; i < cells; ++i) {
    const uint32_t bits = CellCode(stream.codes, stream.nextCell++);
    StoreCell(stream.residuals + i * kCellSamples, bits == 0 ? Cell{} : UnpackPlain(FixedData(stream, bits).data(), bits));
  }
}

[[gnu::target("sse4.1,bmi,bmi2")]] void ReadInterleavedRowSse41(SliceStream& stream, uint64_t cells) {
  for (uint64_t i = 0; i < cells; ++i) {
    const uint32_t bits = CellCode(stream.codes, stream.nextCell++);
    StoreCell(stream.residuals + i * kCellSamples, UnpackInterleaved(FixedData(stream, bits).data(), bits));
  }
}

[[gnu::target("sse4.1,bmi,bmi2")]] void ReadTwoPartRowSse41(StreamRow streams, uint64_t cells) {
  // The chain of one cell's high parts runs beside the next slice's.
  for (uint64_t i = 0; i < cells; ++i) {
    for (SliceStream* stream : streams) {
      if (stream != nullptr) ReadTwoPartCell(*stream, stream->residuals + i * kCellSamples);
    }
  }
}

}  // namespace qx

#endif
