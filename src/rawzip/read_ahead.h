// Small forward reads of a file served from one growing window, so that walking millions of tiny records costs few system calls and
// hopping between large members reads little that is not needed.
#pragma once

#include <cstdint>

#include "base/byte_reader.h"
#include "base/byte_source.h"
#include "base/grow_buffer.h"

namespace qx {

/// A window on a byte source, which is not owned. One user at a time.
class ReadAhead {
 public:
  /// The most bytes that one call can ask for.
  static constexpr uint64_t kLargestRead = 0x20000;

  explicit ReadAhead(const ByteSource& file) : file_(file), fileSize_(file.size()) {}

  /// Must succeed before the first From().
  [[nodiscard]] bool Allocate() { return window_.Reserve(kLargestRead); }
  uint64_t fileSize() const { return fileSize_; }

  /// The bytes from `offset` on: `count` of them and whatever else the window holds behind them. Fewer than `count` at the end of the file
  /// or after a read error. Valid until the next call. `count` is at most kLargestRead.
  Bytes From(uint64_t offset, uint64_t count);

 private:
  void Refill(uint64_t offset, uint64_t count);

  const ByteSource& file_;
  uint64_t fileSize_;
  GrowBuffer<uint8_t> window_;
  uint64_t begin_ = 0, end_ = 0;  // the file range that window_ holds
  uint64_t fill_ = 0;             // bytes asked for by the last refill
};

}  // namespace qx
