// The sound of the synthetic scene: a quiet tone, and a click that goes with a flash of the picture.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace qx {

/// How samples are stored; all little-endian.
enum class SampleEncoding : uint8_t { kU8, kS16, kS24, kS32, kF32, kF64 };

constexpr uint32_t BytesPerSample(SampleEncoding encoding) {
  constexpr uint32_t kBytes[] = {1, 2, 3, 4, 4, 8};
  return kBytes[int(encoding)];
}
constexpr bool IsFloat(SampleEncoding encoding) {
  return encoding >= SampleEncoding::kF32;
}

struct SceneSound {
  SampleEncoding encoding = SampleEncoding::kS16;
  uint32_t rate = 48000;
  uint16_t channels = 2;
  std::optional<int64_t> click;  // sample frame at which a click begins, at 0.9 of full scale
};

/// The louder half of full scale belongs to the click alone.
constexpr double kClickLevel = 0.9, kToneLevel = 0.25;

/// Sample frames [first, first + count), interleaved: a tone of 440 Hz in the first channel and 220 Hz more in each further one.
std::vector<uint8_t> SceneSoundBytes(const SceneSound& sound, uint64_t first, uint64_t count);

}  // namespace qx
