// Adaptive homogeneity-directed debayering (Hirakawa and Parks, 2005) with an integer Lab measure, and its median refinement.
#pragma once

#include <memory>
#include <vector>

#include "develop/cpu/row_stages.h"

namespace qx {

/// Plain AHD; with `refined`, three iterations of the chroma and green median passes follow. Null when memory is short. `mosaic` is not
/// owned and must outlive the result.
std::unique_ptr<RgbRows> CreateAhdRows(MosaicRows* mosaic, const DebayerSetup& setup, bool refined);

/// The Lab tables: 3 × 65536 entries (T0, T1, T2), built at the first call, shared with the graphics path. Any thread.
const int32_t* GetLabTables();

}  // namespace qx
