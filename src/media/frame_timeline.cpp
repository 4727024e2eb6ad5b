#include "media/frame_timeline.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "media/frame_arithmetic.h"
#include "media/sound_placement.h"

namespace qx {

namespace {

/// The host counts frames and rates in signed 32-bit numbers.
constexpr int64_t kMaxRate = std::numeric_limits<int32_t>::max();

template <typename T>
bool Resize(std::vector<T>& values, size_t count) {
  try {
    values.resize(count);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

/// Display positions from one frame of an accepted index to the next.
int64_t IndexedStep(const SourceTimeline& source, const FrameRecord& from, const FrameRecord& to) {
  const int64_t step = source.kind == ContainerKind::kQorix ? SaturatingSub(to.number, from.number)
                                                            : FramesBetween(from.timestampNs, to.timestampNs, CaptureRate(source));
  return std::max<int64_t>(1, step);
}

/// Fills the slots; false when there would be more than kMaxSlots, which is found before anything of that size is allocated.
bool ComputeSlots(const SourceTimeline& source, std::vector<int64_t>& slots) {
  const bool indexed = source.indexState == 1 && !source.captureTimes.empty();
  const auto& frames = source.frames;
  slots[0] = 0;
  for (size_t i = 1; i < frames.size(); ++i) {
    slots[i] = indexed ? SaturatingAdd(slots[i - 1], IndexedStep(source, frames[i - 1], frames[i]))
                       : std::max(SaturatingSub(frames[i].number, frames[0].number), slots[i - 1] + 1);
    if (slots[i] >= kMaxSlots) return false;
  }
  return true;
}

/// What the rate counts as: 24 when it is none.
double UsableRate(double fps) {
  return fps > 0 && std::isfinite(fps) ? std::min(fps, double(kMaxRate)) : 24;
}

/// Writes a rate as a fraction: whole rates over 1, NTSC rates over 1001, everything else in thousandths.
void SetRate(FrameTimeline* timeline, double fps) {
  int64_t numerator = RoundToInt64(fps);
  uint16_t denominator = 1;
  if (std::abs(fps - double(numerator)) >= 1e-6) {
    const double ntsc = 1001 * fps;
    const int64_t roundedNtsc = RoundToInt64(ntsc);
    const bool isNtsc = std::abs(ntsc - double(roundedNtsc)) <= 2e-5 * ntsc && roundedNtsc % 1000 == 0;
    numerator = isNtsc ? roundedNtsc : RoundToInt64(1000 * fps);
    denominator = isNtsc ? 1001 : 1000;
  }
  if (numerator < 1) {
    numerator = 24;
    denominator = 1;
  }
  timeline->fps = fps;
  timeline->rateNumerator = uint32_t(std::min(numerator, kMaxRate));
  timeline->rateDenominator = denominator;
}

/// At most kMaxSlots × 1001 × 10^6, which is below 2^56.
int64_t SlotToMicroseconds(const FrameTimeline& timeline, int64_t slot) {
  return (slot * timeline.rateDenominator * 1000000 + timeline.rateNumerator / 2) / timeline.rateNumerator;
}

void SetTimes(FrameTimeline* timeline) {
  int64_t previous = -1;
  for (size_t i = 0; i < timeline->slots.size(); ++i) {
    previous = std::max(SlotToMicroseconds(*timeline, timeline->slots[i]), previous + 1);
    timeline->timesUs[i] = previous;
  }
  timeline->durationSeconds = double(timeline->length) / timeline->fps;
  timeline->durationUs = SlotToMicroseconds(*timeline, timeline->length);
}

void SetTimecode(FrameTimeline* timeline, const SourceTimeline& source) {
  const int64_t rate = std::clamp<int64_t>(RoundToInt64(timeline->fps), 1, kMaxRate);
  int64_t start = source.timecodeStart < 0 ? rate * 3600 : source.timecodeStart;
  if (source.numberingResult == 1) start = SaturatingAdd(start, std::max<int64_t>(0, source.frames[0].nameNumber));
  timeline->timecodeRate = uint32_t(rate);
  timeline->timecodeRateFits = rate < 256;
  timeline->timecodeStart = start;
  timeline->timecodeHours = int32_t(std::min<int64_t>(start / rate / 3600, std::numeric_limits<int32_t>::max()));
  timeline->timecodeMinutes = int32_t(start / rate / 60 % 60);
  timeline->timecodeSeconds = int32_t(start / rate % 60);
  timeline->timecodeFrames = int32_t(start % rate);
}

void CountFrames(FrameTimeline* timeline) {
  timeline->badFrames = int32_t(std::count(timeline->bad.begin(), timeline->bad.end(), 1));
  timeline->goodFrames = timeline->frameCount - timeline->badFrames;
}

/// Maps every display position to a good frame, of which there is at least one.
void FillMap(FrameTimeline* timeline) {
  timeline->repeats = 0;
  timeline->leadFills = 0;
  int32_t shown = -1;  // last good frame so far
  int64_t next = 0;    // first display position without a frame
  const auto fill = [&](int64_t end, int32_t frame, uint8_t kind) {
    for (; next < end; ++next) timeline->map[size_t(next)] = {frame, kind, 0};
  };
  for (int32_t i = 0; i < timeline->frameCount; ++i) {
    timeline->displayOfFrame[size_t(i)] = -1;
    if (timeline->bad[size_t(i)]) continue;
    const int64_t slot = timeline->slots[size_t(i)];
    const int64_t firstShown = shown < 0 ? 0 : slot;
    if (shown < 0) {
      timeline->leadFills = int32_t(slot);
      fill(slot, i, 2);
    } else {
      timeline->repeats += int32_t(slot - next);
      fill(slot, shown, 1);
    }
    fill(slot + 1, i, 0);
    timeline->map[size_t(firstShown)].first = 1;
    timeline->displayOfFrame[size_t(i)] = slot;
    shown = i;
  }
  timeline->repeats += int32_t(timeline->length - next);
  fill(timeline->length, shown, 1);
}

int Build(FrameTimeline* timeline, SourceTimeline& source, Message message) {
  if (source.frames.empty()) return message.Fail("no frames in the clip");
  const size_t count = source.frames.size();
  timeline->frameCount = int32_t(count);
  if (!Resize(timeline->slots, count) || !Resize(timeline->timesUs, count) || !Resize(timeline->displayOfFrame, count) ||
      !Resize(timeline->bad, count)) {
    return message.Fail("out of memory");
  }
  if (source.container) source.container->CompleteNumbers(source);
  if (!ComputeSlots(source, timeline->slots)) return message.Fail("more than 50 million slots — the timeline is corrupt");
  timeline->length = timeline->slots.back() + 1;
  if (!Resize(timeline->map, size_t(timeline->length))) return message.Fail("out of memory for slots");

  SetRate(timeline, UsableRate(source.fps));
  timeline->captureFps = source.captureFps;
  timeline->speedChanged = source.speedChanged;
  SetTimes(timeline);
  SetTimecode(timeline, source);
  CountFrames(timeline);
  FillMap(timeline);
  sound_place(timeline, source);
  return 0;
}

}  // namespace

int frame_timeline_build(FrameTimeline* timeline, SourceTimeline& source, Message message) {
  frame_timeline_free(timeline);
  const int result = Build(timeline, source, message);
  if (result < 0) frame_timeline_free(timeline);
  return result;
}

int frame_timeline_mark_bad(FrameTimeline* timeline, int32_t frame, Message message) {
  if (frame < 0 || frame >= timeline->frameCount) return 0;
  if (!timeline->bad[size_t(frame)]) {
    timeline->bad[size_t(frame)] = 1;
    CountFrames(timeline);
    if (timeline->goodFrames > 0) FillMap(timeline);
  }
  // The last map stays when nothing is left to show, so that positions that are already on their way keep a valid frame.
  return timeline->goodFrames > 0 ? 0 : message.Fail("no whole frame");
}

void frame_timeline_free(FrameTimeline* timeline) {
  *timeline = FrameTimeline();
}

}  // namespace qx
