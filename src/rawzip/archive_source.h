// A RAW-ZIP archive opened as a source index.
#pragma once

#include "base/byte_source.h"
#include "base/message.h"
#include "media/frame_source.h"
#include "media/source_timeline.h"

namespace qx {

/// Flags of archive_source_open.
enum ArchiveSourceFlags : uint32_t { kSkipWarpScan = 1 };

/// Opens the archive and fills `source`. `file` must outlive it. 0, or -1 with the ZIP reader's message or
/// "no .dng frames in the archive (%d records)". A damaged frame index or first frame does not make the open fail.
[[nodiscard]] int archive_source_open(SourceTimeline* source, const ByteSource& file, uint32_t flags, Message message);

void archive_source_close(SourceTimeline* source);

/// The frame reader of an archive, on a byte source of its own. Null with a message.
FrameSourcePtr archive_frame_source_open(const ByteSource& file, Message message);

}  // namespace qx
