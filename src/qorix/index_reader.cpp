#include "qorix/index_reader.h"

#include <algorithm>

namespace qx {

namespace {

// Holds at least one entry of the largest size. Apart from the block cache, which the entries' chunks pass through meanwhile.
constexpr uint64_t kPieceBytes = 131072;
static_assert(kPieceBytes > UINT16_MAX);

IndexEntry ParseEntry(const uint8_t* bytes) {
  return {LoadU64Le(bytes), LoadU32Le(bytes + 8), LoadU32Le(bytes + 12), LoadU64Le(bytes + 16)};
}

}  // namespace

IndexReader::IndexReader(ChunkReader* reader, RecordCollector* collector)
    : reader_(*reader), collector_(*collector), entriesLeft_(reader->scan().fileSize / kIndexEntryBytes) {}

bool IndexReader::Allocate() {
  return piece_.Reserve(std::min(kPieceBytes, reader_.scan().fileSize));
}

bool IndexReader::IsUsable(const ChunkRecord& index) {
  return ParseIndexHead(index.tag, reader_.Head(index)).usable;
}

const ChunkRecord* IndexReader::Follow(const IndexEntry& entry) {
  if (const ChunkRecord* known = collector_.Find(entry.offset)) return known;
  const auto chunk = reader_.Validate(entry.offset, entry.tag);
  if (chunk && chunk->seq == entry.seq) {
    collector_.Add(*chunk);
    return collector_.Find(entry.offset);
  }
  reader_.scan().unverified.push_back(entry);
  return nullptr;
}

IndexReading IndexReader::Read(const ChunkRecord& index) {
  const IndexHead head = ParseIndexHead(index.tag, reader_.Head(index));
  if (!head.usable || WasRead(index)) return {};
  read_.Insert(index.offset, 0);
  const RecordingScan& scan = reader_.scan();
  const uint64_t bodyBytes = index.usedSize - index.headLength;
  const uint64_t listed = std::min(uint64_t(head.entryCount), bodyBytes / head.entryBytes);
  uint64_t left = std::min(listed, entriesLeft_);
  entriesLeft_ -= left;
  IndexReading reading;
  reading.holds = left == listed;
  uint64_t at = index.offset + index.headLength;
  while (left > 0) {
    const uint64_t count = std::min(left, kPieceBytes / head.entryBytes);
    if (!scan.file->ReadExactly(at, piece_.data(), count * head.entryBytes)) return {};
    for (uint64_t i = 0; i < count; ++i) {
      const ChunkRecord* chunk = Follow(ParseEntry(piece_.data() + i * head.entryBytes));
      if (chunk == nullptr) {
        reading.holds = false;
      } else {
        reading.listedEnd = std::max(reading.listedEnd, chunk->offset + chunk->totalSize);
      }
    }
    at += count * head.entryBytes;
    left -= count;
  }
  return reading;
}

}  // namespace qx
