#include "pipeline/source_open.h"

#include "rawzip/archive_source.h"

namespace qx {

// Both functions choose the container kind in the same way, so that a recording's index and its readers always agree. RAW-ZIP archives are
// the only kind that opens; anything else is refused with the archive reader's message.

int source_timeline_open(SourceTimeline* source, const ByteSource& file, Message message) {
  return archive_source_open(source, file, 0, message);
}

int frame_source_open(FrameSourcePtr* source, const ByteSource& file, Message message) {
  *source = archive_frame_source_open(file, message);
  return *source != nullptr ? 0 : -1;
}

}  // namespace qx
