// AHD and its refinement written straight from the formulas, whole frame, one pixel at a time: slow and obvious.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace qx {

/// `mosaic`: w × h samples, rows packed. `cfa`: colours (0 red, 1 green, 2 blue) of phases (0,0), (0,1), (1,0), (1,1).
/// Interleaved RGB of w × h pixels.
std::vector<uint16_t> ReferenceAhd(const std::vector<uint16_t>& mosaic, int w, int h, const std::array<uint8_t, 4>& cfa,
                                   const std::array<int32_t, 9>& labMatrix, bool refined);

}  // namespace qx
