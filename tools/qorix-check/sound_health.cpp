#include "sound_health.h"

#include <fmt/core.h>

#include "media/sound_placement.h"
#include "qorix/qorix_source.h"

namespace tool {

namespace {

using namespace qx;

std::string EncodingText(uint32_t tag, uint32_t bits) {
  if (tag == kWavePcm) return fmt::format("{} bit", bits);
  if (tag == kWaveFloat) return fmt::format("{} bit float", bits);
  return fmt::format("WAVE format {}", tag);
}

std::string FormatText(const SoundDescription& sound) {
  if (sound.kind == SoundKind::kNone) return "none";
  if (sound.kind == SoundKind::kOther) return "a member that cannot be read as sound";
  if (sound.sampleRate == 0) return sound.kind == SoundKind::kMp4 ? "an MP4 member without a track of AAC-LC" : "without a sample rate";
  const std::string encoding = sound.kind == SoundKind::kMp4 ? "AAC-LC" : EncodingText(sound.formatTag, sound.bitsPerSample);
  return fmt::format("{} channel{}, {} Hz, {}, {} sample frames ({:.2f} s)", sound.channels, sound.channels == 1 ? "" : "s",
                     sound.sampleRate, encoding, sound.frames, double(sound.frames) / sound.sampleRate);
}

std::string ReasonText(const SoundPlacement& sound) {
  switch (sound.reason) {
    case SoundReason::kOffered:
      return IsReadableSound(sound) ? "" : "its sample format cannot be read";
    case SoundReason::kNoSound:
      return "there is none";
    case SoundReason::kSpeedChanged:
      return "the clip plays at another speed than it was captured, and the recording does not say how its sound goes with that";
    case SoundReason::kNothingLeft:
      return "nothing of it falls into the clip";
    default:
      return sound.kind == SoundKind::kMp4 ? "AAC is recognised, but not decoded" : "its format cannot be read";
  }
}

const char* OffsetText(SoundOffsetMethod method) {
  switch (method) {
    case SoundOffsetMethod::kAudioOffsetUs:
      return "the archive's AudioOffsetUs";
    case SoundOffsetMethod::kBext:
      return "the broadcast extension's time";
    case SoundOffsetMethod::kDurations:
      return "guessed from the durations of sound and picture";
    case SoundOffsetMethod::kSensorClock:
      return "the sensor clock";
    default:
      return "not known, taken as 0";
  }
}

}  // namespace

SoundHealth DescribeSound(SourceTimeline& source, const FrameTimeline& timeline) {
  SoundHealth health;
  const SoundPlacement& placed = timeline.sound;
  health.format = FormatText(source.sound);
  health.present = source.sound.kind != SoundKind::kNone;
  health.reason = ReasonText(placed);
  health.offered = placed.offered && health.reason.empty();
  health.offsetSeconds = placed.offsetSeconds;
  health.offsetSource = OffsetText(placed.method);
  health.note = source.sound.note;
  health.lead = placed.lead;
  health.skip = placed.skip;
  health.out = placed.out;
  health.truncated = source.sound.truncated;
  if (source.kind == ContainerKind::kQorix) {
    const QorixSoundInfo& info = qorix_state(source).soundInfo;
    health.foreignChunks = info.foreignChunks;
    health.oddChunks = info.oddChunks;
    health.gaps = info.gaps;
    health.gapFrames = info.gapFrames;
  }
  return health;
}

std::vector<std::pair<std::string, std::string>> SoundLines(const SoundHealth& sound) {
  std::vector<std::pair<std::string, std::string>> lines = {{"sound", sound.format}};
  if (!sound.present) return lines;
  if (!sound.offered) lines.emplace_back("", "not offered: " + sound.reason);
  if (sound.offered) {
    const std::string note = sound.note.empty() ? "" : "; " + sound.note;
    lines.emplace_back("sound offset", fmt::format("{:+.6f} s, {}{}", sound.offsetSeconds, sound.offsetSource, note));
    lines.emplace_back("",
                       fmt::format("{} sample frames of silence, then {} of the sound from its {} on", sound.lead, sound.out, sound.skip));
  } else if (!sound.note.empty()) {
    lines.emplace_back("sound offset", sound.note);
  }
  std::string damage;
  const auto add = [&damage](bool is, const std::string& text) {
    if (is) damage += (damage.empty() ? "" : ", ") + text;
  };
  add(sound.truncated, "cut off: the file holds less than its head says");
  add(sound.gaps > 0, fmt::format("{} gap{} ({} sample frames of silence)", sound.gaps, sound.gaps == 1 ? "" : "s", sound.gapFrames));
  add(sound.foreignChunks > 0, fmt::format("{} chunks of another format or rate left out", sound.foreignChunks));
  add(sound.oddChunks > 0, fmt::format("{} chunks of a wrong length", sound.oddChunks));
  if (!damage.empty()) lines.emplace_back("sound damage", damage);
  return lines;
}

}  // namespace tool
