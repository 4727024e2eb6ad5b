// What a reader uploads of a frame in direct mode: the stored bytes as they are, or 16-bit samples packed to the bits that they need.
#pragma once

#include <cstdint>

#include "develop/gpu/raw_upload.h"
#include "media/raw_frame.h"
#include "pipeline/gpu_switches.h"

namespace qx {

class Clip;

struct UploadPlan {
  bool byReader = false;  // false: the GPU thread copies the samples itself
  SampleLayout layout;
  uint64_t bytes = 0;
  Bytes stored;          // the samples as they are
  bool packs = false;    // `stored` holds 16-bit samples in native byte order, to be packed to layout.bits
  uint16_t largest = 0;  // packing limits samples to this
  uint32_t width = 0, height = 0;
};

/// Decides for one frame. The first frame of a clip settles the packed width of all and logs "upload: %d-bit samples for the clip%s".
UploadPlan PlanUpload(Clip& clip, const RawFrame& raw, const GpuSwitches& switches);

/// Carries the plan out: `destination` holds plan.bytes.
void WriteUpload(const UploadPlan& plan, uint8_t* destination);

/// Packs `width` samples, limited to `largest`, into `bits` (8 … 16) each, most significant bit first; the row ends on a whole byte.
void PackSampleRow(const uint16_t* samples, uint32_t width, uint32_t bits, uint16_t largest, uint8_t* out);

}  // namespace qx
