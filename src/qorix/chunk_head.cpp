#include "qorix/chunk_head.h"

namespace qx {

namespace {

void TakeKeys(ChunkRecord* record, const HeadFields& head) {
  switch (record->tag) {
    case kTagFrame:
      record->key1 = head.U32(68);
      record->key2 = head.U8(54);
      record->key3 = head.U32(60);
      break;
    case kTagMotion:
      record->key1 = head.U32(40);
      record->key2 = head.U8(44);
      record->key3 = head.U8(45);
      break;
    case kTagSound:
      record->extra0 = head.U64(40);
      record->key1 = head.U32(48);
      record->key2 = head.U32(52);
      record->key3 = head.U32(56);
      break;
    case kTagBlob:
      record->key1 = head.U16(40);
      record->key2 = head.U32(44);
      break;
    case kTagHeader:
      record->key1 = head.U16(76);
      record->key2 = head.U32(80);
      break;
    case kTagPeriodicIndex:
      record->key1 = head.U32(72);
      record->key2 = head.U32(64);
      break;
    case kTagTable:
      record->key1 = head.U16(42);
      record->key2 = head.U16(62);
      break;
    case kTagMetadata:
      record->key1 = head.U32(40);
      record->key2 = head.U32(44);
      break;
    case kTagWholeIndex:
      record->key1 = head.U32(40);
      break;
    default:
      break;
  }
}

}  // namespace

ChunkHeader ParseChunkHeader(Bytes bytes) {
  ByteReader in(bytes);
  ChunkHeader header;
  header.tag = in.U32Le();
  header.totalSize = in.U32Le();
  header.usedSize = in.U32Le();
  header.crc = in.U32Le();
  header.sessionId = in.U32Le();
  header.field20 = in.U32Le();
  header.seq = in.U32Le();
  header.flags = in.U16Le();
  header.headLength = in.U16Le();
  header.timestamp = in.U64Le();
  return header;
}

bool IsKnownChunkTag(uint32_t tag) {
  switch (tag) {
    case kTagHeader:
    case kTagTable:
    case kTagFrame:
    case kTagMetadata:
    case kTagBlob:
    case kTagSound:
    case kTagMotion:
    case kTagPeriodicIndex:
    case kTagWholeIndex:
    case kTagTrailer:
      return true;
    default:
      return false;
  }
}

ChunkRecord MakeChunkRecord(uint64_t offset, const ChunkHeader& header, const HeadFields& head) {
  ChunkRecord record;
  record.offset = offset;
  record.timestamp = header.timestamp;
  record.tag = header.tag;
  record.totalSize = header.totalSize;
  record.usedSize = header.usedSize;
  record.seq = header.seq;
  record.field20 = header.field20;
  record.sessionId = header.sessionId;
  record.flags = header.flags;
  record.headLength = header.headLength;
  TakeKeys(&record, head);
  return record;
}

IndexHead ParseIndexHead(uint32_t tag, const HeadFields& head) {
  const size_t countOffset = tag == kTagWholeIndex ? 40 : 64;
  IndexHead index;
  index.entryCount = head.U32(countOffset);
  index.entryBytes = head.U16(countOffset + 4);
  index.usable = head.Covers(countOffset + 4, 2) && index.entryBytes >= kIndexEntryBytes;
  return index;
}

}  // namespace qx
