#include "rawzip/archive_sound.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "base/grow_buffer.h"
#include "media/frame_arithmetic.h"
#include "rawzip/archive_state.h"
#include "rawzip/mp4_sound.h"
#include "rawzip/timecode_check.h"
#include "rawzip/wav_header.h"
#include "rawzip/zip_format.h"

namespace qx {

namespace {

constexpr uint64_t kSmallestWav = 12;

bool DescribeWav(const ZipArchive& zip, const ZipEntry& member, SoundDescription* sound) {
  if (member.method != kZipStore || member.compressedSize < kSmallestWav) return false;
  const uint64_t size = std::min(member.compressedSize, kWavHeadBytes);
  GrowBuffer<uint8_t> head;
  if (!head.Reserve(size) || !zip.file->ReadExactly(member.dataOffset, head.data(), size)) return false;
  if (!ParseWavHead(head.first(size_t(size)), member.compressedSize, sound)) return false;
  sound->kind = SoundKind::kWav;
  sound->dataOffset += member.dataOffset;
  return true;
}

void DescribeMember(ArchiveState& archive, SoundDescription* sound) {
  const int32_t entry = archive.roles.sound;
  const bool found = zip_entry_data_offset(&archive.zip, entry) != 0;
  const ZipEntry& member = archive.zip.entries[size_t(entry)];
  sound->entry = entry;
  if (found && NameEndsWith(member.name, ".wav") && DescribeWav(archive.zip, member, sound)) return;
  const bool isMp4 = found && member.method == kZipStore && (NameEndsWith(member.name, ".m4a") || NameEndsWith(member.name, ".mp4"));
  sound->kind = isMp4 ? SoundKind::kMp4 : SoundKind::kOther;
  sound->dataOffset = member.dataOffset;
  sound->dataSize = member.compressedSize;
}

/// A frame whose capture time and place in the count of time codes are both known.
struct ReferenceFrame {
  double captureSeconds = 0;
  int64_t number = 0;
};

std::optional<ReferenceFrame> FindReferenceFrame(const SourceTimeline& source) {
  const auto& frames = source.frames;
  if (source.captureTimes.size() == frames.size()) {
    const auto first = std::min_element(frames.begin(), frames.end(), [](const auto& a, const auto& b) { return a.number < b.number; });
    return ReferenceFrame{source.captureTimes[size_t(first - frames.begin())], first->number};
  }
  if (source.firstFrameRenumbered) return std::nullopt;
  const int64_t timeCodes = source.hasFirstDng ? TimeCodesOf(source, source.firstDng) : -1;
  return ReferenceFrame{0, timeCodes >= 0 ? SaturatingSub(timeCodes, source.timecodeStart) : frames[0].number};
}

template <typename... Values>
void SetNote(SoundDescription* sound, const char* format, Values... values) {
  MessageBuffer<kSoundNoteBytes> note;
  note.view().Set(format, values...);
  sound->note = note.text();
}

/// Shifts that a camera app can mean. Slow motion stretches them with the sound.
struct OffsetWindow {
  explicit OffsetWindow(double audioStretch) : stretch(std::max(audioStretch, 1.0)) {}
  bool Holds(double seconds) const { return seconds >= lowest() && seconds <= highest(); }
  double lowest() const { return -2 * stretch; }
  double highest() const { return 10 * stretch; }
  double stretch;
};

void Trust(double offset, SoundOffsetSource from, SoundDescription* sound) {
  sound->offsetSeconds = offset;
  sound->offsetSource = from;
}

/// True when the comment's offset is taken.
bool DecideByComment(const CommentMetadata& comment, const OffsetWindow& window, SoundDescription* sound) {
  if (!comment.hasAudioOffset) return false;
  const auto microseconds = static_cast<long long>(comment.audioOffsetUs);
  const double offset = double(comment.audioOffsetUs) / 1e6;
  if (!window.Holds(offset)) {
    SetNote(sound, "AudioOffsetUs %lld outside %.0f…%.0f s — not trusted", microseconds, window.lowest(), window.highest());
    return false;
  }
  Trust(offset, SoundOffsetSource::kAudioOffsetUs, sound);
  SetNote(sound, "AudioOffsetUs %lld", microseconds);
  return true;
}

/// The recorder's clock against the frames' time codes. Recorders that do not know the time write exactly one hour.
void DecideByBext(const SourceTimeline& source, const OffsetWindow& window, SoundDescription* sound) {
  if (sound->kind != SoundKind::kWav || !sound->hasBext || sound->sampleRate < 1 || !(source.fps > 0)) return;
  if (sound->timeReference == uint64_t(sound->sampleRate) * 3600) return;
  const std::optional<ReferenceFrame> frame = FindReferenceFrame(source);
  if (!frame) return;
  const double soundSeconds = double(sound->timeReference) / sound->sampleRate;
  const double frameSeconds = TimecodeStartSeconds(source) + double(frame->number) / source.fps;
  const double offset = frame->captureSeconds + (soundSeconds - frameSeconds);
  const auto reference = static_cast<unsigned long long>(sound->timeReference);
  if (window.Holds(offset)) {
    Trust(offset, SoundOffsetSource::kBext, sound);
    SetNote(sound, "bext.TimeReference %llu", reference);
  } else if (sound->note.empty()) {
    SetNote(sound, "bext.TimeReference %llu -> %.3f s — not trusted", reference, offset);
  }
}

}  // namespace

void DescribeArchiveSound(SourceTimeline& source) {
  ArchiveState& archive = archive_state(source);
  SoundDescription& sound = source.sound;
  sound = SoundDescription();
  if (archive.roles.sound < 0) return;
  sound.stretch = archive.comment.audioStretch;
  DescribeMember(archive, &sound);
  const OffsetWindow window(sound.stretch);
  if (!DecideByComment(archive.comment, window, &sound)) DecideByBext(source, window, &sound);
}

void ArchiveState::CompleteSound(SourceTimeline& source) {
  SoundDescription& sound = source.sound;
  if (sound.kind != SoundKind::kMp4 || std::exchange(soundComplete, true)) return;
  Mp4Sound track;
  if (!ReadMp4Sound(*zip.file, sound.dataOffset, sound.dataSize, &track) || !track.isAacLc()) return;
  sound.channels = track.channels;
  sound.sampleRate = track.sampleRate;
  sound.frames = track.frames();
}

}  // namespace qx
