// What the decoder configuration of an AAC track says (ISO/IEC 14496-1 descriptors, ISO/IEC 14496-3 AudioSpecificConfig).
#pragma once

#include "base/byte_reader.h"
#include "rawzip/mp4_sound.h"

namespace qx {

/// Fills object type, rate, channels and samples per packet from the contents of an "esds" box. What it does not tell stays as it was.
void ParseEsds(Bytes esds, Mp4Sound* sound);

}  // namespace qx
