#include "qorix/slice_kernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
#include <cstring>

#define QX_BMI2 [[gnu::target("bmi,bmi2"), gnu::always_inline]] inline

namespace qx {

namespace {

constexpr uint32_t kWindowBits = 57;  // valid after a refill at any bit
constexpr uint32_t kMaxCodeBits = 32;
// Two residuals fit a window when neither escapes: 15 ones, a zero and k bits each.
constexpr uint32_t kPairMaxK = 12;
static_assert(2 * (kEscapeOnes + kPairMaxK) <= kWindowBits);
// Bytes that the windows of one cell can touch.
constexpr uint64_t kCellReach = kCellSamples * kMaxCodeBits / 8 + 8;

/// A bit position and the bits from there on.
struct Window {
  const uint8_t* begin;
  uint64_t bit;
  uint64_t bits;
  uint32_t k;
};

QX_BMI2 void Refill(Window& w) {
  w.bits = LoadU64Le(w.begin + w.bit / 8) >> (w.bit % 8);
}

QX_BMI2 uint16_t TakeResidual(Window& w) {
  const uint32_t ones = uint32_t(_tzcnt_u64(~w.bits));
  if (ones >= kEscapeOnes) [[unlikely]] {
    const auto residual = uint16_t(w.bits >> kEscapeOnes);
    w.bit += kMaxCodeBits;
    Refill(w);
    return residual;
  }
  const auto low = uint32_t(_bzhi_u64(w.bits >> (ones + 1), w.k));
  const uint32_t length = ones + 1 + w.k;
  w.bits >>= length;
  w.bit += length;
  return uint16_t(ones << w.k | low);
}

/// One cell of each of kStreams slices in lock step: their chains of shifts hide each other's latency.
template <int kStreams>
QX_BMI2 void ReadCells(SliceStream* const* streams, const uint32_t* k) {
  Window windows[kStreams];
  uint16_t* residuals[kStreams];
  for (int s = 0; s < kStreams; ++s) {
    windows[s] = {streams[s]->begin, streams[s]->nextBit, 0, k[s]};
    residuals[s] = streams[s]->residuals;
  }
  for (uint32_t i = 0; i < kCellSamples; i += 2) {
    for (int s = 0; s < kStreams; ++s) Refill(windows[s]);
    for (int s = 0; s < kStreams; ++s) residuals[s][i] = TakeResidual(windows[s]);
    for (int s = 0; s < kStreams; ++s) residuals[s][i + 1] = TakeResidual(windows[s]);
  }
  for (int s = 0; s < kStreams; ++s) streams[s]->nextBit = windows[s].bit;
}

/// Any cell, also where the data ends.
QX_BMI2 void ReadCellWithCare(SliceStream& stream, uint32_t k) {
  if (k == kZeroRiceCode || stream.nextBit > stream.SizeBits()) {
    std::memset(stream.residuals, 0, kCellSamples * sizeof(uint16_t));
    return;
  }
  for (uint32_t i = 0; i < kCellSamples; ++i) {
    const uint64_t bits = stream.BitsAt(stream.nextBit);
    const uint32_t ones = uint32_t(_tzcnt_u64(~bits));
    const bool escapes = ones >= kEscapeOnes;
    stream.residuals[i] = uint16_t(escapes ? bits >> kEscapeOnes : ones << k | _bzhi_u64(bits >> (ones + 1), k));
    stream.nextBit += escapes ? kMaxCodeBits : ones + 1 + k;
  }
}

QX_BMI2 bool IsPlainSailing(const SliceStream& stream, uint32_t k) {
  return k <= kPairMaxK && stream.nextBit / 8 + kCellReach <= uint64_t(stream.end - stream.begin);
}

}  // namespace

[[gnu::target("bmi,bmi2")]] void ReadRiceRowBmi2(StreamRow streams, uint64_t cells) {
  SliceStream* present[kGroupSlices];
  const auto count = std::copy_if(streams.begin(), streams.end(), present, [](const SliceStream* s) { return s != nullptr; }) - present;
  for (uint64_t cell = 0; cell < cells; ++cell) {
    uint32_t k[kGroupSlices];
    bool plainSailing[kGroupSlices] = {};
    for (int s = 0; s < count; ++s) {
      k[s] = CellCode(present[s]->codes, present[s]->nextCell++);
      plainSailing[s] = IsPlainSailing(*present[s], k[s]);
    }
    if (plainSailing[0] && plainSailing[1] && plainSailing[2] && plainSailing[3]) {
      ReadCells<kGroupSlices>(present, k);
    } else {
      for (int s = 0; s < count; ++s) {
        if (plainSailing[s]) {
          ReadCells<1>(present + s, k + s);
        } else {
          ReadCellWithCare(*present[s], k[s]);
        }
      }
    }
    for (int s = 0; s < count; ++s) present[s]->residuals += kCellSamples;
  }
  for (int s = 0; s < count; ++s) present[s]->residuals -= cells * kCellSamples;
}

}  // namespace qx

#endif
