// Damages files the way storage and dying phones do. Files are changed in place.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace qx {

/// Where to cut a file: a byte offset, or a part of its size.
struct CutPoint {
  uint64_t value = 0;  // bytes, or percent up to 100
  bool percent = false;

  /// The offset in a file of that size, at most the size.
  uint64_t In(uint64_t fileSize) const;
};

/// Each returns false when the file could not be changed; it may then be damaged in part.

/// Ends the file at the cut.
bool CutFile(const std::filesystem::path& file, CutPoint cut);

/// Changes `count` different bytes at random places; all of them in a file that has no more. The seed decides which and how.
/// `offsets`, when given, receives the places in rising order.
bool FlipBytes(const std::filesystem::path& file, uint64_t count, uint64_t seed, std::vector<uint64_t>* offsets = nullptr);

/// Overwrites the bytes from `begin` to before `end` with zeros; what lies behind the file's end is ignored.
bool ZeroRange(const std::filesystem::path& file, uint64_t begin, uint64_t end);

}  // namespace qx
