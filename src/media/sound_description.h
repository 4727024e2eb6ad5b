// The sound stream of a recording, of either container kind, and where it lies on the timeline.
#pragma once

#include <cstdint>
#include <string>

namespace qx {

enum class SoundKind : int32_t {
  kNone = 0,
  kPcm = 1,            // samples that can be read
  kDescribedOnly = 2,  // recognised, not offered
  kUnusable = 3,
};

/// Where the sound offset came from.
enum class SoundOffsetSource : int32_t { kNone = 0, kMetadata = 1, kBext = 2, kDurations = 3 };

struct SoundDescription {
  SoundKind kind = SoundKind::kNone;
  uint16_t formatTag = 0;  // WAVE format tag: 1 integer PCM, 3 IEEE float
  int32_t channels = 0;
  int32_t sampleRate = 0;
  int32_t bitsPerSample = 0;
  int32_t blockAlign = 0;  // bytes of one sample frame
  int64_t sampleFrames = 0;
  bool truncated = false;
};

struct SoundPlacement {
  double offsetSeconds = 0;
  SoundOffsetSource source = SoundOffsetSource::kNone;
  std::string note;  // at most 159 bytes
};

}  // namespace qx
