// What an opened archive keeps beside the fields that every source index has.
#pragma once

#include <cstdint>
#include <vector>

#include "media/source_timeline.h"
#include "rawzip/comment_metadata.h"
#include "rawzip/member_roles.h"
#include "rawzip/zip_reader.h"

namespace qx {

/// Time code of a frame in frames, or kUnknownAnchor.
constexpr int64_t kUnknownAnchor = INT64_MIN;

struct ArchiveState final : ContainerState {
  ZipArchive zip;
  ZipReadScratch scratch;
  CommentMetadata comment;
  MemberRoles roles;

  /// Size of the first frame's record, 0 when it was not read.
  uint64_t firstMemberBytes = 0;

  /// Per frame, when the numbers were rebuilt from time codes (SourceTimeline::timeCodesTimeline).
  std::vector<int64_t> anchors;
  /// An anchor had to be raised because the time codes did not advance by a frame at least.
  bool anchorsRaised = false;
  bool anchorsComplete = false;

  /// The frame whose warp stands in SourceTimeline::firstDng in place of the first frame's own, -1 for none, and the frames read to find
  /// it.
  int32_t referenceWarpFrame = -1;
  int32_t referenceWarpReads = 0;

  bool soundComplete = false;

  const ZipEntry& EntryOf(const FrameRecord& frame) const { return zip.entries[size_t(frame.entry)]; }

  /// Reads the time codes of the frames between the anchors, once.
  void CompleteNumbers(SourceTimeline& source) override;
  /// Reads the track description of an MP4 member, once.
  void CompleteSound(SourceTimeline& source) override;
};

/// The state of a source that archive_source_open filled.
inline ArchiveState& archive_state(SourceTimeline& source) {
  return static_cast<ArchiveState&>(*source.container);
}

}  // namespace qx
