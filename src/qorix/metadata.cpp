#include "qorix/metadata.h"

#include <algorithm>
#include <new>

namespace qx {

namespace {

constexpr uint64_t kShortestBlobHead = 48;  // up to and including the payload length

// The payload stands in the body; some writers have it in the head. When neither has room for the promised length, the body is taken.
Bytes ReadBlobPayload(RecordingScan* scan, const ChunkRecord& blob) {
  uint64_t begin = blob.headLength, length = blob.key2;
  if (begin + length > blob.usedSize) {
    if (kShortestBlobHead + length <= blob.headLength) {
      begin = kShortestBlobHead;
    } else {
      length = blob.usedSize - begin;
    }
  }
  return length > 0 ? recording_read_range(scan, blob.offset + begin, length) : Bytes();
}

CameraModule MakeCameraModule(Bytes list) {
  CameraModule module;
  module.list.assign(list.begin(), list.end());
  const auto value = [&module](Item id) { return FindItem(module.list, id).value_or(Bytes()); };
  module.physicalId = WithoutTrailingNuls(value(Item::PHYS_CAMERA_ID));
  module.cfa = value(Item::MODULE_CFA);
  module.arrays = value(Item::MODULE_ARRAYS);
  module.levels = value(Item::MODULE_LEVELS);
  return module;
}

// What memory has no room for stays unknown: the frames are developed with the static items then.
std::vector<CameraModule> ReadCameraModules(RecordingScan* scan) {
  std::vector<CameraModule> modules;
  try {
    for (const ChunkListEntry& entry : scan->blobs) {
      if (entry.subkey != kBlobCameraModule) continue;
      modules.push_back(MakeCameraModule(ReadBlobPayload(scan, scan->records[size_t(entry.record)])));
    }
  } catch (const std::bad_alloc&) {
    return modules;
  }
  return modules;
}

}  // namespace

Bytes WithoutTrailingNuls(Bytes text) {
  while (!text.empty() && text.back() == 0) text = text.first(text.size() - 1);
  return text;
}

std::optional<Bytes> FindItem(Bytes list, Item id) {
  std::optional<Bytes> found;
  ForEachItem(list, [&](uint16_t itemId, Bytes value) {
    if (itemId == uint16_t(id)) found = value;
  });
  return found;
}

std::optional<Bytes> recording_find_meta(const RecordingScan& scan, Item id) {
  if (!scan.header.present) return std::nullopt;
  return FindItem(scan.staticMetadata, id);
}

const CameraModule* CameraModules::Find(RecordingScan* scan, Bytes physicalId) {
  if (!built_) modules_ = ReadCameraModules(scan);
  built_ = true;
  const Bytes wanted = WithoutTrailingNuls(physicalId);
  if (wanted.empty()) return nullptr;  // else it would name a module that has no id
  const auto module = std::ranges::find_if(modules_, [&](const CameraModule& m) { return std::ranges::equal(m.physicalId, wanted); });
  return module != modules_.end() ? &*module : nullptr;
}

std::optional<Bytes> module_find_meta(const RecordingScan& scan, const CameraModule* module, Item id, size_t minimumBytes) {
  const auto isLongEnough = [minimumBytes](const std::optional<Bytes>& value) { return value && value->size() >= minimumBytes; };
  if (module != nullptr) {
    if (const std::optional<Bytes> own = FindItem(module->list, id); isLongEnough(own)) return own;
  }
  const std::optional<Bytes> value = recording_find_meta(scan, id);
  return isLongEnough(value) ? value : std::nullopt;
}

Bytes find_blob(RecordingScan* scan, uint16_t kind, uint32_t seq) {
  const int32_t found = FindInChunkList(scan->blobs, seq, kind);
  if (found < 0) return {};
  return ReadBlobPayload(scan, scan->records[size_t(scan->blobs[size_t(found)].record)]);
}

}  // namespace qx
