// Where a recording's sound lies on its display timeline, and its samples from there.
#pragma once

#include <cstdint>

#include "base/byte_source.h"
#include "media/frame_timeline.h"
#include "media/source_timeline.h"

namespace qx {

/// Fills `timeline->sound` from the source's description; the timeline's rate and durations must stand. Completes the description first.
/// Sound whose offset nobody told is placed by the two durations: the microphone is taken to go on for 0.11 s after the last frame.
void sound_place(FrameTimeline* timeline, SourceTimeline& source);

/// Sample frames [first, first + count) of the display timeline as stored in the file, interleaved, into `destination` of
/// count × block align bytes; zero bytes before the sound. The sample frames covered (0 past the end), or -1 when the sound cannot be read.
/// One user at a time.
[[nodiscard]] int64_t read_sound_frames(const ByteSource& file, const SoundPlacement& sound, int64_t first, int64_t count,
                                        uint8_t* destination);

/// True when the samples have one of the formats that can be converted: integers up to 32 bits, or floats of 32 or 64.
bool IsReadableSound(const SoundPlacement& sound);

}  // namespace qx
