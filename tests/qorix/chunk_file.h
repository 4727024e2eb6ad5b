// Recordings laid out chunk by chunk for the scan's tests, with every field under the test's control.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/byte_source.h"
#include "qorix/recording_scan.h"
#include "samples/qorix_chunks.h"

namespace qx {

constexpr uint32_t kSession = 0x5E551011, kOtherSession = 0x0BADF00D;

struct ChunkFile {
  std::vector<uint8_t> bytes;

  /// Appends the chunk, with `dataBytes` of 0xDD as its slices; returns its offset.
  uint64_t Add(QorixChunk chunk, uint64_t dataBytes = 0) {
    const uint64_t offset = bytes.size();
    if (chunk.sessionId == 0) chunk.sessionId = kSession;
    const std::vector<uint8_t> used = LayOutChunk(chunk, dataBytes);
    bytes.insert(bytes.end(), used.begin(), used.end());
    bytes.resize(bytes.size() + dataBytes, 0xDD);
    bytes.resize(offset + QorixTotalSize(chunk, dataBytes));
    return offset;
  }
  void AddGarbage(uint64_t count) { bytes.resize(bytes.size() + count, 0xEE); }
  uint64_t size() const { return bytes.size(); }
};

struct HeaderFields {
  uint16_t part = 0, version = 1;
  uint32_t incompatibleBits = 0;
  bool signature = true;
};

inline QorixChunk HeaderChunk(uint16_t flags = 0, const HeaderFields& fields = {}) {
  QorixFields head;
  head.U8(0x89).Text(fields.signature ? "QORIX\r\n" : "qorix\r\n").U16(fields.version).U16(0).U32(fields.incompatibleBits).Zeros(20);
  head.U16(fields.part).Zeros(10);
  return {.tag = QorixTag("QXPH"), .flags = flags, .head = head.bytes(), .body = {1, 2, 3}};
}

inline QorixChunk FrameChunkOf(uint32_t seq, uint64_t timestampNs = 0, size_t bodyBytes = 8) {
  return {.tag = QorixTag("QXRF"),
          .seq = seq,
          .timestampNs = timestampNs,
          .head = std::vector<uint8_t>(56),
          .body = std::vector<uint8_t>(bodyBytes)};
}

struct Entry {
  uint64_t offset;
  uint32_t tag, seq;
};

inline std::vector<uint8_t> EntryBytes(const std::vector<Entry>& entries, uint16_t entrySize = 24) {
  QorixFields fields;
  for (const Entry& entry : entries)
    fields.U64(entry.offset).U32(entry.tag).U32(entry.seq).U64(0).Zeros(size_t(std::max(0, entrySize - 24)));
  return fields.bytes();
}

inline QorixChunk WholeIndex(const std::vector<Entry>& entries, uint16_t entrySize = 24) {
  return {.tag = QorixTag("QXPX"),
          .head = QorixFields().U32(entries.size()).U16(entrySize).U16(0).bytes(),
          .body = EntryBytes(entries, entrySize)};
}

struct PeriodicFields {
  uint64_t previous = kQorixNowhere, coveredFrom = 0, headerOffset = 0;
  uint16_t entrySize = 24;
};

inline QorixChunk PeriodicIndex(const PeriodicFields& fields, const std::vector<Entry>& entries) {
  QorixFields head;
  head.U64(fields.previous).U64(fields.coveredFrom).U64(fields.headerOffset).U32(entries.size()).U16(fields.entrySize).U16(0).U32(0);
  return {.tag = QorixTag("QXPI"), .head = head.bytes(), .body = EntryBytes(entries, fields.entrySize)};
}

inline QorixChunk Trailer(uint64_t indexOffset, uint64_t headerOffset, uint32_t flags = 1) {
  QorixFields head;
  head.U64(indexOffset).U64(0).U64(headerOffset).U32(0).U32(flags).U32(0).U32(0).U64(0);
  return {.tag = QorixTag("QXPE"), .head = head.bytes(), .body = {}};
}

/// Memory that counts the bytes read from it.
class CountingSource final : public ByteSource {
 public:
  explicit CountingSource(Bytes bytes) : memory_(bytes) {}
  uint64_t size() const override { return memory_.size(); }
  uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const override {
    const uint64_t given = memory_.ReadAt(offset, out, count);
    bytesRead += given;
    return given;
  }

  mutable uint64_t bytesRead = 0;

 private:
  MemorySource memory_;
};

/// The scan of bytes in memory.
struct Scanned {
  explicit Scanned(Bytes bytes) : source(bytes) {
    MessageBuffer<256> buffer;
    result = recording_scan(&scan, source, buffer);
    message = buffer.text();
  }
  std::vector<uint64_t> Offsets() const {
    std::vector<uint64_t> offsets;
    for (const ChunkRecord& record : scan.records) offsets.push_back(record.offset);
    return offsets;
  }
  std::vector<uint32_t> FrameNumbers() const {
    std::vector<uint32_t> numbers;
    for (const ChunkListEntry& entry : scan.frames) numbers.push_back(entry.key);
    return numbers;
  }
  std::vector<std::pair<uint64_t, uint64_t>> Damaged() const {
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    for (const ByteRange& range : scan.damaged) ranges.push_back({range.begin, range.end});
    return ranges;
  }

  CountingSource source;
  RecordingScan scan;
  int result = 0;
  std::string message;
};

}  // namespace qx
