// Where the data of an archive member ends when its local header does not say so: the data descriptor behind the data is found.
#pragma once

#include <cstdint>
#include <optional>

#include "rawzip/read_ahead.h"

namespace qx {

/// A member whose compressed size is unknown; `zip64` tells the layout of its descriptor (64-bit sizes).
struct UnsizedMember {
  uint64_t dataOffset = 0;
  uint64_t uncompressedSize = 0;
  bool zstd = false;
  bool zip64 = false;
};

struct MemberEnd {
  uint64_t compressedSize = 0;
  uint32_t crc32 = 0;  // from the descriptor
};

/// Finds the ends of the members of one archive, in file order. A descriptor counts only with its signature, with both sizes right, and
/// with another record (or the end of the file) behind it. The size found last is the guess for the next member of its kind (ZSTD or
/// other), so an archive of similar frames costs about one small read a member.
///
/// Cost: linear in the size of the file, whatever the file holds. One search never scans a byte twice and looks at no more than about twice
/// its guess before it has looked at everything up to the size it finds; each found size is the guess of one later search only; the frame
/// walk of ZSTD members is given up for good when it failed once.
class ZipMemberEndFinder {
 public:
  /// `file` is not owned and must be allocated.
  explicit ZipMemberEndFinder(ReadAhead* file) : file_(*file) {}

  /// Absent when no descriptor fits; the archive cannot be followed past such a member.
  std::optional<MemberEnd> Find(const UnsizedMember& member);

 private:
  std::optional<MemberEnd> WalkZstdFrames(const UnsizedMember& member);
  std::optional<MemberEnd> SearchWindows(const UnsizedMember& member, uint64_t hint);
  std::optional<MemberEnd> Scan(const UnsizedMember& member, uint64_t begin, uint64_t end);

  ReadAhead& file_;
  uint64_t zstdHint_ = 0, otherHint_ = 0;  // compressed size found last, 0: none
  bool frameWalkFailed_ = false;
  bool readFailed_ = false;
};

}  // namespace qx
