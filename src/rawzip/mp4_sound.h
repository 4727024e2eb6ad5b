// The sound track of an MP4 or M4A file (ISO/IEC 14496-12 and -14), as far as it describes AAC. Nothing here decodes it.
#pragma once

#include <cstdint>

#include "base/byte_reader.h"
#include "base/byte_source.h"

namespace qx {

/// The description of all tracks ("moov") is read whole, up to this size.
constexpr uint64_t kMaxMoovBytes = 32u << 20;

struct Mp4Sound {
  uint32_t channels = 0;
  uint32_t sampleRate = 0;
  uint32_t objectType = 0;  // of the AudioSpecificConfig (ISO/IEC 14496-3): 2 AAC-LC; 0 none found
  uint32_t samplesPerPacket = 1024;
  uint64_t packets = 0;
  double durationSeconds = 0;       // of the packets, as the track's times tell; 0 unknown
  uint64_t delay = 0, padding = 0;  // samples that the encoder put before and behind the sound

  bool isAacLc() const { return objectType == 2 && sampleRate > 0 && packets > 0; }
  /// Sample frames between delay and padding.
  uint64_t frames() const;
};

/// The first sound track of the file in bytes [offset, offset + size) of `file`. False when there is none, or it cannot be read.
[[nodiscard]] bool ReadMp4Sound(const ByteSource& file, uint64_t offset, uint64_t size, Mp4Sound* sound);

/// The same for the contents of a "moov" box. `fileBytes`: size of the whole file, which its packets cannot exceed.
[[nodiscard]] bool ParseMoov(Bytes moov, uint64_t fileBytes, Mp4Sound* sound);

}  // namespace qx
