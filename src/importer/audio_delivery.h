// Sound requests of the host, and what they cost.
#pragma once

#include <cstdint>

#include "host/records.h"

namespace qx {

/// Fills the request's channel buffers with the clip's sound. 0; 5 when there is no clip, it has no sound, or it cannot be read (without
/// sound the buffers stay untouched). A negative position is read as 0. Any thread, beside frame requests; no lock of the importer is held.
int32_t ImportAudio(const host::ImportAudioRec7* request);

/// What the process' sound calls took since the counters were last taken. The sum starts over at 2^32 microseconds.
struct AudioCallCounters {
  uint32_t calls = 0;
  uint32_t totalMicroseconds = 0;
  uint32_t longestMicroseconds = 0;
};

/// Reads the counters and clears them, so that each call is counted once however many threads take them. Each counter is exchanged on its
/// own: a call that ends meanwhile may show its number and its time in different takes.
AudioCallCounters TakeAudioCallCounters();

}  // namespace qx
