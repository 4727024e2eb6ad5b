// The health of a recording: what is whole, damaged or lost in it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/byte_source.h"

namespace tool {

enum class Verdict { kWhole = 0, kDamaged = 1, kUnreadable = 2 };

struct FrameFault {
  int32_t frame = 0;  // in capture order
  int32_t badSlices = 0, substitutedSlices = 0;
  std::string message;  // why the whole frame cannot be read, "" when it can
};

struct Health {
  std::string kind;    // "CinemaDNG RAW-ZIP", ".qorix RAW"
  std::string reason;  // why nothing can be read, "" when something can
  std::string openState;
  std::vector<std::pair<std::string, uint64_t>> chunks;     // by kind: chunks of a recording, members of an archive
  std::vector<std::pair<uint64_t, uint64_t>> damagedAreas;  // offsets, end exclusive
  std::vector<std::string> notes;                           // warnings and what is unusual, in words

  int64_t frames = 0, slots = 0, missing = 0, lost = 0, truncated = 0, repeated = 0;
  uint64_t crcMismatches = 0, foreignChunks = 0, unverifiedEntries = 0;
  std::vector<FrameFault> frameFaults;
  int64_t framesChecked = 0;

  std::string sound;  // in words; "none"
  uint64_t soundFaults = 0;
  /// What writing the index and trailer anew would make of the file, in words; "" when they are whole.
  std::string reindex;

  Verdict verdict() const;
};

/// Told after each frame: frames done and frames in all.
using HealthProgress = std::function<void(size_t, size_t)>;

/// Examines a recording of either kind. With `decode` every frame is read and decoded, which takes as long as the recording is large.
Health CheckHealth(const qx::ByteSource& file, bool decode, const HealthProgress& progress);

}  // namespace tool
