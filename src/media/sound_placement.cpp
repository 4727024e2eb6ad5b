#include "media/sound_placement.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/checked.h"
#include "media/frame_arithmetic.h"
#include "media/sound_samples.h"

namespace qx {

namespace {

/// How long the microphone goes on after the last frame, which places sound whose start nobody told.
constexpr double kTailSeconds = 0.11;

/// Copies the format. False when it leaves nothing to place.
bool TakeFormat(const SoundDescription& sound, SoundPlacement* placement) {
  placement->kind = sound.kind;
  placement->entry = sound.entry;
  placement->stretch = sound.stretch;
  if (sound.kind == SoundKind::kNone || (sound.kind != SoundKind::kQorix && sound.entry < 0)) {
    placement->reason = SoundReason::kNoSound;
    return false;
  }
  placement->reason = SoundReason::kFormat;
  if (sound.kind == SoundKind::kOther) return false;
  placement->rate = sound.sampleRate;
  placement->channels = sound.channels;
  placement->formatTag = sound.formatTag;
  placement->bitsPerSample = sound.bitsPerSample;
  placement->blockAlign = sound.blockAlign;
  placement->dataOffset = sound.dataOffset;
  placement->dataSize = sound.dataSize;
  placement->frames = sound.frames;
  placement->reader = sound.reader;
  if (placement->rate < 1) return false;
  placement->durationSeconds = double(sound.frames) / sound.sampleRate;
  if (sound.kind == SoundKind::kMp4) return true;
  return placement->blockAlign >= 1 && (sound.kind != SoundKind::kQorix || sound.reader != nullptr);
}

void ChooseOffset(const SoundDescription& sound, double displaySeconds, SoundPlacement* placement) {
  if (sound.offsetSource != SoundOffsetSource::kNone) {
    placement->offsetSeconds = sound.offsetSeconds;
    placement->method = sound.offsetSource == SoundOffsetSource::kAudioOffsetUs ? SoundOffsetMethod::kAudioOffsetUs
                        : sound.offsetSource == SoundOffsetSource::kBext        ? SoundOffsetMethod::kBext
                                                                                : SoundOffsetMethod::kSensorClock;
    return;
  }
  const double stretch = sound.stretch > 0 ? sound.stretch : 1;
  const double window = std::max(stretch, 1.0);
  const double estimate = kTailSeconds * stretch + displaySeconds - placement->durationSeconds;
  const bool plausible = placement->durationSeconds > 0 && estimate >= -2 * window && estimate <= 4 * window;
  placement->offsetSeconds = plausible ? estimate : 0;
  placement->method = plausible ? SoundOffsetMethod::kDurations : SoundOffsetMethod::kNone;
}

int64_t TimeReferenceOf(const SourceTimeline& source, const SoundPlacement& placement) {
  const int64_t first = source.numberingResult == 1 ? std::max<int64_t>(0, source.frames[0].nameNumber) : 0;
  const double firstSeconds = source.fps > 0 ? double(first) / source.fps : 0;
  const double seconds = TimecodeStartSeconds(source) + firstSeconds + placement.offsetSeconds;
  return std::max<int64_t>(0, RoundToInt64(placement.rate * seconds));
}

void PlaceSamples(double displaySeconds, SoundPlacement* placement) {
  const int64_t offset = RoundToInt64(placement->rate * placement->offsetSeconds);
  placement->timelineFrames = RoundToInt64(placement->rate * displaySeconds);
  placement->lead = std::max<int64_t>(offset, 0);
  placement->skip = std::max<int64_t>(SaturatingSub(0, offset), 0);
  const auto frames = int64_t(std::min<uint64_t>(placement->frames, std::numeric_limits<int64_t>::max()));
  const int64_t left = std::min(SaturatingSub(frames, placement->skip), SaturatingSub(placement->timelineFrames, placement->lead));
  placement->out = std::max<int64_t>(left, 0);
}

int64_t ReadSamples(const ByteSource& file, const SoundPlacement& sound, uint64_t first, uint64_t count, uint8_t* out) {
  if (sound.kind == SoundKind::kQorix) return sound.reader->ReadSound(first, count, out) == int64_t(count) ? int64_t(count) : -1;
  const uint64_t end = CheckedAdd(first, count).value_or(std::numeric_limits<uint64_t>::max());
  if (end > sound.frames) return -1;
  // No overflow: the frames up to `end` are inside the file.
  const uint64_t offset = sound.dataOffset + first * sound.blockAlign;
  return file.ReadExactly(offset, out, count * sound.blockAlign) ? int64_t(count) : -1;
}

}  // namespace

void sound_place(FrameTimeline* timeline, SourceTimeline& source) {
  if (source.container) source.container->CompleteSound(source);
  SoundPlacement& placement = timeline->sound;
  placement = SoundPlacement();
  if (!TakeFormat(source.sound, &placement)) return;
  ChooseOffset(source.sound, timeline->durationSeconds, &placement);
  placement.timeReference = TimeReferenceOf(source, placement);
  PlaceSamples(timeline->durationSeconds, &placement);
  if (source.speedChanged && !(placement.stretch > 0)) {
    placement.reason = SoundReason::kSpeedChanged;
  } else if (placement.out == 0) {
    placement.reason = SoundReason::kNothingLeft;
  } else if (placement.kind != SoundKind::kMp4) {  // AAC: nothing here decodes it
    placement.reason = SoundReason::kOffered;
    placement.offered = true;
  }
}

int64_t read_sound_frames(const ByteSource& file, const SoundPlacement& sound, int64_t first, int64_t count, uint8_t* destination) {
  const bool hasSamples = sound.kind == SoundKind::kWav || (sound.kind == SoundKind::kQorix && sound.reader != nullptr);
  if (!hasSamples || sound.blockAlign < 1 || first < 0 || count < 0) return -1;
  if (first >= sound.length()) return 0;
  count = std::min(count, sound.length() - first);
  const int64_t silent = std::clamp<int64_t>(sound.lead - first, 0, count);
  std::memset(destination, 0, size_t(silent) * sound.blockAlign);
  if (silent == count) return count;
  const int64_t from = first + silent - sound.lead + sound.skip;
  const int64_t read = ReadSamples(file, sound, uint64_t(from), uint64_t(count - silent), destination + size_t(silent) * sound.blockAlign);
  return read < 0 ? -1 : count;
}

bool IsReadableSound(const SoundPlacement& sound) {
  return FindSampleFormat(sound.formatTag, sound.bitsPerSample, sound.channels, sound.blockAlign).has_value();
}

}  // namespace qx
