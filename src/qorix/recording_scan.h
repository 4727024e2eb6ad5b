// Finds every valid chunk of a `.qorix` recording, whole or damaged, and sorts them by kind.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/byte_source.h"
#include "base/grow_buffer.h"
#include "base/message.h"
#include "qorix/chunk.h"

namespace qx {

struct RectU16 {
  uint16_t left = 0, top = 0, right = 0, bottom = 0;
};

/// Fields of the chosen recording header; those that its head does not cover are 0.
struct RecordingHeader {
  bool present = false;
  bool signatureValid = false;
  uint16_t version = 0;
  uint32_t incompatibleBits = 0, compatibleBits = 0;
  std::array<uint8_t, 16> recordingId = {};
  uint16_t partNumber = 0;
  uint64_t sensorStartNs = 0;
  uint64_t wallClockStartNs = 0;  // since 1970 UTC, 0 = unknown
  int16_t timeZoneMinutes = 0;
  uint8_t cfaCode = 0;
  uint16_t sensorWidth = 0, sensorHeight = 0;
  RectU16 rectangle1, rectangle2;
  int32_t white = 0;
  std::array<int32_t, 4> black = {};
  uint32_t captureNumerator = 0, captureDenominator = 0, playbackNumerator = 0, playbackDenominator = 0;
  float quantization = 0;  // level k
  int16_t rotationDegrees = 0;
};

struct TrailerInfo {
  bool present = false;
  uint64_t indexOffset = kNoOffset, headerOffset = kNoOffset;
  uint32_t flags = 0;
  uint32_t frameCount = 0;  // frames written in the recording
  uint64_t partBytes = 0;

  bool isLastPart() const { return (flags & 1) != 0; }
};

/// An entry of a per-kind list, sorted by (subkey, key, record).
struct ChunkListEntry {
  uint32_t key = 0, subkey = 0;
  int32_t record = 0;  // index into RecordingScan::records
};
using ChunkList = std::vector<ChunkListEntry>;

/// The first entry with these keys, or -1.
int32_t FindInChunkList(const ChunkList& list, uint32_t key, uint32_t subkey = 0);

/// Sound as the chunks describe it.
struct ScanSound {
  bool present = false;
  uint8_t format = 0;  // 1, 2, 3: 16-, 24-, 32-bit integer; 4: 32-bit float
  uint32_t rate = 0;
  uint16_t channels = 0;
  uint32_t bytesPerSample = 0, bytesPerFrame = 0;
  uint64_t firstSample = 0;
  uint64_t totalFrames = 0;
  bool monotonic = true;
};

struct ByteRange {
  uint64_t begin = 0, end = 0;
};

struct ScanCounters {
  uint64_t candidates = 0, badChunks = 0, crcMismatches = 0, foreignChunks = 0, resynchronisations = 0;
};

enum class OpenState : int32_t { kNone = 0, kWholeIndex = 1, kRecovered = 2 };

/// Filled once by recording_scan, then read by one thread at a time (reads go through one block cache). The byte source is not owned and
/// must outlive it.
struct RecordingScan {
  const ByteSource* file = nullptr;
  uint64_t fileSize = 0;
  bool sessionKnown = false, sessionByVote = false;
  uint32_t sessionId = 0;
  OpenState openState = OpenState::kNone;

  std::vector<ChunkRecord> records;  // sorted by offset
  std::vector<ByteRange> damaged;
  std::vector<IndexEntry> unverified;
  std::vector<uint32_t> partNumbers;  // distinct, ascending, at most 8

  TrailerInfo trailer;
  RecordingHeader header;
  std::vector<uint8_t> staticMetadata;  // body of the chosen header

  ChunkList frames, tables, blobs, metadata, metadataBySeq, sound, motion;
  int32_t repeatedFrames = 0;
  ScanSound soundSummary;
  std::vector<int64_t> frameSlots;  // per entry of `frames`
  ScanCounters counters;
  std::string warning;  // at most 255 bytes

  // Block cache of recording_read_range.
  GrowBuffer<uint8_t> block;
  uint64_t blockOffset = 0, blockLength = 0;
};

/// The first 48 bytes carry the header's signature.
bool looks_like_qorix(const ByteSource& file);
/// A deeper look for a file whose beginning is damaged.
bool probe_qorix(const ByteSource& file);

/// 0, or -1 with "out of memory". A file without any chunk scans to an empty result.
[[nodiscard]] int recording_scan(RecordingScan* scan, const ByteSource& file, Message message);
void recording_free(RecordingScan* scan);

/// Bytes [offset, offset + length) through the block cache; empty when they leave the file or cannot be read. Valid until the next read.
Bytes recording_read_range(RecordingScan* scan, uint64_t offset, uint64_t length);

}  // namespace qx
