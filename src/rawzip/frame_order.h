// The capture order of an archive's frames: by the frame index, or by the numbers in their names.
#pragma once

#include "media/source_timeline.h"
#include "rawzip/frame_index.h"

namespace qx {

/// Takes the frames' numbers from their names; when one has none, every frame is numbered by its position.
void NumberByNames(SourceTimeline& source);

/// Takes time stamps and numbers from an accepted index, whose entries are in the present order of the frames, and sorts by time stamp.
void OrderByIndex(SourceTimeline& source, const FrameIndex& index);

/// Sorts by number and counts gaps and duplicates. A first frame that is numbered far beyond its followers is left over from an earlier
/// recording: it is renumbered to come right before them. `commentFrameRate`: 0 when not given.
void OrderByNumber(SourceTimeline& source, double commentFrameRate);

/// Undoes OrderByIndex: archive order, numbers from names, no time stamps.
void RestoreArchiveOrder(SourceTimeline& source);

/// Fills the capture times of an accepted index, first and last number and the number of missing frames.
void ComputeCaptureTimes(SourceTimeline& source);

}  // namespace qx
