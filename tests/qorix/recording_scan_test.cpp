#include "qorix/recording_scan.h"

#include <gtest/gtest.h>

#include "base/grow_buffer.h"
#include "samples/qorix_writer.h"
#include "tests/qorix/chunk_file.h"

namespace qx {
namespace {

using Offsets = std::vector<uint64_t>;
using Numbers = std::vector<uint32_t>;
using Ranges = std::vector<std::pair<uint64_t, uint64_t>>;

struct Recording {
  std::vector<uint8_t> bytes;
  std::vector<QorixPlacedChunk> chunks;

  const QorixPlacedChunk& Frame(uint32_t number) const {
    return *std::ranges::find_if(chunks, [number](const auto& chunk) { return chunk.tag == kTagFrame && chunk.seq == number; });
  }
};

/// A header, then frames of 5,000 bytes of slices with their metadata, as the options say.
Recording MakeFrames(uint32_t frames, const QorixFileOptions& options, uint32_t sliceBytes = 5000) {
  Recording recording;
  QorixWriter writer(QorixSinkTo(&recording.bytes));
  writer.Begin(options);
  QorixFrameFormat format = {.width = 64, .height = 48};
  const QorixFrameSlices slices = {.sizes = {sliceBytes}, .crcs = {0}, .data = std::vector<uint8_t>(sliceBytes, 0xA5)};
  for (uint32_t i = 0; i < frames; ++i) {
    writer.WriteFrameItems(i, QorixItemList());
    writer.WriteSlices(format, slices, i, 1000 + i);
  }
  writer.Finish();
  recording.chunks = writer.chunks();
  return recording;
}

QorixFileOptions CutOff(uint32_t indexEvery = 0) {
  QorixFileOptions options;
  options.indexEvery = indexEvery;
  options.wholeIndex = options.trailer = false;
  return options;
}

Numbers FirstNumbers(uint32_t count) {
  Numbers numbers;
  for (uint32_t i = 0; i < count; ++i) numbers.push_back(i);
  return numbers;
}

TEST(RecordingScan, WholeFileOpensThroughItsIndexWithoutReadingSlices) {
  QorixFileOptions options;
  options.indexEvery = 16;
  options.indexEntrySize = 40;
  const Recording recording = MakeFrames(50, options, 300000);
  const Scanned scanned(recording.bytes);
  EXPECT_EQ(scanned.result, 0);
  EXPECT_EQ(scanned.scan.openState, OpenState::kWholeIndex);
  EXPECT_TRUE(scanned.scan.damaged.empty() && scanned.scan.unverified.empty());
  EXPECT_EQ(scanned.FrameNumbers(), FirstNumbers(50));
  EXPECT_EQ(scanned.scan.trailer.partBytes, recording.bytes.size());
  ASSERT_EQ(scanned.scan.records.size(), recording.chunks.size());
  for (size_t i = 0; i < recording.chunks.size(); ++i) {
    const ChunkRecord& record = scanned.scan.records[i];
    const QorixPlacedChunk& placed = recording.chunks[i];
    EXPECT_EQ(std::tuple(record.offset, record.tag, record.seq, record.timestamp, record.totalSize, record.usedSize, record.headLength),
              std::tuple(placed.offset, placed.tag, placed.seq, placed.timestampNs, placed.totalSize, placed.usedSize, placed.headLength));
  }
  // Of a file of 15 MB: the last 64 KiB for the trailer, a block per frame with its metadata, the index.
  EXPECT_LT(scanned.source.bytesRead, 65536 + 50 * 4096 + 32768u);
}

TEST(RecordingScan, WalkSkipsDamageAndSaysWhere) {
  const Recording recording = MakeFrames(6, CutOff());
  const QorixPlacedChunk& frame = recording.Frame(2);
  struct Row {
    const char* what;
    uint64_t at;  // of the byte that is changed
    uint8_t flipped;
    uint64_t crcMismatches;
  };
  for (const Row& row : {Row{"tag", frame.offset, 0x80, 0},
                         {"total size", frame.offset + 4, 1, 0},
                         {"CRC", frame.offset + 12, 1, 1},
                         {"session", frame.offset + 16, 1, 0},
                         {"last used byte", frame.offset + frame.usedSize - 1, 1, 1}}) {
    SCOPED_TRACE(row.what);
    std::vector<uint8_t> bytes = recording.bytes;
    bytes[row.at] ^= row.flipped;
    const Scanned scanned(bytes);
    EXPECT_EQ(scanned.FrameNumbers(), (Numbers{0, 1, 3, 4, 5}));
    EXPECT_EQ(scanned.Damaged(), (Ranges{{frame.offset, frame.end()}}));
    EXPECT_EQ(scanned.scan.counters.resynchronisations, 1u);
    EXPECT_EQ(scanned.scan.counters.crcMismatches, row.crcMismatches);
  }
}

// Windows are 1 MiB: a chunk header across their border must be seen.
TEST(RecordingScan, SearchesSeeHeadersAcrossWindowBorders) {
  constexpr uint64_t kWindow = 1 << 20;
  for (const uint64_t distance : {0, 8, 32, 40, 48}) {
    SCOPED_TRACE(distance);
    ChunkFile forward;
    const uint64_t first = forward.Add(HeaderChunk());
    const uint64_t garbage = forward.size();
    forward.AddGarbage(8 + kWindow - distance);  // the search begins behind the first 8 bytes
    const uint64_t frame = forward.Add(FrameChunkOf(7));
    const Scanned found(forward.bytes);
    EXPECT_EQ(found.Offsets(), (Offsets{first, frame}));
    EXPECT_EQ(found.Damaged(), (Ranges{{garbage, frame}}));

    ChunkFile backward;
    backward.Add(HeaderChunk());
    backward.Add(PeriodicIndex({}, {}));
    const uint64_t unlisted = backward.Add(FrameChunkOf(8));
    backward.AddGarbage(kWindow - distance);
    const Scanned behind(backward.bytes);
    EXPECT_EQ(behind.FrameNumbers(), Numbers{8});
    EXPECT_EQ(behind.Offsets().back(), unlisted);
  }
}

QorixChunk Other(QorixChunk chunk) {
  chunk.sessionId = kOtherSession;
  return chunk;
}

// Two recordings in one file: which one is read?
TEST(RecordingScan, SessionComesFromHeaderElseTrailerElseIndexElseVote) {
  enum Naming { kNobody, kTrailerNames, kTrailerNamesDamaged, kIndexNames, kIndexNamesDamaged };
  struct Row {
    const char* what;
    bool atStart;  // our header
    Naming naming;
    bool ours, byVote;
  };
  for (const Row& row : {Row{"valid header at the start", true, kNobody, true, false},
                         {"trailer", false, kTrailerNames, true, false},
                         {"trailer, no header", false, kTrailerNamesDamaged, false, true},
                         {"index", false, kIndexNames, true, false},
                         {"index, no header", false, kIndexNamesDamaged, false, true},
                         {"chunks only", false, kNobody, false, true}}) {
    SCOPED_TRACE(row.what);
    ChunkFile file;
    if (!row.atStart) file.AddGarbage(16);
    const uint64_t header = file.Add(HeaderChunk());
    for (const uint32_t number : {10, 11, 12}) file.Add(Other(FrameChunkOf(number)));
    file.Add(FrameChunkOf(0));
    if (row.naming == kTrailerNamesDamaged || row.naming == kIndexNamesDamaged) file.bytes[header + 41] ^= 1;
    if (row.naming == kTrailerNames || row.naming == kTrailerNamesDamaged) file.Add(Trailer(kQorixNowhere, header));
    if (row.naming == kIndexNames || row.naming == kIndexNamesDamaged) {
      file.Add(PeriodicIndex({.coveredFrom = file.size(), .headerOffset = header}, {}));
    }
    const Scanned scanned(file.bytes);
    EXPECT_TRUE(scanned.scan.sessionKnown);
    EXPECT_EQ(scanned.scan.sessionId, row.ours ? kSession : kOtherSession);
    EXPECT_EQ(scanned.scan.sessionByVote, row.byVote);
    EXPECT_EQ(scanned.FrameNumbers(), row.ours ? Numbers{0} : (Numbers{10, 11, 12}));
    EXPECT_GE(scanned.scan.counters.foreignChunks, row.ours ? 3u : 1u);
  }
}

TEST(RecordingScan, VoteEndsAfterAThousandChunksAndFavoursTheFirstOfEquals) {
  struct Row {
    int ours, others, furtherOurs;
    bool oursWin;
  };
  for (const Row& row : {Row{400, 600, 900, false}, {500, 500, 0, true}, {500, 501, 900, true}, {3, 4, 0, false}}) {
    SCOPED_TRACE(row.others);
    ChunkFile file;
    for (int i = 0; i < row.ours; ++i) file.Add(FrameChunkOf(uint32_t(i)));
    for (int i = 0; i < row.others; ++i) file.Add(Other(FrameChunkOf(uint32_t(i))));
    for (int i = 0; i < row.furtherOurs; ++i) file.Add(FrameChunkOf(uint32_t(5000 + i)));
    EXPECT_EQ(Scanned(file.bytes).scan.sessionId, row.oursWin ? kSession : kOtherSession);
  }
}

TEST(RecordingScan, VoteCountsSixtyFourSessions) {
  ChunkFile file;
  for (uint32_t id = 1; id <= 66; ++id) {
    for (uint32_t i = 0; i < (id == 65 ? 9u : id == 64 ? 2u : 1u); ++i) {
      QorixChunk chunk = FrameChunkOf(i);
      chunk.sessionId = id;
      file.Add(chunk);
    }
  }
  EXPECT_EQ(Scanned(file.bytes).scan.sessionId, 64u);
}

TEST(RecordingScan, TrailerOfAnotherSessionIsPassedOver) {
  ChunkFile file;
  const uint64_t header = file.Add(HeaderChunk());
  const uint64_t frame = file.Add(FrameChunkOf(3));
  const uint64_t index = file.Add(WholeIndex({{header, kTagHeader, 0}, {frame, kTagFrame, 3}}));
  const uint64_t trailer = file.Add(Trailer(index, header));
  file.Add(Other(Trailer(kQorixNowhere, kQorixNowhere)));
  const Scanned scanned(file.bytes);
  EXPECT_EQ(scanned.scan.openState, OpenState::kWholeIndex);
  EXPECT_EQ(scanned.Offsets(), (Offsets{header, frame, index, trailer}));
}

TEST(RecordingScan, EntriesThatLieAreKeptAsUnverified) {
  ChunkFile file;
  const uint64_t header = file.Add(HeaderChunk());
  const uint64_t good = file.Add(FrameChunkOf(0));
  const uint64_t wrongSeq = file.Add(FrameChunkOf(1));
  const uint64_t damaged = file.Add(FrameChunkOf(2));
  file.bytes[damaged + 50] ^= 1;
  const uint64_t beyond = uint64_t(1) << 40;
  const uint64_t index = file.Add(WholeIndex({{beyond, kTagFrame, 5},
                                              {header, kTagHeader, 0},
                                              {good, kTagFrame, 0},
                                              {damaged, kTagFrame, 2},
                                              {wrongSeq, kTagFrame, 9},
                                              {good, kTagTable, 0},     // known already: not looked at again
                                              {damaged, kTagFrame, 2},  // a repeat
                                              {header + 4, kTagHeader, 0},
                                              {kQorixNowhere, 0, 0}}));
  const uint64_t trailer = file.Add(Trailer(index, header));
  const Scanned scanned(file.bytes);
  EXPECT_EQ(scanned.Offsets(), (Offsets{header, good, wrongSeq, index, trailer})) << "what the index names wrongly is found by walking";
  Offsets unverified;
  for (const IndexEntry& entry : scanned.scan.unverified) unverified.push_back(entry.offset);
  EXPECT_EQ(unverified, (Offsets{beyond, damaged, wrongSeq, header + 4, kQorixNowhere}));
}

TEST(RecordingScan, UnusableWholeIndexLeavesTheRestToTheWalk) {
  struct Row {
    const char* what;
    uint16_t entrySize;
    size_t headBytes;
    bool damaged;
    OpenState expected;
  };
  for (const Row& row : {Row{"usable", 24, 8, false, OpenState::kWholeIndex},
                         {"short entries", 23, 8, false, OpenState::kRecovered},
                         {"head without entry size", 24, 4, false, OpenState::kRecovered},
                         {"CRC", 24, 8, true, OpenState::kRecovered}}) {
    SCOPED_TRACE(row.what);
    ChunkFile file;
    const uint64_t header = file.Add(HeaderChunk());
    const uint64_t listed = file.Add(FrameChunkOf(0));
    file.Add(FrameChunkOf(1));
    QorixChunk indexChunk = WholeIndex({{header, kTagHeader, 0}, {listed, kTagFrame, 0}}, row.entrySize);
    indexChunk.head.resize(row.headBytes);
    const uint64_t index = file.Add(indexChunk);
    file.Add(Trailer(index, header));
    if (row.damaged) file.bytes[index + 48] ^= 1;
    const Scanned scanned(file.bytes);
    EXPECT_EQ(scanned.scan.openState, row.expected);
    EXPECT_TRUE(scanned.scan.trailer.present);
    EXPECT_EQ(scanned.FrameNumbers(), row.expected == OpenState::kWholeIndex ? Numbers{0} : (Numbers{0, 1}));
  }
}

TEST(RecordingScan, PeriodicIndexesSpareTheWalkWhatTheyCover) {
  ChunkFile file;
  const uint64_t header = file.Add(HeaderChunk());
  file.AddGarbage(8);         // ends the walk from the beginning, which needs no index
  file.Add(FrameChunkOf(1));  // not listed though before a listed one: not found
  const uint64_t first = file.Add(FrameChunkOf(0));
  const uint64_t index1 = file.Add(PeriodicIndex({.coveredFrom = 0}, {{header, kTagHeader, 0}, {first, kTagFrame, 0}}));
  const uint64_t between = file.Add(FrameChunkOf(2));  // covered by none
  const uint64_t coveredFrom = file.size();
  const uint64_t third = file.Add(FrameChunkOf(3));
  const uint64_t index2 = file.Add(PeriodicIndex({.previous = index1, .coveredFrom = coveredFrom}, {{third, kTagFrame, 3}}));
  const uint64_t behind = file.Add(FrameChunkOf(4));
  const Scanned scanned(file.bytes);
  EXPECT_EQ(scanned.Offsets(), (Offsets{header, first, index1, between, third, index2, behind}));
}

TEST(RecordingScan, BytesMissingFromSlicesHideNoChunk) {
  constexpr uint32_t kFrames = 6;
  for (const QorixFileOptions& options : {QorixFileOptions(), CutOff(), CutOff(5)}) {
    const Recording recording = MakeFrames(kFrames, options);
    for (uint32_t number = 0; number < kFrames; ++number) {
      SCOPED_TRACE(number);
      std::vector<uint8_t> bytes = recording.bytes;
      const auto begin = bytes.begin() + ptrdiff_t(recording.Frame(number).offset + recording.Frame(number).usedSize);
      bytes.erase(begin, begin + 4096);
      EXPECT_EQ(Scanned(bytes).FrameNumbers(), FirstNumbers(kFrames));
    }
  }
}

TEST(RecordingScan, IndexBehindTwoDamagedPlacesSparesOnlyWhatItLists) {
  constexpr uint32_t kFrames = 40;
  const Recording recording = MakeFrames(kFrames, CutOff(9), 200000);  // longer than all that the reader keeps of the file
  std::vector<uint8_t> bytes = recording.bytes;
  const auto destroy = [&bytes](const QorixPlacedChunk& chunk) { bytes[chunk.offset] = 0; };
  destroy(recording.Frame(2));
  const auto isMiddleIndex = [&](const auto& chunk) { return chunk.tag == kTagPeriodicIndex && chunk.offset > recording.Frame(20).offset; };
  destroy(*std::ranges::find_if(recording.chunks, isMiddleIndex));
  Numbers expected = FirstNumbers(kFrames);
  std::erase(expected, 2u);
  EXPECT_EQ(Scanned(bytes).FrameNumbers(), expected);
}

TEST(RecordingScan, OddIndexChainsEnd) {
  struct Row {
    const char* what;
    PeriodicFields fields;
    size_t headBytes;
  };
  // Each index covers only itself, so the walk finds both frames, and the entry leads to a frame that the walk does not reach.
  for (const Row& row : {Row{"names itself", {.previous = 0}, 36},
                         {"names what is no index", {.previous = 8}, 36},
                         {"names an offset past the end", {.previous = uint64_t(1) << 60}, 36},
                         {"covers from behind its own end", {.coveredFrom = uint64_t(1) << 60}, 36},
                         {"entries too short", {.entrySize = 23}, 36},
                         {"head too short for entries", {}, 29}}) {
    SCOPED_TRACE(row.what);
    ChunkFile file;
    file.Add(HeaderChunk());
    const uint64_t frame = file.Add(FrameChunkOf(0));
    PeriodicFields fields = row.fields;
    if (fields.previous == 0) fields.previous = file.size();
    if (fields.coveredFrom == 0) fields.coveredFrom = file.size();
    QorixChunk index = PeriodicIndex(fields, {{frame, kTagFrame, 0}});
    index.head.resize(row.headBytes);
    file.Add(index);
    file.Add(FrameChunkOf(1));
    const Scanned scanned(file.bytes);
    EXPECT_EQ(scanned.FrameNumbers(), (Numbers{0, 1}));
    EXPECT_EQ(scanned.scan.records.size(), 4u);
    EXPECT_TRUE(scanned.scan.damaged.empty());
  }
}

TEST(RecordingScan, KeepsChunksOfUnknownKindOutsideTheLists) {
  ChunkFile file;
  file.Add(HeaderChunk());
  file.Add({.tag = QorixTag("ZZTO"), .seq = 4, .head = std::vector<uint8_t>(64, 0xFF), .body = {}});
  const Scanned scanned(file.bytes);
  ASSERT_EQ(scanned.scan.records.size(), 2u);
  const ChunkRecord& record = scanned.scan.records[1];
  EXPECT_EQ(std::tuple(record.seq, record.extra0, record.key1, record.key2, record.key3), std::tuple(4u, 0u, 0u, 0u, 0u));
  EXPECT_TRUE(scanned.scan.frames.empty() && scanned.scan.sound.empty() && scanned.scan.blobs.empty());
}

TEST(RecordingScan, TakesOnlyKeysThatTheHeadCovers) {
  // Byte i of the head has the value i, so a u32 at 68 reads 0x47464544.
  std::vector<uint8_t> ascending;
  for (int i = 40; i < 88; ++i) ascending.push_back(uint8_t(i));
  struct Row {
    uint32_t tag;
    size_t headBytes;
    uint64_t extra0;
    uint32_t key1, key2, key3;
  };
  for (const Row& row : {Row{kTagFrame, 48, 0, 0x47464544, 54, 0x3F3E3D3C}, Row{kTagFrame, 24, 0, 0, 54, 0x3F3E3D3C},
                         Row{kTagFrame, 23, 0, 0, 54, 0}, Row{kTagSound, 20, 0x2F2E2D2C2B2A2928, 0x33323130, 0x37363534, 0x3B3A3938},
                         Row{kTagSound, 19, 0x2F2E2D2C2B2A2928, 0x33323130, 0x37363534, 0}, Row{kTagMotion, 6, 0, 0x2B2A2928, 0x2C, 0x2D},
                         Row{kTagBlob, 8, 0, 0x2928, 0x2F2E2D2C, 0}, Row{kTagTable, 24, 0, 0x2B2A, 0x3F3E, 0},
                         Row{kTagMetadata, 8, 0, 0x2B2A2928, 0x2F2E2D2C, 0}, Row{kTagHeader, 44, 0, 0x4D4C, 0x53525150, 0},
                         Row{kTagWholeIndex, 8, 0, 0x2B2A2928, 0, 0}, Row{kTagPeriodicIndex, 36, 0, 0x4B4A4948, 0x43424140, 0},
                         Row{kTagFrame, 0, 0, 0, 0, 0}}) {
    ChunkFile file;
    file.Add({.tag = row.tag, .head = {ascending.begin(), ascending.begin() + ptrdiff_t(row.headBytes)}, .body = {0xFF, 0xFF, 0xFF}});
    const Scanned scanned(file.bytes);
    ASSERT_EQ(scanned.scan.records.size(), 1u);
    const ChunkRecord& record = scanned.scan.records[0];
    EXPECT_EQ(std::tuple(record.extra0, record.key1, record.key2, record.key3), std::tuple(row.extra0, row.key1, row.key2, row.key3))
        << row.tag << " with " << row.headBytes;
  }
}

TEST(RecordingScan, FilesWithoutChunksScanToNothing) {
  for (const size_t size : {0, 1, 39, 40, 41, 4096}) {
    SCOPED_TRACE(size);
    const Scanned scanned(std::vector<uint8_t>(size, 0x58));
    EXPECT_EQ(scanned.result, 0);
    EXPECT_EQ(scanned.scan.openState, OpenState::kRecovered);
    EXPECT_FALSE(scanned.scan.sessionKnown);
    EXPECT_TRUE(scanned.scan.records.empty() && scanned.scan.frames.empty() && scanned.scan.warning.empty());
    EXPECT_EQ(scanned.scan.damaged.size(), size < 40 ? 0u : 1u);
  }
}

// Work that grows with the square of the file: every 16 bytes a header that wants half of the file checksummed.
TEST(RecordingScan, CraftedHeadersCostBoundedReading) {
  constexpr size_t kCount = 1 << 16;
  ChunkFile file;
  file.Add(HeaderChunk());
  const QorixFields one = QorixFields().Text("QXPI").U32(0x7FFFFFF8).U32(kCount * 8).U32(0x01000040);
  for (size_t i = 0; i < kCount; ++i) file.bytes.insert(file.bytes.end(), one.bytes().begin(), one.bytes().end());
  const uint64_t frame = file.Add(FrameChunkOf(5));
  const Scanned scanned(file.bytes);
  EXPECT_GT(scanned.scan.counters.candidates, kCount / 4);
  EXPECT_EQ(scanned.Offsets(), (Offsets{0, frame}));
  EXPECT_LT(scanned.source.bytesRead, 20 * file.size() + (uint64_t(64) << 20));
}

TEST(RecordingScan, ManyDamagedAreasAreReadOnce) {
  ChunkFile file;
  file.Add(HeaderChunk());
  for (uint32_t i = 0; i < 20000; ++i) {
    file.AddGarbage(8);
    file.Add(FrameChunkOf(i));
  }
  const Scanned scanned(file.bytes);
  EXPECT_EQ(scanned.scan.frames.size(), 20000u);
  EXPECT_EQ(scanned.scan.damaged.size(), 20000u);
  EXPECT_LT(scanned.source.bytesRead, 5 * file.size());
}

TEST(RecordingScan, LackOfMemoryIsAMessage) {
  const Recording recording = MakeFrames(3, QorixFileOptions());
  for (int64_t n = 0; n < 3; ++n) {
    FailAllocationForTest(n);
    const Scanned scanned(recording.bytes);
    FailAllocationForTest(-1);
    EXPECT_EQ(scanned.result, -1);
    EXPECT_EQ(scanned.message, "out of memory");
  }
}

TEST(RecordingScan, ReadsRangesThroughTheBlockCache) {
  std::vector<uint8_t> bytes(200000);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i * 7 >> 3);
  Scanned scanned(bytes);
  struct Row {
    uint64_t offset, length;
    bool inside;
  };
  for (const Row& row : {Row{0, 10, true},
                         {5, 5, true},
                         {199990, 10, true},
                         {199990, 11, false},
                         {0, 200000, true},
                         {100, 150000, true},
                         {0, 200001, false},
                         {UINT64_MAX, 2, false},
                         {2, UINT64_MAX, false},
                         {200000, 0, false}}) {
    const Bytes range = recording_read_range(&scanned.scan, row.offset, row.length);
    ASSERT_EQ(range.size(), row.inside ? row.length : 0u) << row.offset << " + " << row.length;
    if (!row.inside) continue;
    EXPECT_TRUE(std::ranges::equal(range, Bytes(bytes).subspan(row.offset, row.length)));
  }
  const uint64_t before = scanned.source.bytesRead;
  recording_read_range(&scanned.scan, 1000, 500);
  EXPECT_EQ(recording_read_range(&scanned.scan, 1100, 300).size(), 300u);
  EXPECT_LT(scanned.source.bytesRead - before, 4096u);
}

TEST(QorixProbe, LooksAtTheSignatureOnly) {
  ChunkFile file;
  file.Add(HeaderChunk());
  EXPECT_TRUE(looks_like_qorix(MemorySource(Bytes(file.bytes).first(48))));
  EXPECT_FALSE(looks_like_qorix(MemorySource(Bytes(file.bytes).first(47))));
  file.bytes[47] ^= 1;
  EXPECT_FALSE(looks_like_qorix(MemorySource(file.bytes)));
}

TEST(QorixProbe, FindsRecordingsWhoseStartIsDamaged) {
  constexpr uint64_t kStart = uint64_t(16) << 20;
  struct Row {
    const char* what;
    uint64_t garbage;  // before the first chunk
    bool header, index, trailer;
    uint64_t garbageBehind;
    bool expected;
  };
  for (const Row& row :
       {Row{"a chunk near the start", kStart - 8, true, false, false, 0, true},
        Row{"first chunk too late", kStart, true, false, false, 0, false}, Row{"trailer", kStart, true, false, true, 0, true},
        Row{"trailer too far from the end", kStart, true, false, true, 65536, false}, Row{"index", kStart, true, true, false, 65536, true},
        Row{"index without header", kStart, false, true, false, 0, false}}) {
    SCOPED_TRACE(row.what);
    ChunkFile file;
    file.AddGarbage(row.garbage);
    const uint64_t header = file.size();
    if (row.header) file.Add(HeaderChunk());
    if (row.index) file.Add(PeriodicIndex({.headerOffset = header}, {}));
    if (row.trailer) file.Add(Trailer(kQorixNowhere, header));
    file.AddGarbage(row.garbageBehind);
    EXPECT_EQ(probe_qorix(MemorySource(file.bytes)), row.expected);
  }
}

}  // namespace
}  // namespace qx
