// What the slice decoders share, and the decoders for slice_codec.cpp to choose from. All give the same result for every input, and the
// same samples for good slices.
//
// A slice begins with one 4-bit code per cell, two a byte, the low nibble first, row by row; the cells' data follows. With coder 0 the code
// is the width of the cell's residuals, with coder 1 the Rice parameter.
#pragma once

#include <cstdint>

#include "qorix/slice_codec.h"

namespace qx {

constexpr uint32_t kZeroRiceCode = 15;  // coder 1: a cell of zeros, without data
constexpr uint32_t kEscapeOnes = 16;    // as many ones say that the residual's remaining bits follow as they are

/// Cells of a row; the last one may reach past the width.
constexpr uint64_t CellsPerRow(uint32_t width) {
  return (uint64_t(width) + kCellSamples - 1) / kCellSamples;
}
inline uint32_t CellCode(const uint8_t* codes, uint64_t cell) {
  return codes[cell / 2] >> (cell % 2 * 4) & 15;
}
/// Bytes of a cell's fixed-width part: 32 values of `bits` each.
constexpr uint32_t FixedBytes(uint32_t bits) {
  return 4 * bits;
}

/// The codes of a slice and where its data begins.
struct SliceCodes {
  bool complete = false;  // the slice holds all of its codes
  const uint8_t* codes = nullptr;
  uint64_t dataBegin = 0;   // byte offset in the slice
  uint64_t fixedBytes = 0;  // of the fixed-width data that the codes ask for: all of coder 0's, the low bits of the two-part layout
};
SliceCodes ReadSliceCodes(Bytes bytes, const SliceFormat& format);

/// One residual after the other, one row after the other. Refills its bits a byte at a time.
bool DecodeSliceGeneric(Bytes bytes, const SliceFormat& format, SliceScratch& scratch, uint16_t* out, size_t strideBytes);
void DecodeSliceGroupGeneric(std::span<SliceJob> jobs, SliceScratch& scratch, size_t strideBytes);

#if defined(__x86_64__)

/// Needs SSE4.1, BMI1 and BMI2.
bool DecodeSliceSse41(Bytes bytes, const SliceFormat& format, SliceScratch& scratch, uint16_t* out, size_t strideBytes);
void DecodeSliceGroupSse41(std::span<SliceJob> jobs, SliceScratch& scratch, size_t strideBytes);
uint64_t SliceScratchBytesSse41(uint32_t width);

#endif

}  // namespace qx
