#include "rawzip/archive_source.h"

#include <algorithm>
#include <string_view>

#include "rawzip/archive_member.h"
#include "rawzip/archive_sound.h"
#include "rawzip/archive_state.h"
#include "rawzip/first_frame.h"
#include "rawzip/frame_index.h"
#include "rawzip/frame_order.h"
#include "rawzip/timecode_check.h"
#include "rawzip/timecode_numbers.h"
#include "rawzip/warp_reader.h"
#include "rawzip/zip_format.h"

namespace qx {

namespace {

int OpenArchive(SourceTimeline& source, const ByteSource& file, Message message) {
  auto state = std::make_unique<ArchiveState>();
  ArchiveState& archive = *state;
  source.container = std::move(state);
  MessageBuffer<256> zipMessage;
  if (zip_open(&archive.zip, file, zipMessage) < 0) return message.Fail("%s", zipMessage.text());
  source.openMessage = zipMessage.text();
  archive.comment = ParseCommentMetadata(archive.zip.comment);
  return 0;
}

int CollectFrames(SourceTimeline& source, Message message) {
  ArchiveState& archive = archive_state(source);
  ClassifiedMembers members = ClassifyMembers(archive.zip.entries);
  archive.roles = members.roles;
  source.emptyFrames = members.emptyFrames;
  source.frames = std::move(members.frames);
  if (source.frames.empty()) return message.Fail("no .dng frames in the archive (%d records)", int(archive.zip.entries.size()));
  NumberByNames(source);
  for (const FrameRecord& frame : source.frames) {
    const ZipEntry& member = archive.EntryOf(frame);
    source.largestFrameBytes = std::max(source.largestFrameBytes, member.uncompressedSize);
    source.compressedFrames += member.method != kZipStore;
  }
  return 0;
}

void DescribeDamage(SourceTimeline& source) {
  const ZipArchive& zip = archive_state(source).zip;
  MessageBuffer<256> note;
  if (zip.recovered) {
    const auto behind = (unsigned long long)(zip.fileSize - std::min(zip.directoryOffset, zip.fileSize));
    note.view().Set("no usable directory; records found by their own headers: %d (frames: %d)", int(zip.entries.size()),
                    int(source.frames.size()));
    const std::string found = note.text();
    if (zip.cutOff) note.view().Set("%s; the last record is cut off (%llu bytes of it)", found.c_str(), behind);
    if (!zip.cutOff && behind > 0) note.view().Set("%s; no record found in the last %llu bytes", found.c_str(), behind);
  }
  source.damageNote = note.text();
}

void RejectUnreadIndex(SourceTimeline& source, const MessageBuffer<256>& note) {
  source.indexState = -1;
  source.indexNote = note.text();
}

void JudgeIndexText(SourceTimeline& source, std::string_view text) {
  std::vector<std::string_view> names;
  names.reserve(source.frames.size());
  for (const FrameRecord& frame : source.frames) names.push_back(archive_state(source).EntryOf(frame).name);
  FrameIndex index = ParseFrameIndex(text, names);
  source.indexState = index.state;
  source.indexRows = index.rows;
  source.indexNote = std::move(index.note);
  if (index.state == 1) OrderByIndex(source, index);
}

void ReadFrameIndex(SourceTimeline& source, MemberBuffer* buffer) {
  ArchiveState& archive = archive_state(source);
  const int32_t entry = archive.roles.frameIndex;
  if (entry < 0) return;
  MessageBuffer<256> note;
  const uint64_t size = archive.zip.entries[size_t(entry)].uncompressedSize;
  if (size < kMinFrameIndexBytes || size > kMaxFrameIndexBytes) {
    note.view().Set("frame index: record of %llu bytes", static_cast<unsigned long long>(size));
    return RejectUnreadIndex(source, note);
  }
  int64_t result = ReserveMember(archive, entry, buffer);
  if (result == kZipOutOfMemory) {
    note.view().Set("frame index: out of memory");
    return RejectUnreadIndex(source, note);
  }
  if (result == kZipOk) result = ReadReservedMember(archive, entry, buffer);
  if (result != int64_t(size)) {
    note.view().Set("frame index: not read (%s)", MemberFailureText(result));
    return RejectUnreadIndex(source, note);
  }
  JudgeIndexText(source, std::string_view(reinterpret_cast<const char*>(buffer->data()), size_t(size)));
}

/// The frames' order is known: what the first of them says.
void ReadFirstFrameAndMark(SourceTimeline& source, MemberBuffer* buffer) {
  ReadFirstFrame(source, buffer);
  ReadTimecodeMark(source, buffer);
}

void OrderFrames(SourceTimeline& source, MemberBuffer* buffer) {
  const double commentFrameRate = archive_state(source).comment.frameRate;
  ReadFrameIndex(source, buffer);
  if (source.indexState != 1) OrderByNumber(source, commentFrameRate);
  ReadFirstFrameAndMark(source, buffer);
  if (source.indexState == 1) {
    if (CheckIndexByTimeCodes(source, buffer)) {
      ComputeCaptureTimes(source);
    } else {
      source.timeCodesAvailable = false;
      RestoreArchiveOrder(source);
      OrderByNumber(source, commentFrameRate);
      ReadFirstFrameAndMark(source, buffer);
    }
  }
  CheckNumbering(source);
  if (source.indexState != 1) CheckNumbersByTimeCodes(source, buffer);
}

}  // namespace

int archive_source_open(SourceTimeline* source, const ByteSource& file, uint32_t flags, Message message) {
  *source = SourceTimeline();
  source->kind = ContainerKind::kRawZip;
  if (OpenArchive(*source, file, message) < 0 || CollectFrames(*source, message) < 0) {
    archive_source_close(source);
    return -1;
  }
  DescribeDamage(*source);
  MemberBuffer buffer;
  OrderFrames(*source, &buffer);
  DescribeArchiveSound(*source);
  if (!(flags & kSkipWarpScan)) FindReferenceWarp(*source, &buffer);
  return 0;
}

void archive_source_close(SourceTimeline* source) {
  *source = SourceTimeline();
}

}  // namespace qx
