#include "rawzip/timecode_numbers.h"

#include <algorithm>

#include "media/frame_arithmetic.h"
#include "rawzip/timecode_check.h"

namespace qx {

namespace {

/// Numbers the frames after anchor `a` up to anchor `b`. An anchor that leaves no number of its own to every frame between is raised.
void Interpolate(SourceTimeline& source, ArchiveState& archive, size_t a, size_t b) {
  const int64_t lowest = archive.anchors[a] + int64_t(b - a);
  if (archive.anchors[b] < lowest) {
    archive.anchors[b] = lowest;
    archive.anchorsRaised = true;
  }
  const double advance = double(archive.anchors[b] - archive.anchors[a]);
  for (size_t k = 0; k <= b - a; ++k) {
    source.frames[a + k].number = archive.anchors[a] + RoundToInt64(double(k) * advance / double(b - a));
  }
}

/// Time codes are below 2^24 at the rates that have them, so nothing here overflows.
void NumberByAnchors(SourceTimeline& source, ArchiveState& archive) {
  auto& frames = source.frames;
  size_t known = 0;
  frames[0].number = archive.anchors[0];
  for (size_t i = 1; i < frames.size(); ++i) {
    if (archive.anchors[i] == kUnknownAnchor) continue;
    Interpolate(source, archive, known, i);
    known = i;
  }
  for (size_t i = known + 1; i < frames.size(); ++i) frames[i].number = frames[i - 1].number + 1;
  source.firstNumber = frames.front().number;
  source.lastNumber = frames.back().number;
  source.missingFrames = std::max<int64_t>(0, source.lastNumber - source.firstNumber + 1 - int64_t(frames.size()));
}

/// The first frame's anchor: its own time code when it lies as far before the second's as their names do, to a second.
int64_t FirstAnchor(SourceTimeline& source, int64_t secondTimeCodes) {
  const int64_t firstTimeCodes = source.hasFirstDng ? TimeCodesOf(source, source.firstDng) : -1;
  const int64_t byName = SaturatingSub(source.frames[1].nameNumber, source.frames[0].nameNumber);
  const int64_t apart = SaturatingSub(byName, secondTimeCodes - firstTimeCodes);
  const int64_t second = RoundToInt64(source.fps);
  if (firstTimeCodes >= 0 && apart >= -second && apart <= second) return firstTimeCodes;
  source.firstFrameRenumbered = true;
  return secondTimeCodes - 1;
}

}  // namespace

void CheckNumbersByTimeCodes(SourceTimeline& source, MemberBuffer* buffer) {
  const auto& frames = source.frames;
  if (frames.size() <= 2 || !(source.fps < kMaxTimeCodesFps)) return;
  const int64_t second = ReadTimeCodes(source, 1, buffer);
  const int64_t last = ReadTimeCodes(source, int32_t(frames.size()) - 1, buffer);
  if (second < 0 || last < 0) return;
  source.timeCodesAvailable = true;
  source.timeCodesConsistent = last - second == SaturatingSub(frames.back().number, frames[1].number);
  if (source.timeCodesConsistent) return;

  ArchiveState& archive = archive_state(source);
  archive.anchors.assign(frames.size(), kUnknownAnchor);
  archive.anchors[0] = FirstAnchor(source, second);
  archive.anchors[1] = second;
  archive.anchors.back() = last;
  source.timeCodesTimeline = true;
  NumberByAnchors(source, archive);
}

void ArchiveState::CompleteNumbers(SourceTimeline& source) {
  if (!source.timeCodesTimeline || anchorsComplete) return;
  anchorsComplete = true;  // frames that cannot be read now will not be later: they stay interpolated
  MemberBuffer buffer;
  for (size_t i = 0; i < anchors.size(); ++i) {
    if (anchors[i] != kUnknownAnchor) continue;
    const int64_t timeCodes = ReadTimeCodes(source, int32_t(i), &buffer);
    if (timeCodes >= 0) anchors[i] = timeCodes;
  }
  NumberByAnchors(source, *this);
}

}  // namespace qx
