// Follows the entries of index chunks to the chunks that they name.
#pragma once

#include <cstdint>

#include "base/grow_buffer.h"
#include "qorix/chunk_reader.h"
#include "qorix/record_collector.h"

namespace qx {

/// What reading an index came to.
struct IndexReading {
  bool holds = false;      // every entry names a valid chunk truly, and all were read
  uint64_t listedEnd = 0;  // end of the last chunk that the entries name truly
};

/// Reads each index once. One thread. Reader and collector must outlive it.
///
/// Indexes that overlap in a crafted file could list many more entries than the file has room for; together they are read up to that room.
class IndexReader {
 public:
  IndexReader(ChunkReader* reader, RecordCollector* collector);
  /// Memory for a piece of an index; false when there is none.
  [[nodiscard]] bool Allocate();

  /// An index whose entries can be read.
  bool IsUsable(const ChunkRecord& index);
  /// Adds the chunks that the entries name truly; the other entries go to the scan's unverified ones. Does nothing for an index that is
  /// not usable or was read before.
  IndexReading Read(const ChunkRecord& index);
  bool WasRead(const ChunkRecord& index) const { return read_.Find(index.offset) >= 0; }

 private:
  /// The chunk that an entry names truly, or null.
  const ChunkRecord* Follow(const IndexEntry& entry);

  ChunkReader& reader_;
  RecordCollector& collector_;
  OffsetTable read_;
  GrowBuffer<uint8_t> piece_;
  uint64_t entriesLeft_;
};

}  // namespace qx
