#include "qorix/recording_scan.h"

#include <algorithm>
#include <new>
#include <optional>
#include <tuple>
#include <utility>

#include "base/checked.h"
#include "qorix/chunk_reader.h"
#include "qorix/chunk_search.h"
#include "qorix/crc32c.h"
#include "qorix/index_reader.h"
#include "qorix/record_collector.h"
#include "qorix/recording_header.h"
#include "qorix/scan_lists.h"

namespace qx {

namespace {

constexpr uint64_t kTrailerSearchBytes = 65536;
constexpr uint64_t kProbeIndexBytes = uint64_t(64) << 20;
constexpr uint64_t kProbeStartBytes = uint64_t(16) << 20;

uint64_t LastBytes(const RecordingScan& scan, uint64_t count) {
  return scan.fileSize > count ? scan.fileSize - count : 0;
}

void StartScan(RecordingScan* scan, const ByteSource& file) {
  *scan = RecordingScan();
  scan->file = &file;
  scan->fileSize = file.size();
  crc32c_init();
}

/// Fills a scan's records, damaged areas and unverified entries.
class Scanner {
 public:
  explicit Scanner(RecordingScan* scan)
      : scan_(*scan), reader_(scan), collector_(scan), search_(&reader_, &collector_), indexes_(&reader_, &collector_) {}
  [[nodiscard]] bool Allocate() { return reader_.Allocate() && indexes_.Allocate(); }

  void Run();
  bool Probe();

 private:
  std::optional<ChunkRecord> LastNamingItsHeader(uint32_t tag, uint64_t lowerBound);
  bool AdoptSession(const ChunkRecord& naming);
  bool ReadThroughTrailer(const ChunkRecord& trailer);
  void Recover();
  std::vector<ByteRange> FollowIndexChain(std::optional<ChunkRecord> index);
  void WalkOutside(uint64_t from, std::vector<ByteRange> indexed);
  void ReadIndexesFound();
  void DropRepeatedEntries();

