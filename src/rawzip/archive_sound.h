// The sound member of an archive.
#pragma once

#include "media/source_timeline.h"

namespace qx {

/// Describes the sound member and decides how far its own offset is trusted. An archive without a usable one gets SoundKind::kNone; never
/// fails.
void DescribeArchiveSound(SourceTimeline& source);

}  // namespace qx
