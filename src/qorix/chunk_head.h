// Reading the common header of a chunk and the fields of its kind behind it.
#pragma once

#include <cstdint>

#include "base/byte_reader.h"
#include "base/checked.h"
#include "qorix/chunk.h"

namespace qx {

/// Fields of a head, by their offsets from the chunk's start. A field that the head does not cover reads as `missing`. Owns nothing.
class HeadFields {
 public:
  /// `head`: the chunk's first headLength bytes, or as many of them as hold all fields of interest.
  explicit HeadFields(Bytes head) : head_(head) {}

  bool Covers(size_t offset, size_t count) const { return RangeFits(offset, count, head_.size()); }
  uint8_t U8(size_t offset) const { return Covers(offset, 1) ? head_[offset] : 0; }
  uint16_t U16(size_t offset) const { return Covers(offset, 2) ? LoadU16Le(&head_[offset]) : 0; }
  uint32_t U32(size_t offset, uint32_t missing = 0) const { return Covers(offset, 4) ? LoadU32Le(&head_[offset]) : missing; }
  uint64_t U64(size_t offset, uint64_t missing = 0) const { return Covers(offset, 8) ? LoadU64Le(&head_[offset]) : missing; }
  float F32(size_t offset) const { return std::bit_cast<float>(U32(offset)); }
  Bytes Raw(size_t offset, size_t count) const { return Covers(offset, count) ? head_.subspan(offset, count) : Bytes(); }

 private:
  Bytes head_;
};

/// `bytes`: the first kChunkHeaderBytes of a chunk.
ChunkHeader ParseChunkHeader(Bytes bytes);

/// Tag and sizes as a chunk can have them; cheap enough for every eighth byte of a file.
inline bool IsPlausibleChunk(const uint8_t* bytes) {
  const uint32_t tag = LoadU32Le(bytes);
  if ((tag & 0xE0E0E0E0) != 0x40404040) return false;  // bytes outside 0x40 to 0x5F: nearly all positions end here
  for (int i = 0; i < 4; ++i) {
    if (bytes[i] < 'A' || bytes[i] > 'Z') return false;
  }
  const uint32_t totalSize = LoadU32Le(bytes + 4), usedSize = LoadU32Le(bytes + 8);
  const uint16_t headLength = LoadU16Le(bytes + 30);
  return totalSize % 8 == 0 && usedSize <= totalSize && headLength <= usedSize && headLength >= kChunkHeaderBytes;
}

/// One of the ten kinds that a recording is made of.
bool IsKnownChunkTag(uint32_t tag);

/// The chunk's record with the keys of its kind.
ChunkRecord MakeChunkRecord(uint64_t offset, const ChunkHeader& header, const HeadFields& head);
/// All fields that MakeChunkRecord and the index readers look at lie before this offset.
constexpr size_t kKeyFieldsEnd = 88;

constexpr uint8_t kRecordingSignature[8] = {0x89, 'Q', 'O', 'R', 'I', 'X', '\r', '\n'};
constexpr size_t kRecordingSignatureOffset = 40;

/// Where a chunk that knows the recording header's offset (trailer, periodic index) keeps it.
constexpr size_t kHeaderOffsetField = 56;

/// An index chunk that lists what is elsewhere in the file.
struct IndexHead {
  uint32_t entryCount = 0;
  uint16_t entryBytes = 0;  // apart from one entry to the next
  bool usable = false;      // the head reaches both fields, and entries have room for what is read of them
};
IndexHead ParseIndexHead(uint32_t tag, const HeadFields& head);
constexpr uint32_t kIndexEntryBytes = 24;  // that are read

}  // namespace qx
