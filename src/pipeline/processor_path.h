// Development of a job on the processor.
#pragma once

#include <cstdint>

#include "media/raw_frame.h"
#include "pipeline/frame_job.h"

namespace qx {

/// Develops `raw` (read unpacked) into the job's developed buffer, or, for the linear kind with a float host format, into its converted
/// buffer, with the clip's session of the job's size class, which is created when missing. False with a log line when that fails. Takes the
/// clip's processor lock for the whole frame: frames of one clip are developed one after the other, each on all processors.
bool DevelopOnProcessor(FrameJob& job, const RawFrame& raw, int32_t sourceFrame);

}  // namespace qx
