// What the health check tells of a recording's sound: its format, where it lies on the timeline and why, and what of it is missing.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "media/frame_timeline.h"
#include "media/source_timeline.h"

namespace tool {

struct SoundHealth {
  std::string format = "none";          // in words
  bool present = false;                 // there is sound, or a member that should hold some
  bool offered = false;                 // to the host
  std::string reason;                   // why it is not offered, in words
  double offsetSeconds = 0;             // positive: the sound starts after the first frame
  std::string offsetSource;             // in words
  std::string note;                     // what was decided about the offset, as the log has it
  int64_t lead = 0, skip = 0, out = 0;  // sample frames: silence before, left out at the start, played

  // Damage.
  bool truncated = false;                              // the file ends within the samples
  int32_t foreignChunks = 0, oddChunks = 0, gaps = 0;  // `.qorix`: of another format or rate; of a wrong length; stretches without sound
  uint64_t gapFrames = 0;                              // sample frames in the gaps
  uint64_t faults() const { return uint64_t(truncated) + uint64_t(foreignChunks) + uint64_t(oddChunks) + uint64_t(gaps); }
};

/// `timeline` was built from `source`.
SoundHealth DescribeSound(qx::SourceTimeline& source, const qx::FrameTimeline& timeline);

/// Lines for the report: a name, which may be empty, and its text.
std::vector<std::pair<std::string, std::string>> SoundLines(const SoundHealth& sound);

}  // namespace tool
