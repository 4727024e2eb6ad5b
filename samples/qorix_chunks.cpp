#include "samples/qorix_chunks.h"

#include <array>
#include <bit>

namespace qx {

namespace {

constexpr uint32_t kCastagnoli = 0x82F63B78;  // reflected

using CrcTables = std::array<std::array<uint32_t, 256>, 8>;

/// tables[k][b]: the register after byte b and k zero bytes.
constexpr CrcTables MakeCrcTables() {
  CrcTables tables = {};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t value = byte;
    for (auto& table : tables) {
      for (int bit = 0; bit < 8; ++bit) value = value >> 1 ^ ((value & 1) != 0 ? kCastagnoli : 0);
      table[byte] = value;
    }
  }
  return tables;
}
constexpr CrcTables kCrcTables = MakeCrcTables();

constexpr size_t kCrcOffset = 12, kCrcEnd = 16;

}  // namespace

uint32_t Crc32cOf(std::span<const uint8_t> bytes, uint32_t crc) {
  uint32_t value = ~crc;
  size_t at = 0;
  for (; bytes.size() - at >= 8; at += 8) {
    uint32_t next = 0;
    for (size_t i = 0; i < 8; ++i) {
      const uint8_t shifted = i < 4 ? uint8_t(value >> (8 * i)) : 0;
      next ^= kCrcTables[7 - i][bytes[at + i] ^ shifted];
    }
    value = next;
  }
  for (; at < bytes.size(); ++at) value = value >> 8 ^ kCrcTables[0][(value ^ bytes[at]) & 0xFF];
  return ~value;
}

QorixFields& QorixFields::Append(uint64_t value, int count) {
  for (int i = 0; i < count; ++i) bytes_.push_back(uint8_t(value >> (8 * i)));
  return *this;
}

QorixFields& QorixFields::F32(float value) {
  return U32(std::bit_cast<uint32_t>(value));
}

QorixFields& QorixFields::F64(double value) {
  return U64(std::bit_cast<uint64_t>(value));
}

QorixFields& QorixFields::Raw(std::span<const uint8_t> bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

QorixFields& QorixFields::Text(std::string_view text) {
  bytes_.insert(bytes_.end(), text.begin(), text.end());
  return *this;
}

QorixFields& QorixFields::Zeros(size_t count) {
  bytes_.resize(bytes_.size() + count);
  return *this;
}

QorixFields& QorixFields::PadTo(size_t multiple) {
  return Zeros((multiple - bytes_.size() % multiple) % multiple);
}

std::string_view QorixTagText(uint32_t tag, char (&letters)[5]) {
  for (int i = 0; i < 4; ++i) {
    const char letter = char(tag >> (8 * i));
    letters[i] = letter >= 'A' && letter <= 'Z' ? letter : '?';
  }
  letters[4] = 0;
  return {letters, 4};
}

uint64_t QorixUsedSize(const QorixChunk& chunk) {
  return kQorixChunkHeader + chunk.head.size() + chunk.body.size();
}

uint64_t QorixTotalSize(const QorixChunk& chunk, uint64_t dataBytes) {
  return (QorixUsedSize(chunk) + dataBytes + 7) / 8 * 8;
}

std::vector<uint8_t> LayOutChunk(const QorixChunk& chunk, uint64_t dataBytes) {
  QorixFields fields;
  fields.U32(chunk.tag).U32(QorixTotalSize(chunk, dataBytes)).U32(QorixUsedSize(chunk)).U32(0);
  fields.U32(chunk.sessionId).U32(chunk.field20).U32(chunk.seq).U16(chunk.flags);
  fields.U16(kQorixChunkHeader + chunk.head.size()).U64(chunk.timestampNs).Raw(chunk.head).Raw(chunk.body);
  std::vector<uint8_t> bytes = fields.bytes();
  const std::span<const uint8_t> all = bytes;
  const uint32_t crc = Crc32cOf(all.subspan(kCrcEnd), Crc32cOf(all.first(kCrcOffset)));
  for (size_t i = 0; i < 4; ++i) bytes[kCrcOffset + i] = uint8_t(crc >> (8 * i));
  return bytes;
}

}  // namespace qx
