#include "media/source_timeline.h"

#include <algorithm>
#include <cmath>

#include "media/frame_arithmetic.h"

namespace qx {

namespace {

size_t ClampFrame(const SourceTimeline& source, int32_t frame) {
  return size_t(std::clamp<int64_t>(frame, 0, int64_t(source.frames.size()) - 1));
}

bool HasCaptureTimes(const SourceTimeline& source) {
  return source.indexState == 1 && source.captureTimes.size() == source.frames.size();
}

}  // namespace

double frame_time_seconds(const SourceTimeline& source, int32_t frame) {
  const size_t i = ClampFrame(source, frame);
  if (HasCaptureTimes(source)) return source.captureTimes[i];
  const int64_t sinceFirst = SaturatingSub(source.frames[i].number, source.firstNumber);
  return source.fps > 0 ? double(sinceFirst) / source.fps : 0;
}

int64_t frame_number(const SourceTimeline& source, int32_t frame) {
  return source.frames[ClampFrame(source, frame)].number;
}

int32_t frame_at_time(const SourceTimeline& source, double seconds) {
  if (source.frames.size() < 2 || std::isnan(seconds)) return 0;
  constexpr double kTolerance = 1e-6;  // a time that was computed from a frame must lead back to that frame
  if (HasCaptureTimes(source)) {
    const auto& times = source.captureTimes;
    const auto after = std::upper_bound(times.begin() + 1, times.end(), seconds + kTolerance);
    return int32_t(after - times.begin()) - 1;
  }
  const int64_t wanted = SaturatingAdd(source.firstNumber, RoundToInt64(std::floor(seconds * source.fps + kTolerance)));
  const auto after = std::upper_bound(source.frames.begin() + 1, source.frames.end(), wanted,
                                      [](int64_t number, const FrameRecord& frame) { return number < frame.number; });
  return int32_t(after - source.frames.begin()) - 1;
}

double TimecodeStartSeconds(const SourceTimeline& source) {
  if (!(source.fps > 0) || source.timecodeStart < 0 || source.timecodeStart == SaturatingMul(RoundToInt64(source.fps), 3600)) return 3600;
  return double(source.timecodeStart) / source.fps;
}

}  // namespace qx
