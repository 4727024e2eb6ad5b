#include "qorix/chunk_reader.h"

#include <algorithm>

#include "base/checked.h"
#include "qorix/crc32c.h"

namespace qx {

namespace {

// A read is at least this long. A frame's head with its slice table fits, mostly with the metadata chunk beside it; more would be slices.
constexpr uint64_t kMinimumBlockBytes = 2048;
constexpr uint64_t kInitialBlockCapacity = 65536;
// Checksums of long chunks go through the block cache in pieces.
constexpr uint64_t kPieceBytes = kInitialBlockCapacity;

constexpr uint64_t kChecksumFactor = 8;
constexpr uint32_t kAlwaysChecksummed = 2048;

constexpr size_t kCrcBegin = 12, kCrcEnd = 16;

bool ReserveBlock(GrowBuffer<uint8_t>* block, uint64_t count) {
  uint64_t capacity = std::max(block->capacity(), kInitialBlockCapacity);
  while (capacity < count) capacity *= 2;
  return block->Reserve(capacity);
}

bool SizesAreValid(const ChunkHeader& header, uint64_t bytesLeft) {
  return header.totalSize % 8 == 0 && header.usedSize >= kChunkHeaderBytes && header.usedSize <= header.totalSize &&
         header.usedSize <= kMaxUsedBytes && header.headLength >= kChunkHeaderBytes && header.headLength <= header.usedSize &&
         header.usedSize <= bytesLeft;
}

bool TagIsValid(uint32_t tag) {
  for (int shift = 0; shift < 32; shift += 8) {
    const uint8_t letter = uint8_t(tag >> shift);
    if (letter < 'A' || letter > 'Z') return false;
  }
  return true;
}

}  // namespace

Bytes recording_read_range(RecordingScan* scan, uint64_t offset, uint64_t length) {
  if (length == 0 || !RangeFits(offset, length, scan->fileSize)) return {};
  const bool cached = offset >= scan->blockOffset && RangeFits(offset - scan->blockOffset, length, scan->blockLength);
  if (!cached) {
    const uint64_t wanted = std::min(std::max(length, kMinimumBlockBytes), scan->fileSize - offset);
    scan->blockLength = 0;
    if (!ReserveBlock(&scan->block, wanted)) return {};
    scan->blockOffset = offset;
    scan->blockLength = scan->file->ReadAt(offset, scan->block.data(), wanted);
    if (scan->blockLength < length) return {};
  }
  return {scan->block.data() + (offset - scan->blockOffset), size_t(length)};
}

ChunkReader::ChunkReader(RecordingScan* scan) : scan_(*scan), checksumBudget_(kChecksumFactor * scan->fileSize + kMaxUsedBytes) {}

bool ChunkReader::Allocate() {
  return ReserveBlock(&scan_.block, kInitialBlockCapacity) && window_.Reserve(std::min(kWindowBytes, scan_.fileSize));
}

Bytes ChunkReader::Window(uint64_t begin, uint64_t enough, uint64_t wanted) {
  if (begin >= scan_.fileSize) return {};
  wanted = std::min({wanted, kWindowBytes, scan_.fileSize - begin});
  const bool held = begin >= windowBegin_ && RangeFits(begin - windowBegin_, std::min(enough, wanted), windowLength_);
  if (!held) {
    windowBegin_ = begin;
    windowLength_ = scan_.file->ReadAt(begin, window_.data(), wanted);
  }
  const Bytes window = window_.first(size_t(windowLength_)).subspan(size_t(begin - windowBegin_));
  return window.first(std::min(size_t(wanted), window.size()));
}

Bytes ChunkReader::View(uint64_t offset, uint64_t count) {
  if (offset >= windowBegin_ && RangeFits(offset - windowBegin_, count, windowLength_)) {
    return {window_.data() + (offset - windowBegin_), size_t(count)};
  }
  return recording_read_range(&scan_, offset, count);
}

HeadFields ChunkReader::Head(const ChunkRecord& record) {
  return HeadFields(View(record.offset, std::min<uint64_t>(record.headLength, kKeyFieldsEnd)));
}

bool ChunkReader::MayChecksum(uint32_t count) {
  if (count <= kAlwaysChecksummed) return true;
  if (count > checksumBudget_) return false;
  checksumBudget_ -= count;
  return true;
}

bool ChunkReader::ChecksumMatches(uint64_t offset, const ChunkHeader& header) {
  const Bytes start = View(offset, std::min<uint64_t>(header.usedSize, kPieceBytes));
  if (start.empty()) return false;
  uint32_t crc = crc32c_update(0, start.first(kCrcBegin));
  crc = crc32c_update(crc, start.subspan(kCrcEnd));
  for (uint64_t done = start.size(); done < header.usedSize;) {
    const Bytes piece = View(offset + done, std::min<uint64_t>(header.usedSize - done, kPieceBytes));
    if (piece.empty()) return false;
    crc = crc32c_update(crc, piece);
    done += piece.size();
  }
  return crc == header.crc;
}

bool ChunkReader::IsForeign(const ChunkHeader& header) const {
  return scan_.sessionKnown && header.sessionId != scan_.sessionId;
}

void ChunkReader::CountForeign(uint64_t offset, const ChunkHeader& header) {
  const bool whole = IsKnownChunkTag(header.tag) && MayChecksum(header.usedSize) && ChecksumMatches(offset, header);
  ++(whole ? scan_.counters.foreignChunks : scan_.counters.badChunks);
}

std::optional<ChunkRecord> ChunkReader::Validate(uint64_t offset, std::optional<uint32_t> wantedTag) {
  if (offset % 8 != 0 || !RangeFits(offset, kChunkHeaderBytes, scan_.fileSize)) return std::nullopt;
  const Bytes bytes = View(offset, kChunkHeaderBytes);
  if (bytes.empty()) return std::nullopt;
  const ChunkHeader header = ParseChunkHeader(bytes);
  if (header.tag != wantedTag.value_or(header.tag) || !TagIsValid(header.tag)) return std::nullopt;
  if (!SizesAreValid(header, scan_.fileSize - offset)) return std::nullopt;
  if (IsForeign(header)) {
    CountForeign(offset, header);
    return std::nullopt;
  }
  if (!MayChecksum(header.usedSize)) {
    ++scan_.counters.badChunks;
    return std::nullopt;
  }
  const HeadFields head(View(offset, std::min<uint64_t>(header.headLength, kKeyFieldsEnd)));
  const ChunkRecord record = MakeChunkRecord(offset, header, head);
  if (!ChecksumMatches(offset, header)) {
    ++scan_.counters.crcMismatches;
    return std::nullopt;
  }
  return record;
}

}  // namespace qx
