// Metadata of one frame: a keyframe's list, or a delta merged into the keyframe it was written against.
#include <algorithm>
#include <new>
#include <tuple>

#include "qorix/metadata.h"

namespace qx {

namespace {

constexpr size_t kFirstBodyCapacity = 65536;
constexpr size_t kDistinctIds = 65536;

bool IsKeyframe(const ChunkRecord& chunk) {
  return (chunk.flags & kChunkIsKeyframe) != 0;
}

struct MetaChunks {
  const ChunkRecord* own = nullptr;
  const ChunkRecord* base = nullptr;  // the keyframe below a delta, if any
  FrameMetaStatus status = FrameMetaStatus::kNone;
};

const ChunkRecord* NamedKeyframe(const RecordingScan& scan, uint32_t seq) {
  const int32_t found = FindInChunkList(scan.metadataBySeq, seq);
  if (found < 0) return nullptr;
  const ChunkRecord& chunk = scan.records[size_t(scan.metadataBySeq[size_t(found)].record)];
  return IsKeyframe(chunk) ? &chunk : nullptr;
}

const ChunkRecord* LastKeyframeBefore(const RecordingScan& scan, uint32_t seq) {
  const ChunkList& list = scan.metadataBySeq;
  auto entry = std::ranges::lower_bound(list, seq, {}, &ChunkListEntry::key);
  while (entry != list.begin()) {
    const ChunkRecord& chunk = scan.records[size_t((--entry)->record)];
    if (IsKeyframe(chunk)) return &chunk;
  }
  return nullptr;
}

MetaChunks FindMetaChunks(const RecordingScan& scan, uint32_t frameNumber) {
  const int32_t found = FindInChunkList(scan.metadata, frameNumber);
  if (found < 0) return {};
  const ChunkRecord& own = scan.records[size_t(scan.metadata[size_t(found)].record)];
  if (IsKeyframe(own)) return {&own, nullptr, FrameMetaStatus::kComplete};
  if (const ChunkRecord* named = NamedKeyframe(scan, own.key1)) return {&own, named, FrameMetaStatus::kComplete};
  return {&own, LastKeyframeBefore(scan, own.seq), FrameMetaStatus::kReconstructed};
}

// False when the body cannot be read.
bool AppendBody(RecordingScan* scan, const ChunkRecord& chunk, std::vector<uint8_t>* bodies) {
  const uint64_t length = chunk.usedSize - chunk.headLength;
  if (length == 0) return true;
  const Bytes body = recording_read_range(scan, chunk.offset + chunk.headLength, length);
  bodies->insert(bodies->end(), body.begin(), body.end());
  return !body.empty();
}

// Sorts by id and keeps, of the entries with one id, the last in `bodies`.
void KeepLastOfEachId(std::vector<FrameMeta::Entry>* items) {
  std::ranges::sort(*items, {}, [](const FrameMeta::Entry& entry) { return std::tuple(entry.id, entry.value.data()); });
  const auto sameId = [](const FrameMeta::Entry& a, const FrameMeta::Entry& b) { return a.id == b.id; };
  items->erase(items->begin(), std::unique(items->rbegin(), items->rend(), sameId).base());
}

void AppendItems(Bytes list, std::vector<FrameMeta::Entry>* items) {
  ForEachItem(list, [items](uint16_t id, Bytes value) {
    items->push_back({id, value});
    if (items->size() == 2 * kDistinctIds) KeepLastOfEachId(items);  // a list can repeat ids millions of times
  });
}

bool FillFrameMeta(RecordingScan* scan, const MetaChunks& chunks, FrameMeta* meta) {
  std::vector<uint8_t>& bodies = meta->bodies;
  bodies.reserve(kFirstBodyCapacity);
  if (chunks.base != nullptr && !AppendBody(scan, *chunks.base, &bodies)) return false;
  const size_t baseLength = bodies.size();
  if (!AppendBody(scan, *chunks.own, &bodies)) return false;

  // The base stands first, so that the delta's items are the later ones and replace it.
  const Bytes base = Bytes(bodies).first(baseLength), own = Bytes(bodies).subspan(baseLength);
  AppendItems(base, &meta->items);
  AppendItems(own, &meta->items);
  KeepLastOfEachId(&meta->items);
  if (!IsKeyframe(*chunks.own)) {
    // An empty item of a delta deletes. One that ends the base may begin where the delta begins, its own ones begin 4 bytes later.
    std::erase_if(meta->items, [own](const FrameMeta::Entry& entry) { return entry.value.empty() && entry.value.data() > own.data(); });
  }
  return true;
}

}  // namespace

FrameMetaStatus frame_meta_read(RecordingScan* scan, uint32_t frameNumber, FrameMeta* meta) {
  meta->status = FrameMetaStatus::kNone;
  meta->items.clear();
  meta->bodies.clear();
  const MetaChunks chunks = FindMetaChunks(*scan, frameNumber);
  if (chunks.own == nullptr) return meta->status;
  bool filled = false;
  try {
    filled = FillFrameMeta(scan, chunks, meta);
  } catch (const std::bad_alloc&) {
    filled = false;
  }
  if (filled) {
    meta->status = chunks.status;
  } else {
    meta->items.clear();
  }
  return meta->status;
}

std::optional<Bytes> frame_meta_find(const FrameMeta& meta, Item id) {
  const auto found = std::ranges::lower_bound(meta.items, uint16_t(id), {}, &FrameMeta::Entry::id);
  if (found == meta.items.end() || found->id != uint16_t(id)) return std::nullopt;
  return found->value;
}

void frame_meta_free(FrameMeta* meta) {
  *meta = FrameMeta();
}

}  // namespace qx
