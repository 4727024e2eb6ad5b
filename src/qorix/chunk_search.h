// Finds valid chunks where nothing says where they are.
#pragma once

#include <cstdint>
#include <optional>

#include "qorix/chunk_reader.h"
#include "qorix/record_collector.h"

namespace qx {

/// Tests every 8-aligned position of a range in windows of about 1 MiB. One thread. Reader and collector must outlive it.
class ChunkSearch {
 public:
  ChunkSearch(ChunkReader* reader, RecordCollector* collector) : reader_(*reader), collector_(*collector) {}

  /// The last valid chunk of a tag that starts at or above `lowerBound`.
  std::optional<ChunkRecord> Last(uint32_t tag, uint64_t lowerBound);
  /// The first valid chunk of any tag that starts in [from, to).
  std::optional<ChunkRecord> Next(uint64_t from, uint64_t to);

  /// Adds the chunks in [begin, end), each found where the one before it ends. Where there is none, the slice data of the one before may
  /// hold it: bytes that are missing there pull the rest of the file forward. Else Next() finds the place to go on, and what lies before
  /// that becomes a damaged area. `begin` is a multiple of 8. A walk goes on from where the one before it ended also when that lies behind
  /// the file's end.
  void Walk(uint64_t begin, uint64_t end);
  /// The same up to the first place where no chunk is found, which is returned.
  uint64_t WalkWhole(uint64_t begin);

  /// The session of most of the first 1,000 valid chunks, the first seen of equals; at most 64 sessions count. The scan's session must not
  /// be known yet.
  std::optional<uint32_t> VoteForSession();

 private:
  template <typename Visit>
  void VisitCandidates(uint64_t from, uint64_t to, Visit&& visit);
  std::optional<ChunkRecord> LastIn(Bytes window, uint64_t windowBegin, uint32_t tag);
  /// Notes the chunk as the one walked last; returns its end.
  uint64_t Pass(const ChunkRecord& chunk);
  /// The first chunk in the slice data of the one walked last, if that is said to end at `at`.
  std::optional<ChunkRecord> NextInSlicesBefore(uint64_t at);

  ChunkReader& reader_;
  RecordCollector& collector_;
  uint64_t slicesBegin_ = 0, slicesEnd_ = 0;  // of the chunk walked last: what its checksum does not cover
};

}  // namespace qx
