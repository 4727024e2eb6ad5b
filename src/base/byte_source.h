// Where file bytes come from: positioned reads that any number of threads may issue at once.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

#include "base/byte_reader.h"

namespace qx {

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Size in bytes, taken when the source was opened.
  virtual uint64_t size() const = 0;
  /// Reads up to `count` bytes from `offset` into `out`; returns the bytes obtained, less than `count` at the end or after an error.
  /// Any thread.
  virtual uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const = 0;

  bool ReadExactly(uint64_t offset, void* out, uint64_t count) const { return ReadAt(offset, out, count) == count; }
};

/// Bytes in memory, not owned: for tests, fuzzing and records that are already loaded.
class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(Bytes bytes) : bytes_(bytes) {}
  uint64_t size() const override { return bytes_.size(); }
  uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const override {
    if (offset >= bytes_.size()) return 0;
    const uint64_t available = bytes_.size() - offset;
    const uint64_t taken = count < available ? count : available;
    if (taken > 0) std::memcpy(out, bytes_.data() + offset, size_t(taken));
    return taken;
  }

 private:
  Bytes bytes_;
};

}  // namespace qx
