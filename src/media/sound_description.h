// The sound of a recording, of either container kind, and where it lies on the display timeline.
#pragma once

#include <cstdint>
#include <string>

namespace qx {

enum class SoundKind : int32_t {
  kNone = 0,
  kWav = 1,    // a WAV member
  kMp4 = 2,    // an MP4 or M4A member: described, never read
  kOther = 3,  // another format, or unusable
  kQorix = 4,  // chunks of a `.qorix` recording
};

/// Where a trusted shift came from.
enum class SoundOffsetSource : int32_t { kNone = 0, kAudioOffsetUs = 1, kBext = 2, kSensorClock = 3 };

constexpr uint32_t kWavePcm = 1, kWaveFloat = 3;  // WAVE format tags
constexpr size_t kSoundNoteBytes = 160;           // terminator included

/// Sound that does not lie in one piece in the file.
class SoundReader {
 public:
  virtual ~SoundReader() = default;
  /// Sample frames [first, first + count) as stored, interleaved, gaps as zero bytes, into `out` of count × block align bytes. Sample
  /// frames delivered, or -1. One user at a time.
  virtual int64_t ReadSound(uint64_t first, uint64_t count, uint8_t* out) = 0;
};

/// Filled when the recording is opened. Sizes and counts were compared with what the file holds.
struct SoundDescription {
  SoundKind kind = SoundKind::kNone;
  int32_t entry = -1;                     // of the sound member, -1 for none
  uint64_t dataOffset = 0, dataSize = 0;  // of the samples in the file (kinds 2 and 3: of the whole member)
  uint32_t formatTag = 0;                 // kWavePcm, kWaveFloat, others
  uint32_t channels = 0;
  uint32_t sampleRate = 0;  // at which it is delivered
  uint32_t bitsPerSample = 0;
  uint32_t blockAlign = 0;  // bytes of one sample frame
  uint64_t frames = 0;      // sample frames
  bool truncated = false;   // the file holds fewer bytes than its "data" chunk claims
  bool hasBext = false;
  uint64_t timeReference = 0;     // of the broadcast extension: sample frames since midnight
  double stretch = 0;             // sound seconds over timeline seconds when the speed was changed, 0: not told
  SoundReader* reader = nullptr;  // kind 4; owned by the container

  double offsetSeconds = 0;  // positive: the sound starts after the first frame
  SoundOffsetSource offsetSource = SoundOffsetSource::kNone;
  std::string note;  // the decision about the offset, "" for none
};

enum class SoundReason : int32_t { kOffered = 0, kNoSound = 1, kSpeedChanged = 2, kFormat = 3, kNothingLeft = 4 };

/// How the shift was found.
enum class SoundOffsetMethod : int32_t { kAudioOffsetUs = 1, kBext = 2, kDurations = 3, kNone = 4, kSensorClock = 5 };

/// The sound on the display timeline, whose position 0 is the time of the first display frame: `lead` sample frames of silence, then `out`
/// of the sound from sample frame `skip` on.
struct SoundPlacement {
  SoundKind kind = SoundKind::kNone;
  bool offered = false;
  SoundReason reason = SoundReason::kNoSound;
  int32_t entry = -1;
  uint32_t rate = 0, channels = 0, formatTag = 0, bitsPerSample = 0, blockAlign = 0;
  uint64_t dataOffset = 0, dataSize = 0, frames = 0;
  double durationSeconds = 0;
  double stretch = 0;
  double offsetSeconds = 0;
  SoundOffsetMethod method = SoundOffsetMethod::kNone;
  int64_t lead = 0, skip = 0, out = 0;
  int64_t timelineFrames = 0;  // sample frames of the display duration
  int64_t timeReference = 0;   // sample frames from the time code origin to the sound's start; 0 when not positive
  SoundReader* reader = nullptr;

  int64_t length() const { return lead + out; }
};

}  // namespace qx
