// Damages `.qorix` recordings in memory the way storage, dying phones and reused files do. Whole files on disk are cut, flipped and zeroed
// with damage.h.
//
//   const QorixWalk before = WalkChunks(file);
//   const QorixDamage damage = CorruptSlice(&file, 3, 1);
//   for (const QorixPlacedChunk& chunk : before.chunks) if (!Touches(damage, chunk)) …must still be found…
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "samples/qorix_walker.h"

namespace qx {

/// What was damaged, as ranges of the file before it. An empty range is a place where something was inserted. Chunks that only moved by a
/// multiple of 8 are not damaged, though indexes then name wrong offsets.
using QorixDamage = std::vector<QorixRange>;

/// Whether a chunk of the file before the damage lost or changed bytes; slices and padding count.
bool Touches(const QorixDamage& damage, const QorixPlacedChunk& chunk);
/// The same for the part that the chunk's CRC covers.
bool TouchesUsedPart(const QorixDamage& damage, const QorixPlacedChunk& chunk);

using QorixFile = std::vector<uint8_t>;

/// Each returns what it damaged: nothing when there is no such chunk, slice or place.

/// Ends the file before `offset`.
QorixDamage CutAt(QorixFile* file, uint64_t offset);
/// Flips `count` different bits at seeded places of [range.begin, range.end).
QorixDamage FlipBits(QorixFile* file, QorixRange range, uint64_t count, uint64_t seed);
/// Overwrites with zeros.
QorixDamage ZeroBytes(QorixFile* file, QorixRange range);
QorixDamage InsertBytes(QorixFile* file, uint64_t offset, std::span<const uint8_t> bytes);
/// Removes the trailer, and the index of the whole file too if wished.
QorixDamage DropTrailer(QorixFile* file, bool wholeIndexToo = false);
/// Overwrites the insides of all periodic and whole-file indexes with noise.
QorixDamage OverwriteIndexes(QorixFile* file, uint64_t seed);
/// Exchanges two chunks, numbered as WalkChunks() lists them.
QorixDamage SwapChunks(QorixFile* file, size_t first, size_t second);
/// Flips a bit in the middle of a slice of the first frame chunk with that number.
QorixDamage CorruptSlice(QorixFile* file, uint32_t frameNumber, uint32_t slice);
/// Flips a bit in the part of a chunk that its CRC covers.
QorixDamage CorruptChunk(QorixFile* file, const QorixPlacedChunk& chunk);

/// Appends another recording, as in a file that was used before and not emptied. Pads to a multiple of 8.
QorixDamage AppendRecording(QorixFile* file, std::span<const uint8_t> other);
/// Inserts the chunks of another recording one by one, one after every `distance` chunks of this one.
QorixDamage InterleaveRecording(QorixFile* file, std::span<const uint8_t> other, size_t distance);

}  // namespace qx
