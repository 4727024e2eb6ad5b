// Chunks of a `.qorix` recording as the writer builds them: little-endian fields, CRC-32C, the common header.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace qx {

/// CRC-32C (Castagnoli) of `bytes`; `crc` is the result of the bytes before them, 0 at the start.
uint32_t Crc32cOf(std::span<const uint8_t> bytes, uint32_t crc = 0);

/// Little-endian fields, appended one after the other.
class QorixFields {
 public:
  QorixFields& U8(uint64_t value) { return Append(value, 1); }
  QorixFields& U16(uint64_t value) { return Append(value, 2); }
  QorixFields& U32(uint64_t value) { return Append(value, 4); }
  QorixFields& U64(uint64_t value) { return Append(value, 8); }
  QorixFields& F32(float value);
  QorixFields& F64(double value);
  QorixFields& Raw(std::span<const uint8_t> bytes);
  QorixFields& Text(std::string_view text);
  QorixFields& Zeros(size_t count);
  /// Zeros up to the next multiple of `multiple` bytes.
  QorixFields& PadTo(size_t multiple);

  size_t size() const { return bytes_.size(); }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  QorixFields& Append(uint64_t value, int count);
  std::vector<uint8_t> bytes_;
};

/// The four letters of a chunk kind as the number at the chunk's start.
constexpr uint32_t QorixTag(const char (&letters)[5]) {
  uint32_t tag = 0;
  for (int i = 0; i < 4; ++i) tag |= uint32_t(uint8_t(letters[i])) << (8 * i);
  return tag;
}
/// And back: what is no capital letter reads "?".
std::string_view QorixTagText(uint32_t tag, char (&letters)[5]);

constexpr size_t kQorixChunkHeader = 40;
constexpr uint64_t kQorixNowhere = UINT64_MAX;  // an offset that names nothing
constexpr uint16_t kQorixCopyFlag = 1, kQorixKeyframeFlag = 2;

/// A chunk before it is laid out. `head` are the kind's fields from offset 40 on.
struct QorixChunk {
  uint32_t tag = 0;
  uint32_t seq = 0;  // within the kind
  uint16_t flags = 0;
  uint64_t timestampNs = 0;  // sensor clock
  uint32_t sessionId = 0;    // filled in by QorixWriter
  uint32_t field20 = 0;
  std::vector<uint8_t> head;
  std::vector<uint8_t> body;
};

/// Bytes that a chunk's CRC covers: header, head and body.
uint64_t QorixUsedSize(const QorixChunk& chunk);
/// Bytes from the chunk's start to the next one when `dataBytes` (frame slices) follow the used part; a multiple of 8.
uint64_t QorixTotalSize(const QorixChunk& chunk, uint64_t dataBytes);
/// The used part with its CRC; `dataBytes` and padding, which no CRC covers, are not in it.
std::vector<uint8_t> LayOutChunk(const QorixChunk& chunk, uint64_t dataBytes = 0);

}  // namespace qx
