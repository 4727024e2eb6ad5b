// A plain look at the chunks of a `.qorix` file, from the first byte to the last and without any index: for damage on purpose, for
// `qorix-sample describe`, and for tests of what the writer wrote.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "samples/qorix_writer.h"

namespace qx {

/// Bytes [begin, end) of a file.
struct QorixRange {
  uint64_t begin = 0, end = 0;

  bool operator==(const QorixRange&) const = default;
};

struct QorixWalk {
  std::vector<QorixPlacedChunk> chunks;  // with a right CRC, of any session, in file order
  std::vector<QorixRange> gaps;          // what lies between them
};

/// Fills the span with the file's bytes from an offset on; false when they cannot be read.
using QorixReadAt = std::function<bool(uint64_t offset, std::span<uint8_t> bytes)>;

/// Chunks are looked for at multiples of 8. Reads the used part of each chunk and all of the gaps, but no slices.
QorixWalk WalkChunks(uint64_t fileSize, const QorixReadAt& readAt);
QorixWalk WalkChunks(std::span<const uint8_t> file);

/// A number of `size` bytes, 1 … 8, at an offset of the file; 0 where the file ends before.
uint64_t QorixNumberAt(std::span<const uint8_t> file, uint64_t offset, unsigned size);

/// Where the slices of a frame chunk lie, as its slice table says; none when the table does not lie in the used part.
std::vector<QorixRange> SliceRanges(std::span<const uint8_t> file, const QorixPlacedChunk& frame);

}  // namespace qx
