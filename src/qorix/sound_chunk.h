// What the head of a sound chunk says, as its record keeps it.
#pragma once

#include <cstdint>

#include "qorix/chunk.h"

namespace qx {

/// How a chunk's samples are stored. Only chunks of the first one's format are played.
struct SoundFormat {
  uint32_t rate = 0;
  uint16_t channels = 0;
  uint8_t format = 0;  // as ScanSound::format

  /// 0 for a format that nobody knows.
  uint32_t bytesPerSample() const { return format == 1 ? 2 : format == 2 ? 3 : format == 3 || format == 4 ? 4 : 0; }
  bool operator==(const SoundFormat&) const = default;
};

struct SoundChunk {
  SoundFormat format;
  uint64_t firstSample = 0;                // of the recording's sample frames
  uint32_t frames = 0;                     // sample frames that the head promises
  uint64_t bodyOffset = 0, bodyBytes = 0;  // what is there
};

inline SoundChunk SoundChunkOf(const ChunkRecord& record) {
  return {.format = {record.key2, uint16_t(record.key3), uint8_t(record.key3 >> 16)},
          .firstSample = record.extra0,
          .frames = record.key1,
          .bodyOffset = record.offset + record.headLength,
          .bodyBytes = record.usedSize - record.headLength};
}

}  // namespace qx
