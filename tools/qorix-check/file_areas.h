// The parts of a `.qorix` file that belong to none of its chunks.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "qorix/recording_scan.h"

namespace tool {

/// Offsets, end exclusive, ascending.
struct FileAreas {
  std::vector<std::pair<uint64_t, uint64_t>> damaged;  // nothing valid in them
  std::vector<std::pair<uint64_t, uint64_t>> foreign;  // whole chunks of other recordings, as a file that was used before has them
  uint64_t foreignChunks = 0;
};

/// Looks into all of the file that the scan's chunks leave open, whether the scan came through an index or through a search. Reads nothing
/// when they leave nothing open.
FileAreas SortAreas(const qx::RecordingScan& scan);

}  // namespace tool
