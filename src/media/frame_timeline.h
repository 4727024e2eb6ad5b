// The display timeline: what the host sees at each frame position, with repeats where the recording dropped frames.
#pragma once

#include <cstdint>
#include <vector>

#include "base/message.h"
#include "media/source_timeline.h"

namespace qx {

/// What a display position shows.
struct DisplaySlot {
  int32_t frame = 0;  // source frame
  uint8_t kind = 0;   // 0 the frame of this slot, 1 repeat of the previous frame, 2 lead fill before the first frame
  uint8_t first = 0;  // 1 at the first position that shows its frame
};

constexpr int64_t kMaxSlots = 50000000;

/// Owned by the clip, guarded by the clip's lock once readers run.
struct FrameTimeline {
  int32_t frameCount = 0;  // source frames
  int64_t length = 0;      // display positions
  // Per source frame.
  std::vector<int64_t> slots;
  std::vector<int64_t> timesUs;         // presentation time, microseconds
  std::vector<int64_t> displayOfFrame;  // display position, -1 for a bad frame
  std::vector<uint8_t> bad;             // 1: marked unreadable
  // Per display position.
  std::vector<DisplaySlot> map;

  int32_t repeats = 0, leadFills = 0, badFrames = 0, goodFrames = 0;

  uint32_t rateNumerator = 24;
  uint16_t rateDenominator = 1;  // 1, 1000 or 1001
  double fps = 24;
  double captureFps = 24;
  bool speedChanged = false;
  double durationSeconds = 0;
  int64_t durationUs = 0;

  // Time code of the first position, non-drop.
  uint32_t timecodeRate = 24;
  int64_t timecodeStart = 0;  // frames
  int32_t timecodeHours = 0, timecodeMinutes = 0, timecodeSeconds = 0, timecodeFrames = 0;
  bool timecodeRateFits = true;  // below 256

  SoundPlacement sound;
};

/// Builds the timeline of slots. 0, or -1 with a message and an empty timeline. Completes `source`'s numbers first.
[[nodiscard]] int frame_timeline_build(FrameTimeline* timeline, SourceTimeline& source, Message message);

/// Marks a source frame unreadable and rebuilds the map: its positions then show a neighbouring whole frame. Marking twice is harmless.
/// 0, or -1 with "no whole frame" when no good frame is left.
[[nodiscard]] int frame_timeline_mark_bad(FrameTimeline* timeline, int32_t frame, Message message);

/// Frees everything and leaves an empty timeline.
void frame_timeline_free(FrameTimeline* timeline);

}  // namespace qx
