// Choosing the container kind of a file.
#pragma once

#include "base/byte_source.h"
#include "base/message.h"
#include "media/frame_source.h"
#include "media/source_timeline.h"

namespace qx {

/// Opens the source index of a recording of either kind. `file` must outlive it. 0 or -1 with the container's message.
[[nodiscard]] int source_timeline_open(SourceTimeline* source, const ByteSource& file, Message message);

/// Opens a frame reader on a byte source of its own. 0, or -1 with a message and a null `source`.
[[nodiscard]] int frame_source_open(FrameSourcePtr* source, const ByteSource& file, Message message);

}  // namespace qx
