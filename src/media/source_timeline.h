// The source index of an opened recording, of either container kind: which frames there are, when they were captured, and what goes with
// them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/dng_info.h"
#include "media/sound_description.h"

namespace qx {

enum class ContainerKind : int32_t { kRawZip = 0, kQorix = 1 };

/// What only one container kind needs to keep with the timeline (its tables, its open-time buffers).
class ContainerState {
 public:
  virtual ~ContainerState() = default;
  /// Completes frame numbers that opening left to interpolation, when slots are needed for the first time. Does nothing for most
  /// recordings.
  virtual void CompleteNumbers(struct SourceTimeline&) {}
  /// Completes what opening left out of the sound's description because only placing it needs that.
  virtual void CompleteSound(struct SourceTimeline&) {}
};

struct FrameRecord {
  /// Container's own index of the frame: the archive member, or the chunk.
  int32_t entry = -1;
  /// Position in capture order.
  int64_t number = 0;
  /// Number in the member name, -1 for none.
  int64_t nameNumber = -1;
  /// Sensor time stamp, 0 when unknown.
  int64_t timestampNs = 0;
};

enum class FpsSource : int32_t { kDefault = 0, kDng = 1, kMetadata = 2, kRecording = 3 };

/// Filled when a recording is opened and immutable afterwards, but for CompleteNumbers and CompleteSound. Move-only through `container`.
struct SourceTimeline {
  ContainerKind kind = ContainerKind::kRawZip;
  std::unique_ptr<ContainerState> container;
  /// Warnings of opening that did not make it fail; at most 255 bytes.
  std::string openMessage;
  /// What is damaged and how the frames were found nevertheless, in words; empty for a whole file. At most 255 bytes.
  std::string damageNote;

  // Frames, in capture order.
  std::vector<FrameRecord> frames;
  uint64_t largestFrameBytes = 0;
  int32_t compressedFrames = 0;
  int32_t emptyFrames = 0;

  // Frame index: 0 not read, 1 accepted, -1 … -4 rejected.
  int32_t indexState = 0;
  int32_t indexRows = 0;
  std::string indexNote;  // at most 255 bytes

  // First frame.
  bool hasFirstDng = false;
  DngInfo firstDng;

  // Rates.
  double fps = 24;
  FpsSource fpsSource = FpsSource::kDefault;
  double captureFps = 24;
  bool speedChanged = false;

  // Times: per-frame capture times in seconds, empty unless the index was accepted.
  std::vector<double> captureTimes;
  int64_t firstTimestampNs = 0;
  int64_t firstNumber = 0, lastNumber = 0;
  int64_t missingFrames = 0;
  int32_t duplicates = 0;
  bool outOfOrder = false;
  bool firstFrameRenumbered = false;

  // Time code: source -1 none, 0 sensor, 1 local time of day, 2 UTC time of day; start in frames.
  int32_t timecodeSource = -1;
  int64_t timecodeStart = 0;
  bool timeCodesAvailable = false;
  bool timeCodesConsistent = false;
  /// Numbers were rebuilt from the frames' own time codes.
  bool timeCodesTimeline = false;

  // Check of the frame numbers in names: 0 not asked, 1 verified, -1 failed.
  int32_t numberingResult = 0;
  std::string numberingNote;  // at most 159 bytes

  // Quality level name index of a `.qorix` recording (0 Lossless, 1 HQ, 2 SQ, 3 LT), -1 when the recording names none.
  int32_t qualityLevel = -1;

  SoundDescription sound;
};

/// Capture time of a frame in seconds; the frame is clamped into range. The timeline must have frames.
double frame_time_seconds(const SourceTimeline& source, int32_t frame);
/// Number of a frame, clamped likewise.
int64_t frame_number(const SourceTimeline& source, int32_t frame);
/// The last frame that starts at or before `seconds`; 0 when that lies before the second frame.
int32_t frame_at_time(const SourceTimeline& source, double seconds);
/// Time code of the first frame in seconds: an hour when the recording does not tell another.
double TimecodeStartSeconds(const SourceTimeline& source);

}  // namespace qx