  RecordingScan& scan_;
  ChunkReader reader_;
  RecordCollector collector_;
  ChunkSearch search_;
  IndexReader indexes_;
};

void Scanner::Run() {
  if (const auto header = reader_.Validate(0, kTagHeader)) {
    scan_.sessionKnown = true;
    scan_.sessionId = header->sessionId;
  }
  const auto trailer = LastNamingItsHeader(kTagTrailer, LastBytes(scan_, kTrailerSearchBytes));
  if (!trailer || !ReadThroughTrailer(*trailer)) Recover();
  DropRepeatedEntries();
}

// The last valid chunk of the tag. While the session is unknown it only counts if the recording header that it names is valid, and then
// settles the session.
std::optional<ChunkRecord> Scanner::LastNamingItsHeader(uint32_t tag, uint64_t lowerBound) {
  const auto chunk = search_.Last(tag, lowerBound);
  if (!chunk || scan_.sessionKnown || AdoptSession(*chunk)) return chunk;
  return std::nullopt;
}

bool Scanner::AdoptSession(const ChunkRecord& naming) {
  const uint64_t headerOffset = reader_.Head(naming).U64(kHeaderOffsetField, kNoOffset);
  scan_.sessionKnown = true;
  scan_.sessionId = naming.sessionId;
  if (reader_.Validate(headerOffset, kTagHeader)) return true;
  scan_.sessionKnown = false;
  scan_.sessionId = 0;
  return false;
}

// False when the trailer's index cannot be used.
bool Scanner::ReadThroughTrailer(const ChunkRecord& trailer) {
  scan_.trailer = ParseTrailer(reader_.Head(trailer));
  const auto index = reader_.Validate(scan_.trailer.indexOffset, kTagWholeIndex);
  if (!index || !indexes_.IsUsable(*index)) return false;
  scan_.openState = OpenState::kWholeIndex;
  collector_.Add(trailer);
  collector_.Add(*index);
  indexes_.Read(*index);
  // An entry that does not hold means damage or moved chunks: whatever else is still whole is found by walking, which skips from chunk to
  // chunk and so stays cheap.
  if (!scan_.unverified.empty()) WalkOutside(0, {});
  return true;
}

void Scanner::Recover() {
  scan_.openState = OpenState::kRecovered;
  // A recording that merely was not closed is whole up to its end: walking it costs a read a chunk, where searching it backwards for an
  // index would read all of it.
  const uint64_t whole = scan_.sessionKnown ? search_.WalkWhole(0) : 0;
  auto lastIndex = LastNamingItsHeader(kTagPeriodicIndex, whole);
  if (!scan_.sessionKnown) {
    if (const auto winner = search_.VoteForSession()) {
      scan_.sessionKnown = true;
      scan_.sessionByVote = true;
      scan_.sessionId = *winner;
      lastIndex = search_.Last(kTagPeriodicIndex, 0);
    }
  }
  WalkOutside(whole, FollowIndexChain(lastIndex));
  ReadIndexesFound();
}

// Reads the index and those before it. Returns the parts of the file that they list, which need no walk: up to the last chunk listed, since
// the index itself may have moved, and not at all when an entry does not hold, since chunks may have moved.
std::vector<ByteRange> Scanner::FollowIndexChain(std::optional<ChunkRecord> index) {
  std::vector<ByteRange> indexed;
  while (index && indexes_.IsUsable(*index) && !indexes_.WasRead(*index)) {
    const HeadFields head = reader_.Head(*index);
    const uint64_t previous = head.U64(40, kNoOffset), listedFrom = head.U64(48, 0);  // now: reading the entries ends the view
    collector_.Add(*index);
    const IndexReading reading = indexes_.Read(*index);
    if (reading.holds) indexed.push_back({listedFrom, std::min(reading.listedEnd, index->offset + index->totalSize)});
    index = reader_.Validate(previous, kTagPeriodicIndex);
  }
  return indexed;
}

void Scanner::WalkOutside(uint64_t from, std::vector<ByteRange> indexed) {
  // A range that ends before it begins lists nothing; walking up to its beginning would only walk twice.
  std::erase_if(indexed, [](const ByteRange& range) { return range.begin >= range.end; });
  std::ranges::sort(indexed, {}, [](const ByteRange& range) { return std::pair(range.begin, range.end); });
  uint64_t at = from;
  for (const ByteRange& range : indexed) {
    if (at < range.begin) search_.Walk(at, range.begin);
    at = std::max(at, range.end);
  }
  search_.Walk(at, scan_.fileSize);
}

void Scanner::ReadIndexesFound() {
  for (size_t i = 0; i < scan_.records.size(); ++i) {
    const ChunkRecord record = scan_.records[i];  // a copy: reading adds records
    if (record.tag == kTagPeriodicIndex) indexes_.Read(record);
  }
}

// Keeps the first of the entries with one offset, in their order.
void Scanner::DropRepeatedEntries() {
  OffsetTable seen;
  std::erase_if(scan_.unverified, [&seen](const IndexEntry& entry) {
    if (entry.offset == kNoOffset) return false;
    if (seen.Find(entry.offset) >= 0) return true;
    seen.Insert(entry.offset, 0);
    return false;
  });
}

bool Scanner::Probe() {
  return LastNamingItsHeader(kTagTrailer, LastBytes(scan_, kTrailerSearchBytes)) ||
         LastNamingItsHeader(kTagPeriodicIndex, LastBytes(scan_, kProbeIndexBytes)) || search_.Next(0, kProbeStartBytes);
}

}  // namespace

bool looks_like_qorix(const ByteSource& file) {
  uint8_t start[kRecordingSignatureOffset + sizeof kRecordingSignature];
  return file.ReadExactly(0, start, sizeof start) &&
         std::ranges::equal(Bytes(start).subspan(kRecordingSignatureOffset), kRecordingSignature);
}

bool probe_qorix(const ByteSource& file) {
  RecordingScan scan;
  StartScan(&scan, file);
  Scanner scanner(&scan);
  return scanner.Allocate() && scanner.Probe();
}

int recording_scan(RecordingScan* scan, const ByteSource& file, Message message) {
  try {
    StartScan(scan, file);
    Scanner scanner(scan);
    if (scanner.Allocate()) {
      scanner.Run();
      if (SummariseRecords(scan)) return 0;
    }
  } catch (const std::bad_alloc&) {
    // Told below.
  }
  return message.Fail("out of memory");
}

void recording_free(RecordingScan* scan) {
  *scan = RecordingScan();
}

}  // namespace qx
