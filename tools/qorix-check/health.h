// The health of a recording: what is whole, damaged or lost in it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/byte_source.h"
#include "sound_health.h"

namespace tool {

/// Exit codes of the command.
enum class Verdict { kWhole = 0, kDamaged = 1, kUnreadable = 2, kNotOpened = 4 };

struct FrameFault {
  int32_t frame = 0;  // in capture order
  int32_t badSlices = 0, substitutedSlices = 0;
  bool wrongChecksum = false;  // of a frame in an archive that can be read: some of its bytes have changed
  std::string message;         // why the whole frame cannot be read, "" when it can
};

struct Health {
  std::string kind;    // "CinemaDNG RAW-ZIP", ".qorix RAW"
  std::string reason;  // why nothing can be read, "" when something can
  bool opened = true;  // false: there is no such file, or it may not be read; `reason` says which
  bool isQorix = false;
  std::string openState;
  std::vector<std::pair<std::string, uint64_t>> chunks;     // by kind: chunks of a recording, members of an archive
  std::vector<std::pair<uint64_t, uint64_t>> damagedAreas;  // offsets, end exclusive
  std::vector<std::pair<uint64_t, uint64_t>> foreignAreas;  // likewise: whole chunks of other recordings, which harm nothing
  std::vector<std::string> notes;                           // warnings and what is unusual, in words

  int64_t frames = 0, slots = 0, repeated = 0;
  int64_t missing = 0;    // positions between the frames for which nothing was recorded
  int64_t lost = 0;       // recorded, but not in the file any more
  int64_t truncated = 0;  // in the file in part
  uint64_t crcMismatches = 0, foreignChunks = 0, unverifiedEntries = 0;
  std::vector<FrameFault> frameFaults;
  int64_t framesChecked = 0;

  SoundHealth sound;
  /// What writing the index and trailer anew would make of the file, in words; "" when they are whole.
  std::string reindex;

  Verdict verdict() const;
};

/// Told after each frame: frames done and frames in all.
using HealthProgress = std::function<void(size_t, size_t)>;

/// Adds a note when the name of the file announces the other kind: a host does not open it then.
void NoteWrongName(const std::string& path, Health* health);

/// Examines a recording of either kind. With `decode` every frame is read and decoded, which takes as long as the recording is large.
Health CheckHealth(const qx::ByteSource& file, bool decode, const HealthProgress& progress);

}  // namespace tool
