#include "qorix/scan_lists.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "base/message.h"
#include "qorix/chunk_head.h"
#include "qorix/recording_header.h"
#include "qorix/sound_chunk.h"

namespace qx {

namespace {

constexpr size_t kMaxPartNumbers = 8;
constexpr size_t kWarningBytes = 256;

using Records = std::vector<ChunkRecord>;

bool IsCopy(const ChunkRecord& record) {
  return (record.flags & kChunkIsCopy) != 0;
}

int HeaderScore(const ChunkRecord& header) {
  return (IsCopy(header) ? 1 : 0) + (header.key1 != 0 ? 2 : 0);
}

bool ReadChosenHeader(RecordingScan* scan, const ChunkRecord& record) {
  const Bytes used = recording_read_range(scan, record.offset, record.usedSize);
  if (used.empty()) return scan->block.capacity() >= record.usedSize;  // else a lack of memory; a read error leaves no header
  scan->header = ParseRecordingHeader(HeadFields(used.first(record.headLength)));
  const Bytes body = used.subspan(record.headLength);
  scan->staticMetadata.assign(body.begin(), body.end());
  return true;
}

bool SameKeys(const ChunkListEntry& a, const ChunkListEntry& b) {
  return a.subkey == b.subkey && a.key == b.key;
}

void SortList(ChunkList* list) {
  std::ranges::sort(*list, {}, [](const ChunkListEntry& entry) { return std::tuple(entry.subkey, entry.key, entry.record); });
}

// Of the records with one key the first original comes first; only without one, the first copy.
void SortTables(ChunkList* list, const Records& records) {
  std::ranges::sort(*list, {}, [&](const ChunkListEntry& entry) {
    return std::tuple(entry.subkey, entry.key, IsCopy(records[size_t(entry.record)]), entry.record);
  });
}

// Drops entries whose keys equal the entry before; returns how many.
size_t DropRepeats(ChunkList* list) {
  const auto repeats = std::unique(list->begin(), list->end(), SameKeys);
  const size_t count = size_t(list->end() - repeats);
  list->erase(repeats, list->end());
  return count;
}

// Sample frames from the recording's first to the chunk's end. A chunk that ends where no sample can be counted any more adds none.
uint64_t ReachOf(const SoundChunk& chunk, uint64_t firstSample) {
  constexpr uint64_t kLastSample = INT64_MAX;
  const uint64_t count = chunk.frames;
  if (chunk.firstSample > kLastSample - count || chunk.firstSample + count < firstSample) return 0;
  return chunk.firstSample + count - firstSample;
}

}  // namespace

int32_t FindInChunkList(const ChunkList& list, uint32_t key, uint32_t subkey) {
  const auto keys = [](const ChunkListEntry& entry) { return std::pair(entry.subkey, entry.key); };
  const auto found = std::ranges::lower_bound(list, std::pair(subkey, key), {}, keys);
  if (found == list.end() || found->key != key || found->subkey != subkey) return -1;
  return int32_t(found - list.begin());
}

int32_t ChooseHeader(const Records& records) {
  int32_t chosen = -1;
  for (size_t i = 0; i < records.size(); ++i) {
    if (records[i].tag != kTagHeader) continue;
    if (chosen < 0 || HeaderScore(records[i]) < HeaderScore(records[size_t(chosen)])) chosen = int32_t(i);
  }
  return chosen;
}

std::vector<uint32_t> CollectPartNumbers(const Records& records) {
  std::vector<uint32_t> numbers;
  for (const ChunkRecord& record : records) {
    if (record.tag != kTagHeader || std::ranges::find(numbers, record.key1) != numbers.end()) continue;
    numbers.push_back(record.key1);
    if (numbers.size() == kMaxPartNumbers) break;
  }
  std::ranges::sort(numbers);
  return numbers;
}

void BuildKindLists(RecordingScan* scan) {
  const Records& records = scan->records;
  for (size_t i = 0; i < records.size(); ++i) {
    const ChunkRecord& record = records[i];
    const auto add = [i](ChunkList* list, uint32_t key, uint32_t subkey = 0) { list->push_back({key, subkey, int32_t(i)}); };
    if (record.tag == kTagFrame) add(&scan->frames, record.seq);
    if (record.tag == kTagTable) add(&scan->tables, record.seq);
    if (record.tag == kTagBlob) add(&scan->blobs, record.seq, record.key1);
    if (record.tag == kTagSound) add(&scan->sound, record.seq);
    if (record.tag == kTagMotion) add(&scan->motion, record.seq);
    if (record.tag == kTagMetadata) {
      add(&scan->metadata, record.key2);
      add(&scan->metadataBySeq, record.seq);
    }
  }
  for (ChunkList* list : {&scan->frames, &scan->blobs, &scan->metadata, &scan->metadataBySeq, &scan->sound, &scan->motion}) SortList(list);
  SortTables(&scan->tables, records);
  scan->repeatedFrames = int32_t(DropRepeats(&scan->frames));
  for (ChunkList* list : {&scan->tables, &scan->blobs, &scan->metadata, &scan->metadataBySeq, &scan->sound, &scan->motion}) {
    DropRepeats(list);
  }
}

ScanSound SummariseSound(const Records& records, const ChunkList& list) {
  ScanSound sound;
  if (list.empty()) return sound;
  const SoundChunk first = SoundChunkOf(records[size_t(list.front().record)]);
  if (first.format.bytesPerSample() == 0 || first.format.channels == 0) return sound;
  sound.present = true;
  sound.format = first.format.format;
  sound.rate = first.format.rate;
  sound.channels = first.format.channels;
  sound.bytesPerSample = first.format.bytesPerSample();
  sound.bytesPerFrame = sound.bytesPerSample * sound.channels;
  sound.firstSample = first.firstSample;
  sound.totalFrames = first.frames;
  uint64_t previous = first.firstSample;
  for (const ChunkListEntry& entry : list) {
    const SoundChunk chunk = SoundChunkOf(records[size_t(entry.record)]);
    if (chunk.format == first.format) sound.totalFrames = std::max(sound.totalFrames, ReachOf(chunk, sound.firstSample));
    if (chunk.firstSample < previous) sound.monotonic = false;
    previous = chunk.firstSample;
  }
  return sound;
}

std::vector<int64_t> ComputeFrameSlots(const Records& records, const ChunkList& frames, const RecordingHeader& header) {
  // Keeps the slots of as many frames as a list can hold below 2^62.
  constexpr double kLongestStep = 2147483648.0;
  const double denominator = header.captureDenominator == 0 ? 1.0 : header.captureDenominator;
  const double rate = header.present ? header.captureNumerator / denominator : 30.0;
  std::vector<int64_t> slots;
  slots.reserve(frames.size());
  uint64_t latest = 0;
  for (const ChunkListEntry& entry : frames) {
    const uint64_t timestamp = records[size_t(entry.record)].timestamp;
    if (slots.empty()) {
      slots.push_back(0);
      latest = timestamp;
      continue;
    }
    double step = 1;
    if (timestamp > latest) {
      step = std::clamp(std::floor(double(timestamp - latest) * rate / 1e9 + 0.5), 1.0, kLongestStep);
      latest = timestamp;
    }
    slots.push_back(slots.back() + int64_t(step));
  }
  return slots;
}

std::string ScanWarning(const RecordingHeader& header, const TrailerInfo& trailer) {
  MessageBuffer<kWarningBytes> warning;
  if (header.present && (header.version != 1 || !header.signatureValid)) {
    warning.view().Set("header: version %u — the reader knows 1", unsigned(header.version));
  } else if (header.incompatibleBits != 0) {
    warning.view().Set("header: incompat bits 0x%X — a newer reader is needed (spec §1 item 7)", unsigned(header.incompatibleBits));
  } else if (header.partNumber != 0) {
    warning.view().Set("part %u of the recording: parts are not joined, only this file is read", unsigned(header.partNumber));
  } else if (trailer.present && !trailer.isLastPart()) {
    warning.view().Set("part %u is not the last: the following parts are not read", unsigned(header.partNumber));
  }
  return warning.text();
}

bool SummariseRecords(RecordingScan* scan) {
  std::ranges::sort(scan->records, {}, &ChunkRecord::offset);
  const int32_t chosen = ChooseHeader(scan->records);
  if (chosen >= 0 && !ReadChosenHeader(scan, scan->records[size_t(chosen)])) return false;
  scan->partNumbers = CollectPartNumbers(scan->records);
  BuildKindLists(scan);
  scan->soundSummary = SummariseSound(scan->records, scan->sound);
  scan->frameSlots = ComputeFrameSlots(scan->records, scan->frames, scan->header);
  scan->warning = ScanWarning(scan->header, scan->trailer);
  return true;
}

}  // namespace qx
