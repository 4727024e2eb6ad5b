// Chunks of a `.qorix` recording: kinds, the common header, and the record kept of each valid one. All integers are little-endian.
#pragma once

#include <cstdint>

namespace qx {

constexpr uint32_t ChunkTag(const char (&text)[5]) {
  return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 | uint32_t(uint8_t(text[2])) << 16 | uint32_t(uint8_t(text[3])) << 24;
}

constexpr uint32_t kTagHeader = ChunkTag("QXPH");
constexpr uint32_t kTagTable = ChunkTag("QXRL");
constexpr uint32_t kTagFrame = ChunkTag("QXRF");
constexpr uint32_t kTagMetadata = ChunkTag("QXPM");
constexpr uint32_t kTagBlob = ChunkTag("QXPB");
constexpr uint32_t kTagSound = ChunkTag("QXPA");
constexpr uint32_t kTagMotion = ChunkTag("QXPG");
constexpr uint32_t kTagPeriodicIndex = ChunkTag("QXPI");
constexpr uint32_t kTagWholeIndex = ChunkTag("QXPX");
constexpr uint32_t kTagTrailer = ChunkTag("QXPE");

constexpr uint32_t kChunkHeaderBytes = 40;
constexpr uint32_t kMaxUsedBytes = 67108864;
constexpr uint64_t kNoOffset = UINT64_MAX;

enum ChunkFlags : uint16_t { kChunkIsCopy = 1, kChunkIsKeyframe = 2 };

/// The common header, at an offset that is a multiple of 8.
struct ChunkHeader {
  uint32_t tag = 0;
  uint32_t totalSize = 0;  // to the next chunk; a multiple of 8
  uint32_t usedSize = 0;   // covered by the CRC
  uint32_t crc = 0;
  uint32_t sessionId = 0;
  uint32_t field20 = 0;
  uint32_t seq = 0;  // within the kind
  uint16_t flags = 0;
  uint16_t headLength = 0;  // the body starts here
  uint64_t timestamp = 0;   // sensor clock, nanoseconds
};

/// A valid chunk. The keys are kind-specific values of its head, 0 where the head does not cover them.
struct ChunkRecord {
  uint64_t offset = 0;
  uint64_t timestamp = 0;
  uint32_t tag = 0, totalSize = 0, usedSize = 0, seq = 0, field20 = 0, sessionId = 0;
  uint16_t flags = 0, headLength = 0;
  uint64_t extra0 = 0;
  uint32_t key1 = 0, key2 = 0, key3 = 0;
};

/// One entry of an index chunk.
struct IndexEntry {
  uint64_t offset = 0;
  uint32_t tag = 0, seq = 0;
  uint64_t timestamp = 0;
};

}  // namespace qx
