// The sound of a `.qorix` recording: its description and its place against the first frame.
#pragma once

#include "media/source_timeline.h"
#include "qorix/qorix_source.h"

namespace qx {

/// Fills the timeline's sound, which reads through `state` from then on, and the facts beyond it. The scan and the timeline's frames and
/// rates must be filled.
void DescribeQorixSound(SourceTimeline* source, QorixState* state);

}  // namespace qx
