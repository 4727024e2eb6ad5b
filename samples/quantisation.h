// Tables of mode 1 of `.qorix` frames: how linear samples become codes. Both families are computed from the numbers in the frame head.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "samples/qorix_frame.h"

namespace qx {

/// Steps as wide as `k` times the noise: the variance of a linear value x is (x − black) × slope + readVariance. `clip`, 1 … white, is a
/// linear value with a code of its own, the last one (0: none).
QorixTableParameters NoiseTable(float k, float black, float slope, float readVariance, uint16_t white, uint16_t clip = 0);

/// `bits` (1 … 16) per code for the linear values 0 … values, evenly or on a logarithmic curve.
QorixTableParameters BitDepthTable(int bits, bool logarithmic, uint32_t values);

/// First linear value of each code; nothing for numbers that define no table.
std::optional<std::vector<uint32_t>> BinStarts(const QorixTableParameters& parameters);

/// Code of each 16-bit linear value: the last bin that starts at or below it.
std::vector<uint16_t> CodesOfValues(std::span<const uint32_t> binStarts);

}  // namespace qx
