#include "rawzip/warp_reader.h"

#include <algorithm>

#include "media/dng_parser.h"
#include "rawzip/zip_format.h"

namespace qx {

namespace {

constexpr uint64_t kMaxListBytes = 4096;
constexpr int32_t kMaxReferenceFrames = 300;  // the first frame included

bool ReadListInPlace(SourceTimeline& source, const FrameRecord& frame, MemberBuffer* buffer, RectilinearWarp* warp) {
  ArchiveState& archive = archive_state(source);
  const ZipEntry& member = archive.EntryOf(frame);
  const OpcodeListInfo& firstList = source.firstDng.opcodeLists[2];
  if (member.method != kZipStore || !source.hasFirstDng || firstList.size == 0 || firstList.size > kMaxListBytes) return false;
  const uint64_t fromEnd = archive.firstMemberBytes - firstList.offset;
  if (fromEnd > member.uncompressedSize || member.compressedSize != member.uncompressedSize) return false;
  const uint64_t dataOffset = zip_entry_data_offset(&archive.zip, frame.entry);
  if (dataOffset == 0 || !buffer->Reserve(firstList.size)) return false;
  if (!archive.zip.file->ReadExactly(dataOffset + (member.uncompressedSize - fromEnd), buffer->data(), firstList.size)) return false;
  return dng_parse_warp_list(buffer->first(size_t(firstList.size)), warp);
}

}  // namespace

RectilinearWarp ReadFrameWarp(SourceTimeline& source, int32_t frame, MemberBuffer* buffer) {
  RectilinearWarp warp;
  if (ReadListInPlace(source, source.frames[size_t(frame)], buffer, &warp)) return warp;
  DngInfo dng;
  return ReadFrameDng(source, frame, buffer, &dng) ? dng.warp : RectilinearWarp();
}

void FindReferenceWarp(SourceTimeline& source, MemberBuffer* buffer) {
  if (!source.hasFirstDng || !source.firstDng.warp.valid || !source.firstDng.warp.radialOnly) return;
  ArchiveState& archive = archive_state(source);
  const int32_t end = int32_t(std::min<size_t>(source.frames.size(), kMaxReferenceFrames));
  for (int32_t frame = 1; frame < end; ++frame) {
    if (archive.EntryOf(source.frames[size_t(frame)]).method != kZipStore) return;
    ++archive.referenceWarpReads;
    const RectilinearWarp warp = ReadFrameWarp(source, frame, buffer);
    if (!warp.valid || warp.radialOnly) continue;
    source.firstDng.warp = warp;
    archive.referenceWarpFrame = frame;
    return;
  }
}

}  // namespace qx
