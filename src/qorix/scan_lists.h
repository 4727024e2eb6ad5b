// What a finished scan tells of its records: the chosen header, a list per kind, the sound, the frames' slots and the warning.
#pragma once

#include "qorix/recording_scan.h"

namespace qx {

/// Sorts the records by offset and fills everything that follows from them. May throw bad_alloc; false when memory for reading the header
/// is short.
[[nodiscard]] bool SummariseRecords(RecordingScan* scan);

// The steps, on records that are sorted.

/// The original header of part 0 is preferred to its copy, and both to the header of a later part; -1 when there is none.
int32_t ChooseHeader(const std::vector<ChunkRecord>& records);
/// Distinct part numbers of all headers, the first 8 in file order, ascending.
std::vector<uint32_t> CollectPartNumbers(const std::vector<ChunkRecord>& records);
void BuildKindLists(RecordingScan* scan);
ScanSound SummariseSound(const std::vector<ChunkRecord>& records, const ChunkList& sound);
/// Each frame's place on a display timeline of the capture rate, from its sensor timestamp; the first is 0, and each is above the last.
std::vector<int64_t> ComputeFrameSlots(const std::vector<ChunkRecord>& records, const ChunkList& frames, const RecordingHeader& header);
/// The first that applies, or an empty text.
std::string ScanWarning(const RecordingHeader& header, const TrailerInfo& trailer);

}  // namespace qx
