// The writer's side of the lossless slice codec of `.qorix` frames: prediction, cells of 32 zigzag residuals, four ways to pack them.
//
//   std::vector<uint8_t> slice;
//   if (!EncodeSlice({samples, stride, width, rows}, {.packing = SlicePacking::kTwoPart, .predictor = 1}, &slice)) …does not fit…
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qx {

/// Fixed-width packings (coder 0) hold residuals below 32,768 only: samples of at most 14 bits always fit. The others (coder 1) hold all.
enum class SlicePacking : uint8_t { kPlain, kInterleaved, kRice, kTwoPart };

struct SliceSamples {
  const uint16_t* samples = nullptr;  // top row first
  size_t stride = 0;                  // samples from row to row
  uint32_t width = 0, rows = 0;
};

struct SliceCoding {
  SlicePacking packing = SlicePacking::kTwoPart;
  uint8_t predictor = 1;       // 0: from the left; 1: median edge, from the third row on
  uint16_t flatThreshold = 0;  // predictor 1: neighbours that differ by at most this are averaged
};

/// Appends the coded slice to `out`: the cell codes, chosen so that each cell takes the fewest bits, then the cells.
/// False, with `out` as it was, when a residual does not fit the packing. Any thread.
[[nodiscard]] bool EncodeSlice(const SliceSamples& slice, const SliceCoding& coding, std::vector<uint8_t>* out);

/// The residuals of a slice in cell order: rows × ceil(width / 32) × 32 values, 0 behind the width.
std::vector<uint16_t> SliceResiduals(const SliceSamples& slice, uint8_t predictor, uint16_t flatThreshold);

}  // namespace qx
