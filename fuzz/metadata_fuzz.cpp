// Feeds bytes to the metadata items of a recording. The input is cut into records of 16 bytes, the last zero record ends them, and bodies:
//   0 kind (bits 0, 1: 0 and 1 metadata, 2 and 3 blob; bit 2: keyframe), 1 seq, 2 frame number or blob kind, 3 named keyframe,
//   4 … 7 offset, 8 … 9 used size, 10 … 11 head length, 12 … 15 payload length
// Offsets count in the whole input, so that chunks may overlap and hang over its end. Every entry found must lie in the frame's bodies.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <tuple>

#include "base/byte_source.h"
#include "qorix/metadata.h"

namespace {

using namespace qx;

constexpr size_t kRecordBytes = 16;
constexpr size_t kMaxRecords = 32;

void SortByKeys(ChunkList* list) {
  std::ranges::sort(*list, {}, [](const ChunkListEntry& e) { return std::tuple(e.subkey, e.key, e.record); });
}

// What a scan guarantees of its records: a head of at least 40 bytes inside the used size.
ChunkRecord RecordOf(const uint8_t* bytes) {
  ChunkRecord record = {.offset = LoadU32Le(bytes + 4), .usedSize = LoadU16Le(bytes + 8), .seq = bytes[1]};
  record.usedSize = std::max<uint32_t>(record.usedSize, kChunkHeaderBytes);
  record.headLength = uint16_t(std::clamp<uint32_t>(LoadU16Le(bytes + 10), kChunkHeaderBytes, std::min(record.usedSize, 65535u)));
  record.totalSize = record.usedSize;
  record.flags = (bytes[0] & 4) != 0 ? kChunkIsKeyframe : 0;
  const bool isBlob = (bytes[0] & 2) != 0;
  record.tag = isBlob ? kTagBlob : kTagMetadata;
  record.key1 = isBlob ? bytes[2] : bytes[3];
  record.key2 = isBlob ? LoadU32Le(bytes + 12) : bytes[2];
  return record;
}

void FillScan(Bytes input, RecordingScan* scan) {
  for (size_t at = 0; at + kRecordBytes <= input.size() && scan->records.size() < kMaxRecords; at += kRecordBytes) {
    const int32_t index = int32_t(scan->records.size());
    scan->records.push_back(RecordOf(&input[at]));
    const ChunkRecord& record = scan->records.back();
    if (record.tag == kTagBlob) {
      scan->blobs.push_back({record.seq, record.key1, index});
    } else {
      scan->metadata.push_back({record.key2, 0, index});
      scan->metadataBySeq.push_back({record.seq, 0, index});
    }
  }
  for (ChunkList* list : {&scan->blobs, &scan->metadata, &scan->metadataBySeq}) SortByKeys(list);
}

void CheckFrameMeta(const FrameMeta& meta) {
  const Bytes bodies(meta.bodies);
  for (const FrameMeta::Entry& entry : meta.items) {
    const auto value = frame_meta_find(meta, Item(entry.id));
    if (!value || value->data() != entry.value.data()) std::abort();
    if (value->data() < bodies.data() || value->data() + value->size() > bodies.data() + bodies.size()) std::abort();
  }
  if (std::ranges::adjacent_find(meta.items, std::greater_equal(), &FrameMeta::Entry::id) != meta.items.end()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes input(data, size);
  const MemorySource source(input);
  RecordingScan scan;
  scan.file = &source;
  scan.fileSize = size;
  scan.header.present = true;
  scan.staticMetadata.assign(input.begin(), input.end());
  FillScan(input, &scan);

  FrameMeta meta;
  CameraModules modules;
  for (uint32_t number = 0; number < 256; ++number) {
    const FrameMetaStatus status = frame_meta_read(&scan, number, &meta);
    if (status == FrameMetaStatus::kNone && !meta.items.empty()) std::abort();
    CheckFrameMeta(meta);
    const auto id = frame_meta_find(meta, Item::PHYS_ID);
    const CameraModule* module = modules.Find(&scan, id ? *id : input.first(std::min<size_t>(size, 2)));
    module_find_meta(scan, module, Item::MODULE_LEVELS);
    find_blob(&scan, uint16_t(number & 7), number >> 3);
  }
  return 0;
}
