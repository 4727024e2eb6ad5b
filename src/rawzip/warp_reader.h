// Reading the lens warp of a frame without its image, where the archive allows it.
#pragma once

#include "rawzip/archive_member.h"

namespace qx {

/// The warp that a frame itself carries, invalid when it has none or cannot be read. In a stored member only the opcode list is read, taken
/// to lie as far from the end as in the first frame; otherwise, or when that is no list, the whole member is.
RectilinearWarp ReadFrameWarp(SourceTimeline& source, int32_t frame, MemberBuffer* buffer);

/// When the first frame carries only the radial part: puts the first full model among the next frames into `firstDng`, so that the camera
/// data of the recording have one. Gives up after 299 frames or at a compressed member.
void FindReferenceWarp(SourceTimeline& source, MemberBuffer* buffer);

}  // namespace qx
