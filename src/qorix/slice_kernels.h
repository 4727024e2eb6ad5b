// The row kernels of the vectorised slice decoder and the state they pass along. Included by its sources only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/byte_reader.h"
#include "qorix/slice_variants.h"

#if defined(__x86_64__)

namespace qx {

constexpr int kGroupSlices = 4;  // decoded in lock step

/// A slice on its way from bytes to residuals, a row at a time.
struct SliceStream {
  const uint8_t* begin = nullptr;
  const uint8_t* end = nullptr;
  const uint8_t* codes = nullptr;
  uint64_t nextCell = 0;
  const uint8_t* fixed = nullptr;  // the next fixed-width data; all of it is known to lie before `end`
  uint64_t nextBit = 0;            // of the bit stream, from `begin`; past the end of a slice that is too short
  uint16_t* residuals = nullptr;   // of the row: whole cells

  uint64_t SizeBits() const { return uint64_t(end - begin) * 8; }
  /// At least the 57 bits from `bit` on, the first in the lowest place; zeros behind the end.
  uint64_t BitsAt(uint64_t bit) const {
    const uint64_t at = bit / 8, size = uint64_t(end - begin);
    if (at + 8 <= size) return LoadU64Le(begin + at) >> bit % 8;
    uint64_t window = 0;
    for (uint64_t i = at; i < size; ++i) window |= uint64_t(begin[i]) << 8 * (i - at);
    return window >> bit % 8;
  }
};

/// Streams of one group, null where a slice takes no part in this row.
using StreamRow = std::span<SliceStream* const, kGroupSlices>;

// Read the residuals of one row: `cells` cells.
void ReadPlainRowSse41(SliceStream& stream, uint64_t cells);
void ReadInterleavedRowSse41(SliceStream& stream, uint64_t cells);
void ReadTwoPartRowSse41(StreamRow streams, uint64_t cells);
void ReadRiceRowBmi2(StreamRow streams, uint64_t cells);

/// As ReconstructFromLeft. The residuals are whole cells.
void ReconstructFromLeftSse41(const uint16_t* residuals, uint32_t width, uint16_t* out);

/// Rows of one colour pair of four slices, interleaved: entry i has the samples 2i and 2i + 1 of each. Two entries more than the width asks
/// for repeat the last sample of each colour.
struct alignas(16) FourPairs {
  uint16_t samples[kGroupSlices][2];
};
constexpr uint64_t FourPairEntries(uint32_t width) {
  return (uint64_t(width) + 7) / 8 * 4 + 2;
}
using FourRows = std::span<uint16_t* const, kGroupSlices>;

/// Fills `pairs` from the rows.
void InterleaveFourRowsSse41(FourRows rows, uint32_t width, FourPairs* pairs);
/// As ReconstructFromNeighbours for four slices at once; `pairs` holds the rows above and afterwards these.
void ReconstructFourRowsSse41(FourRows residuals, FourPairs* pairs, uint32_t width, uint16_t flatThreshold, FourRows out);

}  // namespace qx

#endif
