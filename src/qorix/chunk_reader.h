// Reads chunks through two caches and decides which of them are valid.
#pragma once

#include <cstdint>
#include <optional>

#include "base/grow_buffer.h"
#include "qorix/chunk.h"
#include "qorix/chunk_head.h"
#include "qorix/recording_scan.h"

namespace qx {

/// Used while a scan is filled; counts what it rejects in the scan's counters. One thread.
///
/// A crafted file can pack a plausible header into every 16 bytes, each claiming 64 MiB for its CRC. So all checksums of one scan together
/// may cover eight times the file and 64 MiB more; what goes beyond is rejected unchecked, except chunks of up to 2 KiB, which are always
/// checked. A real recording, however damaged, comes to less than half: each of its chunks is checked once or twice by the searches, once
/// by the walk and once for each index that names it.
class ChunkReader {
 public:
  /// `scan` must have its file, and outlive the reader.
  explicit ChunkReader(RecordingScan* scan);
  /// Memory for the caches; false when there is none.
  [[nodiscard]] bool Allocate();

  /// The valid chunk at `offset`, of `wantedTag` if one is given, and of the scan's session if that is known.
  std::optional<ChunkRecord> Validate(uint64_t offset, std::optional<uint32_t> wantedTag = std::nullopt);

  /// Head of a valid chunk, up to kKeyFieldsEnd; empty when it cannot be read. Valid until the next call.
  HeadFields Head(const ChunkRecord& record);

  /// The file's bytes from `begin` on: up to `wanted` (at most kWindowBytes), fewer at the end of the file. What the last window holds of
  /// them is served without reading if that is at least `enough`. Valid until the next call.
  Bytes Window(uint64_t begin, uint64_t enough, uint64_t wanted);
  static constexpr uint64_t kWindowBytes = (uint64_t(1) << 20) + kChunkHeaderBytes - 1;

  RecordingScan& scan() { return scan_; }

 private:
  Bytes View(uint64_t offset, uint64_t count);
  bool MayChecksum(uint32_t count);
  bool ChecksumMatches(uint64_t offset, const ChunkHeader& header);
  bool IsForeign(const ChunkHeader& header) const;
  void CountForeign(uint64_t offset, const ChunkHeader& header);

  RecordingScan& scan_;
  GrowBuffer<uint8_t> window_;
  uint64_t windowBegin_ = 0, windowLength_ = 0;
  uint64_t checksumBudget_;
};

}  // namespace qx
