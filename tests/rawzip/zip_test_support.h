// What the ZIP tests share: opened archives with their message, patches, byte patterns, sources that fail or count.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/byte_source.h"
#include "rawzip/zip_reader.h"
#include "samples/zip_writer.h"

namespace qx {

using ByteVector = std::vector<uint8_t>;

struct OpenedZip {
  explicit OpenedZip(const ByteSource& file) : memory_({}) { Open(file); }
  /// Of bytes that outlive the archive.
  explicit OpenedZip(Bytes bytes) : memory_(bytes) { Open(memory_); }
  OpenedZip(const OpenedZip&) = delete;
  OpenedZip& operator=(const OpenedZip&) = delete;

  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const ZipEntry& entry : archive.entries) names.push_back(entry.name);
    return names;
  }

  ZipArchive archive;
  int result = 0;
  std::string message;

 private:
  void Open(const ByteSource& file) {
    MessageBuffer<256> buffer;
    result = zip_open(&archive, file, buffer);
    message = buffer.text();
  }

  MemorySource memory_;
};

inline ByteVector BytesOf(std::string_view text) {
  return ByteVector(text.begin(), text.end());
}

/// Bytes that do not compress (xorshift, the same for the same seed).
inline ByteVector Noise(size_t count, uint32_t seed) {
  ByteVector bytes(count);
  uint32_t state = seed * 2654435761u + 1;
  for (uint8_t& byte : bytes) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    byte = uint8_t(state >> 24);
  }
  return bytes;
}

/// Little-endian fields given as (value, bytes).
inline ByteVector LittleEndian(std::initializer_list<std::pair<uint64_t, int>> fields) {
  ByteVector bytes;
  bytes.reserve(8 * fields.size());
  for (const auto& [value, count] : fields) {
    for (int i = 0; i < count; ++i) bytes.push_back(uint8_t(value >> (8 * i)));
  }
  return bytes;
}

inline void Overwrite(ByteVector* bytes, size_t at, const ByteVector& patch) {
  std::copy(patch.begin(), patch.end(), bytes->begin() + at);
}
inline void Append(ByteVector* bytes, const ByteVector& more) {
  bytes->insert(bytes->end(), more.begin(), more.end());
}

/// Memory that gives nothing from `failFrom` on, and counts the bytes it gave.
class FlakySource final : public ByteSource {
 public:
  explicit FlakySource(const ByteVector& bytes, uint64_t failFrom = UINT64_MAX) : memory_(bytes), failFrom_(failFrom) {}
  uint64_t size() const override { return memory_.size(); }
  uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const override {
    if (offset >= failFrom_) return 0;
    const uint64_t given = memory_.ReadAt(offset, out, std::min(count, failFrom_ - offset));
    bytesRead += given;
    return given;
  }

  mutable uint64_t bytesRead = 0;

 private:
  MemorySource memory_;
  uint64_t failFrom_;
};

/// A file of zeros, however large, with a few pieces of other bytes.
class SparseSource final : public ByteSource {
 public:
  struct Piece {
    uint64_t offset;
    ByteVector bytes;
  };
  SparseSource(uint64_t size, std::vector<Piece> pieces) : size_(size), pieces_(std::move(pieces)) {}
  uint64_t size() const override { return size_; }
  uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const override {
    if (offset >= size_) return 0;
    count = std::min(count, size_ - offset);
    std::memset(out, 0, size_t(count));
    for (const Piece& piece : pieces_) {
      const uint64_t begin = std::max(offset, piece.offset), end = std::min(offset + count, piece.offset + piece.bytes.size());
      if (begin < end)
        std::memcpy(static_cast<uint8_t*>(out) + (begin - offset), &piece.bytes[size_t(begin - piece.offset)], size_t(end - begin));
    }
    return count;
  }

 private:
  uint64_t size_;
  std::vector<Piece> pieces_;
};

/// Two STORE members "a" and "b" of five bytes each. Local headers at 0 and 36, directory at 72 (two records of 47 bytes), end record at
/// 166.
constexpr size_t kTwoDirectory = 72, kTwoRecord = 47, kTwoEnd = 166;
inline ByteVector TwoMembers(std::string_view comment = {}, bool zip64 = false) {
  ByteVector bytes;
  ZipWriter writer(ZipSinkTo(&bytes));
  writer.Add("a", BytesOf("first"));
  writer.Add("b", BytesOf("other"));
  writer.Finish({.comment = comment, .forceZip64 = zip64});
  return bytes;
}

}  // namespace qx
