// The records of a scan while it runs, found by their offset.
#pragma once

#include <cstdint>
#include <vector>

#include "qorix/recording_scan.h"

namespace qx {

/// A set of file offsets with a number for each: open addressing, at most half full. Offsets are below UINT64_MAX. May throw bad_alloc.
class OffsetTable {
 public:
  /// The offset's number, -1 when it is not there.
  int32_t Find(uint64_t offset) const;
  /// Adds an offset that is not there.
  void Insert(uint64_t offset, int32_t number);

 private:
  struct Slot {
    uint64_t offsetPlusOne = 0;  // 0: free
    int32_t number = 0;
  };
  void Place(uint64_t offset, int32_t number);
  void Grow();

  std::vector<Slot> slots_;
  size_t used_ = 0;
};

/// Adds records to a scan, each offset once. While it is in use the scan's records keep their order.
class RecordCollector {
 public:
  explicit RecordCollector(RecordingScan* scan) : records_(scan->records) {}

  /// Keeps the record that is already there for its offset, if any.
  void Add(const ChunkRecord& record);
  /// Null when there is none. Valid until the next Add().
  const ChunkRecord* Find(uint64_t offset) const;

 private:
  std::vector<ChunkRecord>& records_;
  OffsetTable table_;
};

}  // namespace qx
