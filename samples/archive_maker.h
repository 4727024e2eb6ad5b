// Makes whole RAW-ZIP recordings of the synthetic scene, as a phone would have recorded it, or damaged on purpose.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "samples/dng_writer.h"
#include "samples/recording_writer.h"
#include "samples/scene_dng.h"
#include "samples/wav_writer.h"

namespace qx {

/// How the archive tells where its sound lies.
enum class SoundOffsetTold : uint8_t { kNot, kInComment, kInBext };

/// The recorder's sound as a WAV member.
struct ArchiveSoundOptions {
  WavOptions wav;              // the time reference is filled in for kInBext
  double startSeconds = 0.01;  // after the first recorded frame; negative: before it
  /// How long it goes on after the last frame. Readers of sound whose place is not told take it for 0.11 s.
  double tailSeconds = 0.11;
  SoundOffsetTold told = SoundOffsetTold::kInComment;
};

/// A capture rate of its own (slow motion) also names the reel, "…-120t30fps".
struct ArchiveOptions {
  SceneDngOptions picture;
  RecordingOptions recording;
  int frames = 24;                    // slots of the clip, dropped ones included
  std::vector<int64_t> droppedSlots;  // the phone missed these frames: they have no DNG
  bool reversed = false;              // the last frame stands first in the archive
  bool timeCodes = true;              // TimeCodes in each DNG, below 100 frames a second
  std::optional<DngPrivateTimecode> timecodeMark;
  std::optional<ArchiveSoundOptions> sound;  // clicks when picture.flashFrame is shown
  /// Further files of the recording, after its frames: name and content.
  std::vector<std::pair<std::string, std::vector<uint8_t>>> members;
};

/// The reason why no archive can be made so, or an empty text.
std::string CheckArchive(const ArchiveOptions& options);

/// Told after each frame: frames written and frames in all.
using ArchiveProgress = std::function<void(size_t, size_t)>;

/// Streams the recording to `sink`; false when the sink failed. The options must pass CheckArchive(). Frames are made on all processors
/// and written in order; as many frames as there are processors are in memory, however long the recording is.
/// The same options give the same bytes. `sink` and `progress` are called on the caller's thread.
bool MakeArchive(const ArchiveOptions& options, ZipSink sink, const ArchiveProgress& progress = {});

/// Sample frames of the archive's sound, and the one at which it clicks.
uint64_t SoundFrames(const ArchiveOptions& options);
std::optional<int64_t> SoundClick(const ArchiveOptions& options);

/// The SMPTE TimeCodes value of a frame count at a whole rate below 100: frames, seconds, minutes and hours as BCD, then zeros.
std::array<uint8_t, 8> SmpteTimeCode(int64_t frames, uint32_t rate);

}  // namespace qx
