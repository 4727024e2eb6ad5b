// Frame numbers rebuilt from the frames' own time codes, when there is no frame index and the names disagree with them.
#pragma once

#include "rawzip/archive_member.h"

namespace qx {

/// Without an accepted index: compares the time codes of the second and the last frame with their numbers, and rebuilds the numbers from
/// the time codes when they disagree. Frames between known time codes are interpolated until ArchiveState::CompleteNumbers reads them.
void CheckNumbersByTimeCodes(SourceTimeline& source, MemberBuffer* buffer);

}  // namespace qx
