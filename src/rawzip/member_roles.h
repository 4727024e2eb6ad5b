// What the members of an archive are, told by the ends of their names.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "media/source_timeline.h"
#include "rawzip/zip_reader.h"

namespace qx {

/// Indexes into the archive's entries, -1 for none.
struct MemberRoles {
  int32_t frameIndex = -1;
  int32_t gyro = -1;
  int32_t lensProfile = -1;
  int32_t sound = -1;
};

struct ClassifiedMembers {
  MemberRoles roles;
  std::vector<FrameRecord> frames;  // in the order of the entries, `entry` and `nameNumber` filled
  int32_t emptyFrames = 0;          // ".dng" members too small to be a record; not among the frames
};

/// Letters of either case; `ending` is lower case.
bool NameEndsWith(std::string_view name, std::string_view ending);

ClassifiedMembers ClassifyMembers(const std::vector<ZipEntry>& entries);

/// The number that a frame's name ends with, folders and extension left out ("shot/a_0012.dng": 12); -1 without digits, clamped when it is
/// too large.
int64_t NumberFromName(std::string_view name);

}  // namespace qx
