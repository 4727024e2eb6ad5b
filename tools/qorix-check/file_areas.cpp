#include "file_areas.h"

#include <algorithm>

#include "qorix/chunk_head.h"
#include "qorix/chunk_search.h"

namespace tool {

namespace {

using Area = std::pair<uint64_t, uint64_t>;

std::vector<Area> OpenAreas(const qx::RecordingScan& scan) {
  std::vector<Area> open;
  uint64_t at = 0;
  for (const qx::ChunkRecord& record : scan.records) {  // sorted by offset
    if (record.offset > at) open.emplace_back(at, record.offset);
    at = std::max(at, record.offset + record.totalSize);
  }
  if (scan.fileSize > at) open.emplace_back(at, scan.fileSize);
  return open;
}

// Neighbours become one.
void Append(std::vector<Area>* areas, Area area) {
  if (area.first >= area.second) return;
  if (!areas->empty() && areas->back().second == area.first) {
    areas->back().second = area.second;
  } else {
    areas->push_back(area);
  }
}

}  // namespace

FileAreas SortAreas(const qx::RecordingScan& scan) {
  FileAreas areas;
  qx::RecordingScan any;  // of no session in particular, so that chunks of all of them are found
  any.file = scan.file;
  any.fileSize = scan.fileSize;
  qx::ChunkReader reader(&any);
  qx::RecordCollector unused(&any);
  qx::ChunkSearch search(&reader, &unused);
  const std::vector<Area> open = OpenAreas(scan);
  const bool searches = !open.empty() && reader.Allocate();
  for (const Area& area : open) {
    uint64_t at = area.first;
    while (searches && at < area.second) {
      const auto chunk = search.Next(at, area.second);
      if (!chunk) break;
      const uint64_t end = std::min(chunk->offset + chunk->totalSize, area.second);
      Append(&areas.damaged, {at, chunk->offset});
      if (chunk->sessionId != scan.sessionId && qx::IsKnownChunkTag(chunk->tag)) {
        Append(&areas.foreign, {chunk->offset, end});
        ++areas.foreignChunks;
      }
      at = end;
    }
    Append(&areas.damaged, {at, area.second});
  }
  return areas;
}

}  // namespace tool
