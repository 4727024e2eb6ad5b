// WAV files as recorders write them, and odd on purpose.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "samples/scene_sound.h"

namespace qx {

struct WavOptions {
  SampleEncoding encoding = SampleEncoding::kS16;
  uint32_t rate = 48000;
  uint16_t channels = 2;
  bool extensible = false;                // WAVE_FORMAT_EXTENSIBLE
  bool rf64 = false;                      // RF64 with its sizes in a "ds64" chunk
  bool oddChunk = false;                  // a chunk of odd size, with its pad byte, before the samples
  std::optional<uint64_t> timeReference;  // of a "bext" chunk: sample frames since midnight
  uint64_t claimedMore = 0;               // bytes that the heads promise beyond the samples: a file that was cut off
};

/// A file around `samples`, which are encoded and interleaved already.
std::vector<uint8_t> WriteWav(const WavOptions& options, std::span<const uint8_t> samples);

}  // namespace qx
