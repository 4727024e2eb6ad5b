#include "samples/scene_sound.h"

#include <bit>
#include <cmath>
#include <numbers>

namespace qx {

namespace {

/// The tone, or in the 5 ms after the click's first sample its decay.
double Level(const SceneSound& sound, uint64_t index, uint16_t channel) {
  const double age = sound.click ? double(int64_t(index) - *sound.click) / sound.rate : -1;
  if (age >= 0 && age < 0.005) return kClickLevel * (1 - age / 0.005);
  return kToneLevel * std::sin(2 * std::numbers::pi * (440.0 + 220.0 * channel) * double(index) / sound.rate);
}

void Append(uint64_t value, uint32_t count, std::vector<uint8_t>* bytes) {
  for (uint32_t i = 0; i < count; ++i) bytes->push_back(uint8_t(value >> (8 * i)));
}

void AppendSample(SampleEncoding encoding, double level, std::vector<uint8_t>* bytes) {
  switch (encoding) {
    case SampleEncoding::kU8:
      return Append(uint64_t(128 + std::lround(level * 0x7F)), 1, bytes);
    case SampleEncoding::kF32:
      return Append(std::bit_cast<uint32_t>(float(level)), 4, bytes);
    case SampleEncoding::kF64:
      return Append(std::bit_cast<uint64_t>(level), 8, bytes);
    default: {
      const uint32_t count = BytesPerSample(encoding);
      const auto full = double((int64_t(1) << (8 * count - 1)) - 1);
      return Append(uint64_t(int64_t(std::llround(level * full))), count, bytes);
    }
  }
}

}  // namespace

std::vector<uint8_t> SceneSoundBytes(const SceneSound& sound, uint64_t first, uint64_t count) {
  std::vector<uint8_t> bytes;
  bytes.reserve(count * sound.channels * BytesPerSample(sound.encoding));
  for (uint64_t index = first; index < first + count; ++index) {
    for (uint16_t channel = 0; channel < sound.channels; ++channel) AppendSample(sound.encoding, Level(sound, index, channel), &bytes);
  }
  return bytes;
}

}  // namespace qx
