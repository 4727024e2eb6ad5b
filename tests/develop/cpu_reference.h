// The processor path written straight from the formulas: whole frames, one pixel at a time, double precision after the integer stages.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "develop/color_model.h"
#include "develop/develop_params.h"
#include "develop/encoding.h"
#include "develop/geometry.h"
#include "media/dng_info.h"

namespace qx {

/// Samples of the whole sensor to the normalised mosaic of the active area.
std::vector<uint16_t> ReferenceMosaic(const DngInfo& camera, const std::vector<uint16_t>& samples, const DevelopParams& params);

/// Methods 0 and 2, interleaved RGB.
std::vector<uint16_t> ReferenceDebayer(const std::vector<uint16_t>& mosaic, int w, int h, const std::array<uint8_t, 4>& cfa,
                                       Demosaic method);

/// The colour step, interleaved RGB.
std::vector<double> ReferenceColor(const std::vector<uint16_t>& rgb, const ColorState& color);

/// Crop, box resampling and warp, interleaved RGB of the output size.
std::vector<double> ReferenceRender(const std::vector<double>& linear, const DevelopGeometry& geometry);

/// 16-bit codes; log kinds through their tables.
std::vector<uint16_t> ReferenceEncode(const std::vector<double>& rendered, const EncodingState& encoding);

struct ReferenceFrame {
  Size size;
  std::vector<double> linear;  // rendered, before the encoding
  std::vector<uint16_t> codes;
};
/// All stages. `warp` is the frame's.
ReferenceFrame ReferenceDevelop(const DngInfo& camera, const RectilinearWarp& warp, const std::vector<uint16_t>& samples,
                                const DevelopParams& params);

}  // namespace qx
