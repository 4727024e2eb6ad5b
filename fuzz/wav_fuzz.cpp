// The head of a WAV file: what is described lies in the file, and can be read and converted.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "media/sound_placement.h"
#include "media/sound_samples.h"
#include "rawzip/wav_header.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const qx::Bytes bytes(data, size);
  qx::SoundDescription sound;
  if (!qx::ParseWavHead(bytes.first(std::min<size_t>(size, qx::kWavHeadBytes)), size, &sound)) return 0;
  if (sound.dataOffset > size || sound.dataSize > size - sound.dataOffset) std::abort();
  if (sound.frames * sound.blockAlign > sound.dataSize) std::abort();

  qx::SoundPlacement placed;
  placed.kind = qx::SoundKind::kWav;
  placed.blockAlign = sound.blockAlign;
  placed.dataOffset = sound.dataOffset;
  placed.frames = sound.frames;
  placed.out = int64_t(std::min<uint64_t>(sound.frames, 512));
  std::vector<uint8_t> samples(size_t(placed.out) * sound.blockAlign);
  const qx::MemorySource file(bytes);
  if (qx::read_sound_frames(file, placed, 0, placed.out, samples.data()) != placed.out) std::abort();

  const auto format = qx::FindSampleFormat(sound.formatTag, sound.bitsPerSample, sound.channels, sound.blockAlign);
  if (!format) return 0;
  std::vector<float> floats(size_t(placed.out) * sound.channels);
  std::vector<float*> channels;
  for (uint32_t c = 0; c < sound.channels; ++c) channels.push_back(floats.data() + size_t(c) * size_t(placed.out));
  qx::ConvertSamples(*format, samples.data(), placed.out, channels.data(), 0);
  return 0;
}
