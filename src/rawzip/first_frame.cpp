#include "rawzip/first_frame.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "media/dng_parser.h"
#include "media/frame_arithmetic.h"
#include "rawzip/zip_format.h"

namespace qx {

namespace {

constexpr double kDefaultFps = 24;

void ReadFirstDng(SourceTimeline& source, MemberBuffer* buffer) {
  ArchiveState& archive = archive_state(source);
  const ZipEntry& member = archive.EntryOf(source.frames.front());
  MessageBuffer<256> message;
  source.hasFirstDng = false;
  archive.firstMemberBytes = 0;
  const int64_t size = ReadMember(archive, source.frames.front().entry, buffer);
  if (size < 1 || uint64_t(size) != member.uncompressedSize) {
    message.view().Set("first frame (%s, ZIP %s): %s", member.name.c_str(), zip_method_name(member.method), MemberFailureText(size));
    source.openMessage = message.text();
    dng_free(&source.firstDng);
    return;
  }
  archive.firstMemberBytes = uint64_t(size);
  source.hasFirstDng = dng_parse(buffer->first(size_t(size)), &source.firstDng, message) == 0;
  if (!source.hasFirstDng) source.openMessage = message.text();
}

void SetRates(SourceTimeline& source, double commentFrameRate) {
  const DngInfo& dng = source.firstDng;
  if (source.hasFirstDng && dng.hasFrameRate && dng.frameRateNumerator > 0 && dng.frameRateDenominator > 0) {
    source.fps = double(dng.frameRateNumerator) / double(dng.frameRateDenominator);
    source.fpsSource = FpsSource::kDng;
  } else if (commentFrameRate > 0.5) {
    source.fps = commentFrameRate;
    source.fpsSource = FpsSource::kMetadata;
  } else {
    source.fps = kDefaultFps;
    source.fpsSource = FpsSource::kDefault;
  }
  source.captureFps = source.fps;
  source.speedChanged = false;
  int captured = 0, played = 0;
  if (source.hasFirstDng && ParseReelSpeed(dng.reelName.c_str(), &captured, &played)) {
    source.captureFps = captured;
    source.speedChanged = captured != played;
  }
}

int64_t OneHour(const SourceTimeline& source) {
  return SaturatingMul(RoundToInt64(source.fps), 3600);
}

void TakeMark(SourceTimeline& source, const DngInfo& dng) {
  source.timecodeSource = dng.timecodeSource;
  source.timecodeStart = dng.timecodeSource == 0 ? OneHour(source) : dng.timecodeStart;
}

/// Looks only at a frame's private data; a stored member is read in place.
bool ReadMarkOf(ArchiveState& archive, int32_t entry, MemberBuffer* buffer, DngInfo* dng) {
  const ZipEntry& member = archive.zip.entries[size_t(entry)];
  if (member.method == kZipStore) {
    const uint64_t offset = zip_entry_data_offset(&archive.zip, entry);
    return offset != 0 && dng_read_private_timecode(*archive.zip.file, offset, member.compressedSize, dng) == 1;
  }
  const int64_t size = ReadMember(archive, entry, buffer);
  if (size < 1) return false;
  return dng_read_private_timecode(MemorySource(buffer->first(size_t(size))), 0, uint64_t(size), dng) == 1;
}

}  // namespace

void ReadFirstFrame(SourceTimeline& source, MemberBuffer* buffer) {
  ReadFirstDng(source, buffer);
  SetRates(source, archive_state(source).comment.frameRate);
}

void ReadTimecodeMark(SourceTimeline& source, MemberBuffer* buffer) {
  if (source.hasFirstDng && source.firstDng.hasPrivateTimecode) return TakeMark(source, source.firstDng);
  const auto firstMember = std::min_element(source.frames.begin(), source.frames.end(),
                                            [](const FrameRecord& a, const FrameRecord& b) { return a.entry < b.entry; });
  DngInfo dng;
  if (firstMember != source.frames.begin() && ReadMarkOf(archive_state(source), firstMember->entry, buffer, &dng)) {
    return TakeMark(source, dng);
  }
  source.timecodeSource = -1;
  source.timecodeStart = OneHour(source);
}

bool ParseReelSpeed(const char* reelName, int* capturedFps, int* playedFps) {
  for (const char* dash = std::strchr(reelName, '-'); dash != nullptr; dash = std::strchr(dash + 1, '-')) {
    char unit[4] = "";
    // Nine digits fit an int.
    if (std::sscanf(dash + 1, "%9dt%9d%3s", capturedFps, playedFps, unit) == 3 && *capturedFps > 0 && *playedFps > 0 &&
        std::strcmp(unit, "fps") == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace qx
