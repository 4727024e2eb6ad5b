// The fields of a recording header chunk.
#pragma once

#include "qorix/chunk_head.h"
#include "qorix/recording_scan.h"

namespace qx {

RecordingHeader ParseRecordingHeader(const HeadFields& head);

/// `head` must reach to the trailer's last field where the chunk's own head does.
TrailerInfo ParseTrailer(const HeadFields& head);

}  // namespace qx
