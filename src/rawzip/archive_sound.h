// The sound member of an archive.
#pragma once

#include "media/source_timeline.h"

namespace qx {

/// Describes the sound member and decides how far its own offset is trusted. Order, rates and times of the frames must be known. Never
/// fails: an archive without a sound member gets SoundKind::kNone, one with a member that cannot be used SoundKind::kOther. An MP4 member
/// is only looked into when the sound is placed (ContainerState::CompleteSound).
void DescribeArchiveSound(SourceTimeline& source);

}  // namespace qx
