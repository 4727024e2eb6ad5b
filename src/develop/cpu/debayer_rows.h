// The debayer methods that look at a fixed neighbourhood: 5 × 5 gradient-corrected and bilinear.
#pragma once

#include <memory>

#include "develop/cpu/row_stages.h"

namespace qx {

/// Null when memory is short. `mosaic` is not owned and must outlive the result.
std::unique_ptr<RgbRows> CreateGradientRows(MosaicRows* mosaic, const DebayerSetup& setup);
std::unique_ptr<RgbRows> CreateBilinearRows(MosaicRows* mosaic, const DebayerSetup& setup);

}  // namespace qx
