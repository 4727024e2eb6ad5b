// The frame index of an archive: a CSV that gives each frame member its sensor time stamp and its slot.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qx {

constexpr uint64_t kMinFrameIndexBytes = 8;
constexpr uint64_t kMaxFrameIndexBytes = 64 << 20;

struct FrameIndexEntry {
  int64_t timestampNs = 0;  // sensor clock, above 0
  int64_t slot = 0;
};

struct FrameIndex {
  /// 1 accepted, -1 no header or bad rows, -2 does not match the frames, -3 repeated time stamps.
  int32_t state = 0;
  int32_t rows = 0;  // well-formed rows, those for unknown or repeated names included
  std::string note;  // what was found, at most 255 bytes
  /// Per frame, in the order of the names; empty unless accepted.
  std::vector<FrameIndexEntry> entries;
};

/// Reads the whole text: a header line that names the columns "name", "sensor_timestamp_ns" and "slot" in any order, then a row per frame.
/// Lines end with LF or CR LF. Accepted when every frame has exactly one row and no two time stamps are equal. Any thread.
FrameIndex ParseFrameIndex(std::string_view csv, std::span<const std::string_view> frameNames);

}  // namespace qx
