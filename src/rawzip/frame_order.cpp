#include "rawzip/frame_order.h"

#include <algorithm>

#include "media/frame_arithmetic.h"

namespace qx {

namespace {

void SortBy(std::vector<FrameRecord>& frames, int64_t FrameRecord::*key) {
  std::sort(frames.begin(), frames.end(),
            [key](const FrameRecord& a, const FrameRecord& b) { return a.*key != b.*key ? a.*key < b.*key : a.entry < b.entry; });
}

bool DecreasesAnywhere(const std::vector<FrameRecord>& frames, int64_t FrameRecord::*key) {
  for (size_t i = 1; i < frames.size(); ++i) {
    if (frames[i].*key < frames[i - 1].*key) return true;
  }
  return false;
}

void SetFirstAndLastNumber(SourceTimeline& source) {
  source.firstNumber = source.frames.front().number;
  source.lastNumber = source.frames.back().number;
}

void RenumberLeftOverFirstFrame(SourceTimeline& source, double commentFrameRate) {
  auto& frames = source.frames;
  if (frames.size() < 4) return;
  const auto [lowest, highest] =
      std::minmax_element(frames.begin() + 1, frames.begin() + std::ptrdiff_t(std::min<size_t>(frames.size(), 9)),
                          [](const FrameRecord& a, const FrameRecord& b) { return a.number < b.number; });
  const double rate = commentFrameRate > 0.5 ? commentFrameRate : 30;
  const int64_t allowed = RoundToInt64(std::trunc(rate));  // a second
  if (SaturatingSub(frames[0].number, highest->number) <= allowed) return;
  frames[0].number = SaturatingSub(lowest->number, 1);
  source.firstFrameRenumbered = true;
}

}  // namespace

void NumberByNames(SourceTimeline& source) {
  auto& frames = source.frames;
  const bool allNumbered = std::all_of(frames.begin(), frames.end(), [](const FrameRecord& f) { return f.nameNumber >= 0; });
  for (size_t i = 0; i < frames.size(); ++i) frames[i].number = allNumbered ? frames[i].nameNumber : int64_t(i);
}

void OrderByIndex(SourceTimeline& source, const FrameIndex& index) {
  for (size_t i = 0; i < source.frames.size(); ++i) {
    source.frames[i].timestampNs = index.entries[i].timestampNs;
    source.frames[i].number = index.entries[i].slot;
  }
  source.outOfOrder = DecreasesAnywhere(source.frames, &FrameRecord::timestampNs);
  SortBy(source.frames, &FrameRecord::timestampNs);
}

void OrderByNumber(SourceTimeline& source, double commentFrameRate) {
  RenumberLeftOverFirstFrame(source, commentFrameRate);
  source.outOfOrder = DecreasesAnywhere(source.frames, &FrameRecord::number);
  SortBy(source.frames, &FrameRecord::number);
  source.duplicates = 0;
  source.missingFrames = 0;
  for (size_t i = 1; i < source.frames.size(); ++i) {
    const int64_t step = SaturatingSub(source.frames[i].number, source.frames[i - 1].number);
    if (step == 0) ++source.duplicates;
    if (step >= 2) source.missingFrames = SaturatingAdd(source.missingFrames, step - 1);
  }
  SetFirstAndLastNumber(source);
}

void RestoreArchiveOrder(SourceTimeline& source) {
  std::sort(source.frames.begin(), source.frames.end(), [](const FrameRecord& a, const FrameRecord& b) { return a.entry < b.entry; });
  for (FrameRecord& frame : source.frames) frame.timestampNs = 0;
  source.captureTimes.clear();
  NumberByNames(source);
}

void ComputeCaptureTimes(SourceTimeline& source) {
  const auto& frames = source.frames;
  const double ratio = source.captureFps > 0 && source.fps > 0 ? source.captureFps / source.fps : 1;
  source.firstTimestampNs = frames.front().timestampNs;
  source.captureTimes.resize(frames.size());
  source.missingFrames = 0;
  for (size_t i = 0; i < frames.size(); ++i) {
    source.captureTimes[i] = double(frames[i].timestampNs - source.firstTimestampNs) / 1e9 * ratio;
    if (i == 0) continue;
    const int64_t steps = FramesBetween(frames[i - 1].timestampNs, frames[i].timestampNs, CaptureRate(source));
    if (steps > 1) source.missingFrames = SaturatingAdd(source.missingFrames, steps - 1);
  }
  SetFirstAndLastNumber(source);
}

}  // namespace qx
