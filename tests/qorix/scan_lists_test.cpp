// What the scan tells of the chunks that it found.
#include <gtest/gtest.h>

#include <bit>

#include "samples/qorix_writer.h"
#include "tests/qorix/chunk_file.h"

namespace qx {
namespace {

using Numbers = std::vector<uint32_t>;

TEST(ScanLists, OriginalHeaderOfPartZeroIsPreferred) {
  struct Row {
    std::vector<std::pair<uint16_t, uint16_t>> headers;  // (part, flags), in file order
    size_t chosen;
    Numbers parts;
  };
  const Row rows[] = {{{{0, 1}, {0, 0}}, 1, {0}},
                      {{{0, 0}, {0, 1}}, 0, {0}},
                      {{{0, 1}, {0, 1}}, 0, {0}},
                      {{{2, 0}, {0, 1}}, 1, {0, 2}},
                      {{{3, 1}, {2, 0}, {1, 0}}, 1, {1, 2, 3}},
                      {{{9, 0}, {8, 0}, {7, 0}, {6, 0}, {5, 0}, {4, 0}, {3, 0}, {2, 0}, {1, 0}}, 0, {2, 3, 4, 5, 6, 7, 8, 9}}};
  for (const Row& row : rows) {
    ChunkFile file;
    uint8_t number = 0;
    for (const auto& [part, flags] : row.headers) {
      QorixChunk chunk = HeaderChunk(flags, {.part = part});
      chunk.body = {number++};
      file.Add(chunk);
    }
    const Scanned scanned(file.bytes);
    ASSERT_EQ(scanned.scan.staticMetadata.size(), 1u);
    EXPECT_EQ(scanned.scan.staticMetadata[0], row.chosen);
    EXPECT_EQ(scanned.scan.header.partNumber, row.headers[row.chosen].first);
    EXPECT_EQ(scanned.scan.partNumbers, row.parts);
  }
}

QorixFileOptions FullHeader() {
  QorixFileOptions options;
  QorixHeader& header = options.header;
  header.compatibleBits = 0x1234;
  header.recordingId = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  header.sensorStartNs = 0x1122334455667788;
  header.wallClockStartNs = 1750000000000000000;
  header.timeZoneMinutes = -150;
  header.cfaCode = 2;
  header.sensorWidth = 4080;
  header.sensorHeight = 3072;
  header.fullField = {1, 2, 3, 4};
  header.crop = {5, 6, 7, 8};
  header.white = 4095;
  header.black = {256, -1, 258, 259};
  header.capture = {240, 1};
  header.playback = {24000, 1001};
  header.quantization = 0.5f;
  header.rotationDegrees = -90;
  return options;
}

RecordingHeader ScannedHeader(const QorixFileOptions& options) {
  std::vector<uint8_t> bytes;
  QorixWriter writer(QorixSinkTo(&bytes));
  writer.Begin(options);
  return Scanned(bytes).scan.header;
}

TEST(ScanLists, TakesTheHeaderFields) {
  const RecordingHeader header = ScannedHeader(FullHeader());
  EXPECT_TRUE(header.present && header.signatureValid);
  EXPECT_EQ(header.version, 1);
  EXPECT_EQ(header.compatibleBits, 0x1234u);
  EXPECT_EQ(header.recordingId[15], 16);
  EXPECT_EQ(header.sensorStartNs, 0x1122334455667788u);
  EXPECT_EQ(header.wallClockStartNs, 1750000000000000000u);
  EXPECT_EQ(header.timeZoneMinutes, -150);
  EXPECT_EQ(header.cfaCode, 2);
  EXPECT_EQ(header.sensorWidth, 4080);
  EXPECT_EQ(header.sensorHeight, 3072);
  EXPECT_EQ(std::tuple(header.rectangle1.left, header.rectangle1.top, header.rectangle1.right, header.rectangle1.bottom),
            std::tuple(1, 2, 3, 4));
  EXPECT_EQ(header.rectangle2.right, 7);
  EXPECT_EQ(header.white, 4095);
  EXPECT_EQ(header.black, (std::array<int32_t, 4>{256, -1, 258, 259}));
  EXPECT_EQ(header.captureNumerator, 240u);
  EXPECT_EQ(header.playbackDenominator, 1001u);
  EXPECT_EQ(header.quantization, 0.5f);
  EXPECT_EQ(header.rotationDegrees, -90);
}

TEST(ScanLists, HeaderFieldsBeyondAShortHeadAreZero) {
  QorixFileOptions options = FullHeader();
  options.header.headLength = 110;  // the sensor width is its last field
  const RecordingHeader header = ScannedHeader(options);
  EXPECT_EQ(header.sensorWidth, 4080);
  EXPECT_EQ(header.sensorHeight, 0);
  EXPECT_EQ(header.white, 0);
  EXPECT_EQ(header.captureNumerator, 0u);
}

TEST(ScanLists, ListsAreSortedAndRepeatsDropped) {
  const auto table = [](uint32_t seq, uint16_t flags) {
    return QorixChunk{.tag = QorixTag("QXRL"), .seq = seq, .flags = flags, .head = {}, .body = {}};
  };
  const auto blob = [](uint16_t kind, uint32_t seq) {
    return QorixChunk{.tag = QorixTag("QXPB"), .seq = seq, .head = QorixFields().U16(kind).U16(0).U32(0).bytes(), .body = {}};
  };
  const auto metadata = [](uint32_t seq, uint32_t frame) {
    return QorixChunk{.tag = QorixTag("QXPM"), .seq = seq, .head = QorixFields().U32(0).U32(frame).bytes(), .body = {}};
  };
  ChunkFile file;
  file.Add(HeaderChunk());
  const std::vector<QorixChunk> chunks = {FrameChunkOf(7), FrameChunkOf(2), FrameChunkOf(7), FrameChunkOf(7), table(1, kQorixCopyFlag),
                                          table(0, 0),     table(1, 0),     table(1, 0),     table(2, 1),     table(2, 1),
                                          blob(6, 0),      blob(1, 4),      blob(1, 3),      blob(6, 0),      metadata(1, 20),
                                          metadata(0, 30), metadata(2, 20)};
  for (const QorixChunk& chunk : chunks) file.Add(chunk);
  const RecordingScan scan = std::move(Scanned(file.bytes).scan);
  const auto triples = [](const ChunkList& list) {
    std::vector<std::tuple<uint32_t, uint32_t, int>> result;
    for (const ChunkListEntry& entry : list) result.push_back({entry.subkey, entry.key, entry.record - 1});  // without the header
    return result;
  };
  using Triples = std::vector<std::tuple<uint32_t, uint32_t, int>>;
  EXPECT_EQ(triples(scan.frames), (Triples{{0, 2, 1}, {0, 7, 0}}));
  EXPECT_EQ(scan.repeatedFrames, 2);
  EXPECT_EQ(triples(scan.tables), (Triples{{0, 0, 5}, {0, 1, 6}, {0, 2, 8}}));
  EXPECT_EQ(triples(scan.blobs), (Triples{{1, 3, 12}, {1, 4, 11}, {6, 0, 10}}));
  EXPECT_EQ(triples(scan.metadata), (Triples{{0, 20, 14}, {0, 30, 15}}));
  EXPECT_EQ(triples(scan.metadataBySeq), (Triples{{0, 0, 15}, {0, 1, 14}, {0, 2, 16}}));

  EXPECT_EQ(FindInChunkList(scan.blobs, 4, 1), 1);
  EXPECT_EQ(FindInChunkList(scan.blobs, 0, 6), 2);
  EXPECT_EQ(FindInChunkList(scan.blobs, 4, 6), -1);
  EXPECT_EQ(FindInChunkList(scan.frames, 3), -1);
  EXPECT_EQ(FindInChunkList({}, 0), -1);
}

struct SoundRow {
  uint32_t seq;
  uint64_t first;
  uint32_t count;
  uint32_t rate = 48000;
  uint16_t channels = 2;
  uint8_t format = 1;
};

ScanSound ScannedSound(const std::vector<SoundRow>& rows) {
  ChunkFile file;
  for (const SoundRow& row : rows) {
    QorixFields head;
    head.U64(row.first).U32(row.count).U32(row.rate).U16(row.channels).U8(row.format).U8(0x77);
    file.Add({.tag = QorixTag("QXPA"), .seq = row.seq, .head = head.bytes(), .body = {}});
  }
  return Scanned(file.bytes).scan.soundSummary;
}

TEST(ScanLists, SummarisesSound) {
  struct Row {
    const char* what;
    std::vector<SoundRow> chunks;
    bool present;
    uint32_t bytesPerFrame;
    uint64_t firstSample, totalFrames;
    bool monotonic;
  };
  const Row rows[] = {
      {"in order", {{0, 1000, 480}, {1, 1480, 480}}, true, 4, 1000, 960, true},
      {"out of order in the file", {{1, 1480, 480}, {0, 1000, 480}}, true, 4, 1000, 960, true},
      {"a gap", {{0, 0, 480}, {5, 9600, 480}}, true, 4, 0, 10080, true},
      {"steps back", {{0, 1000, 480}, {1, 2000, 480}, {2, 1500, 480}}, true, 4, 1000, 1480, false},
      {"before the first", {{0, 1000, 480}, {1, 0, 100}}, true, 4, 1000, 480, false},
      {"another rate does not count", {{0, 0, 480}, {1, 480, 480, 44100}}, true, 4, 0, 480, true},
      {"other channels do not count", {{0, 0, 480}, {1, 480, 480, 48000, 1}}, true, 4, 0, 480, true},
      {"24-bit mono", {{0, 0, 1, 48000, 1, 2}}, true, 3, 0, 1, true},
      {"32-bit", {{0, 0, 1, 48000, 2, 3}}, true, 8, 0, 1, true},
      {"float", {{0, 0, 1, 48000, 3, 4}}, true, 12, 0, 1, true},
      {"format of the first chunk is unknown", {{0, 0, 1, 48000, 2, 5}, {1, 1, 1}}, false, 0, 0, 0, true},
      {"format 0", {{0, 0, 1, 48000, 2, 0}}, false, 0, 0, 0, true},
      {"no channels", {{0, 0, 1, 48000, 0, 1}}, false, 0, 0, 0, true},
      {"sample numbers that overflow", {{0, 5, 480}, {1, UINT64_MAX - 1, 480}}, true, 4, 5, 480, true},
      {"none", {}, false, 0, 0, 0, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const ScanSound sound = ScannedSound(row.chunks);
    EXPECT_EQ(sound.present, row.present);
    EXPECT_EQ(sound.bytesPerFrame, row.bytesPerFrame);
    EXPECT_EQ(sound.firstSample, row.firstSample);
    EXPECT_EQ(sound.totalFrames, row.totalFrames);
    EXPECT_EQ(sound.monotonic, row.monotonic);
  }
}

TEST(ScanLists, FrameSlotsFollowTheSensorClock) {
  constexpr uint64_t kMs = 1000000;
  struct Row {
    const char* what;
    QorixRate capture;
    std::vector<uint64_t> timestamps;
    std::vector<int64_t> slots;
  };
  const Row rows[] = {
      {"regular at 25/s, 40 ms apart", {25, 1}, {100 * kMs, 140 * kMs, 180 * kMs}, {0, 1, 2}},
      {"dropped frames", {25, 1}, {0, 120 * kMs, 160 * kMs}, {0, 3, 4}},
      {"half a slot rounds up", {25, 1}, {0, 60 * kMs, 119 * kMs}, {0, 2, 3}},
      {"standing or going back", {25, 1}, {80 * kMs, 80 * kMs, 40 * kMs, 120 * kMs}, {0, 1, 2, 3}},
      {"denominator 0 is 1", {25, 0}, {0, 40 * kMs, 120 * kMs}, {0, 1, 3}},
      {"rate 0", {0, 1}, {0, 40 * kMs, 120 * kMs}, {0, 1, 2}},
      {"absurd clock", {0xFFFFFFFF, 1}, {0, UINT64_MAX, 5}, {0, 2147483648, 2147483649}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    QorixFileOptions options;
    options.header.capture = row.capture;
    std::vector<uint8_t> bytes;
    QorixWriter writer(QorixSinkTo(&bytes));
    writer.Begin(options);
    for (size_t i = 0; i < row.timestamps.size(); ++i) writer.WriteChunk(FrameChunkOf(uint32_t(i), row.timestamps[i]));
    EXPECT_EQ(Scanned(bytes).scan.frameSlots, row.slots);
  }
  ChunkFile withoutHeader;  // 30 a second: 100 ms are three slots
  withoutHeader.Add(FrameChunkOf(0, 0));
  withoutHeader.Add(FrameChunkOf(1, 100 * kMs));
  EXPECT_EQ(Scanned(withoutHeader.bytes).scan.frameSlots, (std::vector<int64_t>{0, 3}));
}

TEST(ScanLists, WarnsOfTheFirstThingThatApplies) {
  constexpr uint32_t kNoTrailer = 99;
  const HeaderFields all = {.part = 3, .version = 2, .incompatibleBits = 0xAB, .signature = true};
  struct Row {
    HeaderFields header;
    uint32_t trailerFlags;
    std::string expected;
  };
  const Row rows[] = {
      {{}, 1, ""},
      {{}, kNoTrailer, ""},
      {all, 0, "header: version 2 — the reader knows 1"},
      {{.signature = false}, 1, "header: version 1 — the reader knows 1"},
      {{.part = 3, .incompatibleBits = 0xAB}, 0, "header: incompat bits 0xAB — a newer reader is needed (spec §1 item 7)"},
      {{.part = 3}, 0, "part 3 of the recording: parts are not joined, only this file is read"},
      {{}, 0, "part 0 is not the last: the following parts are not read"},
      {{}, 2, "part 0 is not the last: the following parts are not read"},
  };
  for (const Row& row : rows) {
    ChunkFile file;
    const uint64_t header = file.Add(HeaderChunk(0, row.header));
    if (row.trailerFlags != kNoTrailer) file.Add(Trailer(kQorixNowhere, header, row.trailerFlags));
    EXPECT_EQ(Scanned(file.bytes).scan.warning, row.expected);
  }
}

}  // namespace
}  // namespace qx
