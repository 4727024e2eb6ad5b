// Sound of a clip: read in pieces, turned into floats, silence around it.
#include <algorithm>
#include <limits>

#include "media/sound_placement.h"
#include "media/sound_samples.h"
#include "pipeline/clip_impl.h"

namespace qx {

namespace {

/// Bytes that are read at a time: a few blocks of what hosts ask for, and they stay in the second-level cache until they are converted.
constexpr int64_t kPieceBytes = 256 << 10;

int ReadPieces(Clip& clip, int64_t first, int64_t end, int64_t origin, float* const* channels) {
  const SoundPlacement& sound = clip.sound;
  const auto format = FindSampleFormat(sound.formatTag, sound.bitsPerSample, sound.channels, sound.blockAlign);
  if (!format) return -1;
  const int64_t pieceFrames = std::max<int64_t>(1, kPieceBytes / sound.blockAlign);
  LockGuard guard(clip.soundLock);
  for (int64_t at = first; at < end;) {
    const int64_t count = std::min(pieceFrames, end - at);
    if (!clip.soundBuffer.Reserve(uint64_t(count) * sound.blockAlign)) return -1;
    if (read_sound_frames(*clip.indexFile, sound, at, count, clip.soundBuffer.data()) != count) return -1;
    ConvertSamples(*format, clip.soundBuffer.data(), count, channels, at - origin);
    at += count;
  }
  return 0;
}

}  // namespace

void DescribeSound(const SoundPlacement& sound, ClipInfo* info) {
  constexpr uint32_t kHighestRate = std::numeric_limits<int32_t>::max();
  const bool isUsable = sound.offered && IsReadableSound(sound) && sound.rate >= 1 && sound.rate <= kHighestRate;
  info->hasAudio = isUsable ? 1 : 0;
  if (!isUsable) return;
  info->audioRate = int32_t(sound.rate);
  info->audioChannels = int32_t(sound.channels);
  info->audioSamples = sound.length();
}

int ReadClipAudio(Clip* clip, int64_t first, int32_t count, float** channels) {
  if (clip == nullptr || count < 1 || (channels == nullptr && clip->info.audioChannels > 0)) return -1;
  for (int32_t c = 0; c < clip->info.audioChannels; ++c) std::fill_n(channels[c], count, 0.0f);
  const ClipInfo& info = clip->info;
  if (info.hasAudio == 0 || first >= info.audioSamples) return 0;
  const bool reachesEnd = first >= 0 && count > info.audioSamples - first;  // sums of two positions could overflow
  const int64_t end = reachesEnd ? info.audioSamples : std::min(first + count, info.audioSamples);
  // What lies before the lead is silence in every format, also in the one whose zero bytes are not.
  const int64_t begin = std::max(first, clip->sound.lead);
  return begin < end ? ReadPieces(*clip, begin, end, first, channels) : 0;
}

}  // namespace qx
