// The sound of a `.qorix` recording: its description and its place against the first frame.
#pragma once

#include "media/source_timeline.h"
#include "qorix/qorix_source.h"

namespace qx {

/// Fills the timeline's sound and its placement, and the facts beyond them. The timeline's frames and rates must be filled.
void DescribeQorixSound(RecordingScan* scan, SourceTimeline* source, QorixSoundInfo* info);

}  // namespace qx
