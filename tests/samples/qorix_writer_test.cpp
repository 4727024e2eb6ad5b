#include "samples/qorix_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "samples/qorix_walker.h"
#include "samples/quantisation.h"
#include "samples/recording_maker.h"
#include "tests/qorix/slow_slice_decoder.h"

namespace qx {
namespace {

using File = std::vector<uint8_t>;

uint64_t At(const File& file, uint64_t offset, unsigned size) {
  return QorixNumberAt(file, offset, size);
}

QorixRecordingOptions SmallRecording() {
  QorixRecordingOptions options;
  options.format.width = 70;
  options.format.height = 50;
  options.format.rowsPerSlice = 16;
  options.frames = 6;
  return options;
}

File Make(const QorixRecordingOptions& options, QorixRecordingContents* contents = nullptr) {
  File file;
  EXPECT_EQ(CheckQorixRecording(options), "");
  EXPECT_TRUE(MakeRecording(options, QorixSinkTo(&file), contents));
  return file;
}

std::vector<QorixPlacedChunk> OfKind(const std::vector<QorixPlacedChunk>& chunks, uint32_t tag) {
  std::vector<QorixPlacedChunk> found;
  std::copy_if(chunks.begin(), chunks.end(), std::back_inserter(found), [tag](const auto& chunk) { return chunk.tag == tag; });
  return found;
}

/// Decodes all slices of a frame chunk from nothing but its bytes.
std::vector<uint16_t> DecodeFrame(const File& file, const QorixPlacedChunk& frame) {
  const auto field = [&](uint64_t offset, unsigned size) { return uint32_t(At(file, frame.offset + offset, size)); };
  const uint32_t width = field(44, 2), height = field(46, 2), rowsPerSlice = field(62, 2), boundary = field(94, 2);
  std::vector<uint16_t> samples;
  const std::vector<QorixRange> slices = SliceRanges(file, frame);
  for (uint32_t i = 0; i < slices.size(); ++i) {
    const uint32_t layout = field(57, 1) == 3 ? (i < boundary ? field(93, 1) & 15 : field(93, 1) >> 4) : field(57, 1);
    const std::span<const uint8_t> bytes = std::span(file).subspan(slices[i].begin, slices[i].end - slices[i].begin);
    const std::vector<uint16_t> part = SlowDecodeSlice(bytes, {width, std::min(rowsPerSlice, height - i * rowsPerSlice), field(55, 1) == 1,
                                                               layout != 0, int(field(56, 1)), int(field(58, 2))});
    samples.insert(samples.end(), part.begin(), part.end());
    if (field(92, 1) != 0) {
      EXPECT_EQ(Crc32cOf(bytes), field(frame.headLength + 4 * (slices.size() + i), 4)) << "slice " << i;
    }
  }
  return samples;
}

TEST(Crc32c, PublishedVectors) {
  // RFC 3720, B.4, and the check value of the CRC catalogue.
  EXPECT_EQ(Crc32cOf(QorixFields().Text("123456789").bytes()), 0xE3069283u);
  EXPECT_EQ(Crc32cOf(std::vector<uint8_t>(32, 0x00)), 0x8A9136AAu);
  EXPECT_EQ(Crc32cOf(std::vector<uint8_t>(32, 0xFF)), 0x62A8AB43u);
  const File digits = QorixFields().Text("123456789").bytes();
  const std::span<const uint8_t> all = digits;
  EXPECT_EQ(Crc32cOf(all.subspan(2), Crc32cOf(all.first(2))), 0xE3069283u);
}

TEST(QorixChunks, LayOut) {
  const QorixChunk chunk = {
      .tag = QorixTag("QXPB"), .seq = 7, .flags = 2, .timestampNs = 0x0102030405, .sessionId = 0xAABBCCDD, .head = {1, 2, 3}, .body = {9}};
  File bytes = LayOutChunk(chunk, 5);
  ASSERT_EQ(bytes.size(), 44u);
  File covered(bytes.begin(), bytes.begin() + 12);
  covered.insert(covered.end(), bytes.begin() + 16, bytes.end());
  EXPECT_EQ(At(bytes, 12, 4), Crc32cOf(covered));
  std::fill(bytes.begin() + 12, bytes.begin() + 16, uint8_t(0));
  EXPECT_EQ(bytes, (File{'Q', 'X', 'P', 'B', 56, 0, 0, 0, 44, 0, 0, 0, 0, 0, 0, 0, 0xDD, 0xCC, 0xBB, 0xAA, 0, 0,
                         0,   0,   7,   0,   0,  0, 2, 0, 43, 0, 5, 4, 3, 2, 1, 0, 0,    0,    1,    2,    3, 9}));
}

TEST(QorixItems, ListsAndDeltas) {
  QorixItemList key;
  key.I32(QorixItem::kIso, {100}).Text(QorixItem::kPhysicalId, "ab").F32(QorixItem::kZoom, {1});
  EXPECT_EQ(key.Encoded(), (File{3, 0, 4, 0, 100, 0, 0, 0, 0x1B, 0, 2, 0, 'a', 'b', 0, 0, 0x19, 0, 4, 0, 0, 0, 0x80, 0x3F}));
  QorixItemList next;
  next.F32(QorixItem::kZoom, {1}).I32(QorixItem::kIso, {200}).U8(QorixItem::kPixelMode, {1});
  // The physical id is gone, ISO changed, the pixel mode is new.
  EXPECT_EQ(next.DeltaFrom(key).Encoded(), (File{0x1B, 0, 0, 0, 3, 0, 4, 0, 200, 0, 0, 0, 0x20, 0, 1, 0, 1, 0, 0, 0}));
}

TEST(QorixWriter, HeaderFields) {
  QorixFileOptions options;
  options.header.sensorStartNs = 0x1122334455667788;
  options.header.timeZoneMinutes = -90;
  options.header.cfaCode = 2;
  options.header.sensorWidth = 4000;
  options.header.crop = {1, 2, 3, 4};
  options.header.white = 4095;
  options.header.black = {-1, 64, 65, 66};
  options.header.playback = {24000, 1001};
  options.header.quantization = 0.5f;
  options.header.rotationDegrees = 270;
  options.staticItems.Text(QorixItem::kMake, "me");
  File file;
  QorixWriter writer(QorixSinkTo(&file));
  ASSERT_TRUE(writer.Begin(options));
  const struct {
    uint64_t offset;
    unsigned size;
    uint64_t value;
  } fields[] = {{40, 8, 0x0A0D5849524F5189},
                {48, 2, 1},
                {88, 8, 0x1122334455667788},
                {104, 2, 0xFFA6},
                {107, 1, 2},
                {108, 2, 4000},
                {128, 2, 1},
                {134, 2, 4},
                {140, 4, 4095},
                {144, 4, 0xFFFFFFFF},
                {156, 4, 66},
                {160, 4, 30},
                {168, 4, 24000},
                {172, 4, 1001},
                {180, 4, 0x3F000000},
                {186, 2, 270},
                {30, 2, 200},
                {200, 4, 0x00021001},
                {204, 2, 0x656D}};
  for (const auto& field : fields) EXPECT_EQ(At(file, field.offset, field.size), field.value) << "offset " << field.offset;
}

TEST(QorixWriter, IndexesNameEveryChunk) {
  QorixRecordingOptions options = SmallRecording();
  options.file.indexEvery = 4;
  options.file.indexEntrySize = 32;
  options.file.lastPart = false;
  options.table = QorixTable::kNoise;
  options.tableChunk = true;
  options.lostSlots = {5};
  options.foreignEvery = 3;  // two chunks that no index names
  QorixRecordingContents contents;
  const File file = Make(options, &contents);
  const QorixWalk walk = WalkChunks(file);
  EXPECT_TRUE(walk.gaps.empty());
  ASSERT_EQ(walk.chunks.size(), contents.chunks.size());
  std::map<uint64_t, QorixPlacedChunk> byOffset;
  for (const QorixPlacedChunk& chunk : walk.chunks) {
    EXPECT_EQ(chunk.offset % 8, 0u);
    if (chunk.sessionId == options.file.sessionId) byOffset[chunk.offset] = chunk;
  }
  const auto expectEntry = [&](uint64_t entry) {
    const auto found = byOffset.find(At(file, entry, 8));
    ASSERT_NE(found, byOffset.end());
    EXPECT_EQ(At(file, entry + 8, 4), found->second.tag);
    EXPECT_EQ(At(file, entry + 12, 4), found->second.seq);
    EXPECT_EQ(At(file, entry + 16, 8), found->second.timestampNs);
  };

  // Periodic indexes: one long chain from the file's beginning, each with all chunks since the one before.
  uint64_t previous = kQorixNowhere, coveredTo = 0;
  const std::vector<QorixPlacedChunk> indexes = OfKind(walk.chunks, QorixTag("QXPI"));
  ASSERT_GE(indexes.size(), 2u);
  for (const QorixPlacedChunk& index : indexes) {
    EXPECT_EQ(At(file, index.offset + 40, 8), previous);
    EXPECT_EQ(At(file, index.offset + 48, 8), coveredTo);
    EXPECT_EQ(At(file, index.offset + 56, 8), 0u);
    const uint64_t between = uint64_t(std::distance(byOffset.lower_bound(coveredTo), byOffset.find(index.offset)));
    EXPECT_EQ(At(file, index.offset + 64, 4), between);
    for (uint64_t i = 0; i < between; ++i) expectEntry(index.offset + index.headLength + 32 * i);
    previous = index.offset;
    coveredTo = index.end();
  }

  const QorixPlacedChunk trailer = walk.chunks.back(), whole = walk.chunks[walk.chunks.size() - 2];
  EXPECT_EQ(whole.tag, QorixTag("QXPX"));
  EXPECT_EQ(At(file, whole.offset + 40, 4), walk.chunks.size() - 4);
  EXPECT_EQ(byOffset.size(), walk.chunks.size() - 2);
  for (uint64_t i = 0; i < walk.chunks.size() - 4; ++i) expectEntry(whole.offset + whole.headLength + 32 * i);
  EXPECT_EQ(trailer.tag, QorixTag("QXPE"));
  EXPECT_EQ(At(file, trailer.offset + 40, 8), whole.offset);
  EXPECT_EQ(At(file, trailer.offset + 56, 8), 0u);
  EXPECT_EQ(At(file, trailer.offset + 68, 4), 0u);
  EXPECT_EQ(At(file, trailer.offset + 72, 4), 6u);  // five frames and the lost one
  EXPECT_EQ(At(file, trailer.offset + 80, 8), file.size());

  const auto copies = [&](uint32_t tag) {
    const std::vector<QorixPlacedChunk> all = OfKind(walk.chunks, tag);
    return std::count_if(all.begin(), all.end(), [](const auto& chunk) { return (chunk.flags & kQorixCopyFlag) != 0; });
  };
  EXPECT_EQ(size_t(copies(QorixTag("QXPH"))), indexes.size());
  EXPECT_EQ(size_t(copies(QorixTag("QXRL"))), indexes.size());
}

TEST(QorixWriter, FramesDecodeToTheScene) {
  struct Row {
    const char* name;
    uint8_t coder, predictor, layout, parts;
    uint16_t boundary, flatThreshold;
    int bits;
    uint8_t shift;
    bool crcs;
  };
  for (const Row& row : {Row{"plain", 0, 0, 0, 0, 0, 0, 12, 0, true}, Row{"interleaved", 0, 1, 1, 0, 0, 8, 14, 0, false},
                         Row{"Rice", 1, 0, 0, 0, 0, 0, 16, 0, true}, Row{"two-part", 1, 1, 2, 0, 0, 0, 10, 0, true},
                         Row{"split", 1, 1, 3, 0x20, 2, 30, 12, 0, true}, Row{"split, coder 0", 0, 0, 3, 0x01, 1, 0, 16, 4, false}}) {
    SCOPED_TRACE(row.name);
    QorixRecordingOptions options = SmallRecording();
    options.frames = 2;
    options.bits = row.bits;
    options.format.coder = row.coder;
    options.format.predictor = row.predictor;
    options.format.layout = row.layout;
    options.format.parts = row.parts;
    options.format.boundary = row.boundary;
    options.format.flatThreshold = row.flatThreshold;
    options.format.sampleShift = row.shift;
    options.format.sliceCrcs = row.crcs;
    QorixRecordingContents contents;
    const File file = Make(options, &contents);
    for (const QorixRecordedFrame& frame : contents.frames) {
      std::vector<uint16_t> scene = LinearSamples(options, frame.slot);
      for (uint16_t& sample : scene) sample = uint16_t(sample >> row.shift);
      EXPECT_EQ(DecodeFrame(file, contents.chunks[frame.chunk]), scene);
    }
  }
}

TEST(QorixWriter, PatternFollowsTheFrameOrigin) {
  // The chart's red patch and the sky differ by channel, so a phase error shows: green samples of an RGGB frame are where its code says.
  QorixRecordingOptions plain = SmallRecording(), moved = SmallRecording();
  plain.format.width = moved.format.width + 1;
  plain.format.height = moved.format.height + 1;
  moved.format.left = 3;
  moved.file.header.cfaCode = 2;  // GBRG, one column later BGGR: the scene from (1, 1) on
  const std::vector<uint16_t> scene = LinearSamples(plain, 0), frame = LinearSamples(moved, 0);
  EXPECT_EQ(frame[0], scene[plain.format.width + 1u]);
  EXPECT_EQ(frame.back(), scene.back());
}

TEST(QorixWriter, TimesNumbersAndRepeats) {
  QorixRecordingOptions options = SmallRecording();
  options.file.header.capture = {120, 1};
  options.file.framesBefore = 100;
  options.frames = 8;
  options.droppedSlots = {2};
  options.lostSlots = {4};
  options.repeatedSlots = {5};
  options.stalledSlots = {6};
  QorixRecordingContents contents;
  const File file = Make(options, &contents);
  std::vector<std::pair<uint32_t, uint64_t>> frames;
  const uint64_t first = options.file.header.sensorStartNs + 50'000'000;
  for (const QorixPlacedChunk& chunk : OfKind(WalkChunks(file).chunks, QorixTag("QXRF"))) {
    frames.emplace_back(chunk.seq, chunk.timestampNs - first);
  }
  // Slots 0, 1, 3, 5 (twice), 6 (with the time of 5) and 7 at 120 a second.
  EXPECT_EQ(frames, (std::vector<std::pair<uint32_t, uint64_t>>{
                        {100, 0}, {101, 8333333}, {102, 25000000}, {104, 41666667}, {104, 41666667}, {105, 41666667}, {106, 58333333}}));
}

TEST(QorixWriter, SoundChunks) {
  QorixRecordingOptions options = SmallRecording();
  options.frames = 15;  // half a second: 24,000 sample frames and, as the sound starts later, 4 whole chunks and a begun one
  options.sound.missingChunks = {1};
  options.sound.foreignChunks = {2};
  options.sound.oddSizedChunks = {3};
  const uint32_t bytesPerSample[] = {2, 3, 4, 4};
  for (uint8_t format = 1; format <= 4; ++format) {
    options.sound.format = format;
    const File file = Make(options);
    const std::vector<QorixPlacedChunk> sound = OfKind(WalkChunks(file).chunks, QorixTag("QXPA"));
    ASSERT_EQ(sound.size(), 4u);
    const uint32_t body = 4800 * 2 * bytesPerSample[format - 1];
    const uint32_t numbers[] = {0, 2, 3, 4}, rates[] = {48000, 24000, 48000, 48000}, bodies[] = {body, body, body - 3, body};
    for (size_t i = 0; i < sound.size(); ++i) {
      EXPECT_EQ(sound[i].seq, numbers[i]);
      EXPECT_EQ(sound[i].timestampNs, options.file.header.sensorStartNs + 60'000'000 + numbers[i] * 100'000'000ull);
      EXPECT_EQ(At(file, sound[i].offset + 40, 8), numbers[i] * 4800u);
      EXPECT_EQ(At(file, sound[i].offset + 52, 4), rates[i]);
      EXPECT_EQ(sound[i].usedSize - sound[i].headLength, bodies[i]);
    }
  }
}

TEST(QorixWriter, CutOffRecordingHasNoEnd) {
  QorixRecordingOptions options = SmallRecording();
  options.file.wholeIndex = options.file.trailer = false;
  options.file.headerCopyFirst = true;
  const File file = Make(options);
  const QorixWalk walk = WalkChunks(file);
  EXPECT_TRUE(OfKind(walk.chunks, QorixTag("QXPX")).empty());
  EXPECT_TRUE(OfKind(walk.chunks, QorixTag("QXPE")).empty());
  EXPECT_EQ(walk.chunks[0].flags, kQorixCopyFlag);
  EXPECT_EQ(walk.chunks[1].flags, 0);
  EXPECT_EQ(walk.chunks[1].tag, QorixTag("QXPH"));
}

TEST(QorixWriter, HollowFramesHaveValidHeads) {
  QorixRecordingOptions options = SmallRecording();
  options.format.width = 4000;
  options.format.height = 3000;
  options.hollow = true;
  options.frames = 3;
  const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / "hollow.qorix";
  std::ofstream stream(path, std::ios::binary);
  ASSERT_TRUE(MakeRecording(options, QorixSinkTo(&stream)));
  stream.close();
  std::ifstream written(path, std::ios::binary);
  const File file{std::istreambuf_iterator<char>(written), {}};
  written.close();
  std::filesystem::remove(path);
  const QorixWalk walk = WalkChunks(file);
  EXPECT_TRUE(walk.gaps.empty());
  EXPECT_EQ(OfKind(walk.chunks, QorixTag("QXRF")).size(), 3u);
  EXPECT_GT(file.size(), 3u * 4000 * 3000);
}

TEST(QorixWriter, FailsWhenTheSinkFails) {
  int calls = 0;
  const QorixSink sink = {[&calls](std::span<const uint8_t>) { return ++calls < 4; }};
  EXPECT_FALSE(MakeRecording(SmallRecording(), sink));
  EXPECT_EQ(calls, 4);
}

TEST(Quantisation, NoiseSteps) {
  // k = 1, black 4, slope 1, variance 1: code(i) = round(2 (√(i − 4 + 1) − 1)) from black on and round(i − 4) below, here + 4.
  // i:    0 1 2 3 4 5    6    7    8    9    10   11   12
  // code: 0 1 2 3 4 4.83 5.46 6    6.47 6.90 7.29 7.66 8   -> 0 1 2 3 4 5 5 6 6 7 7 8 8
  EXPECT_EQ(BinStarts(NoiseTable(1, 4, 1, 0, 12)), (std::vector<uint32_t>{0, 1, 2, 3, 4, 5, 7, 9, 11}));
  // With a clip at 12, which shares code 8 with 11, 12 has a code of its own.
  EXPECT_EQ(BinStarts(NoiseTable(1, 4, 1, 0, 20, 12)), (std::vector<uint32_t>{0, 1, 2, 3, 4, 5, 7, 9, 11, 12}));
  EXPECT_FALSE(BinStarts(NoiseTable(1, 4, 0, 0, 12)).has_value());
}

TEST(Quantisation, BitDepths) {
  // 2 bits for 0 … 7: round(j × 3 / 7) = 0 0 1 1 2 2 3 3, and 7 has a bin of its own as it shares 6's code.
  EXPECT_EQ(BinStarts(BitDepthTable(2, false, 7)), (std::vector<uint32_t>{0, 2, 4, 6, 7}));
  // log2(j + 1) / 3 × 3 = 0 1 1.58 2 2.32 2.58 2.81 3 -> 0 1 2 2 2 3 3 3.
  EXPECT_EQ(BinStarts(BitDepthTable(2, true, 7)), (std::vector<uint32_t>{0, 1, 2, 5, 7}));
  // Enough codes for all values.
  EXPECT_EQ(BinStarts(BitDepthTable(3, true, 5)), (std::vector<uint32_t>{0, 1, 2, 3, 4, 5}));
  EXPECT_FALSE(BinStarts(BitDepthTable(17, false, 7)).has_value());
  // 14 bits for 16: every code is taken, so the last value gets none of its own.
  EXPECT_EQ(BinStarts(BitDepthTable(14, false, 65535))->size(), 16384u);
}

TEST(Quantisation, CodesNameTheirBins) {
  const std::vector<uint32_t> starts = {0, 2, 5};
  const std::vector<uint16_t> codes = CodesOfValues(starts);
  EXPECT_EQ(std::vector<uint16_t>(codes.begin(), codes.begin() + 7), (std::vector<uint16_t>{0, 0, 1, 1, 1, 2, 2}));
  EXPECT_EQ(codes.back(), 2);
}

}  // namespace
}  // namespace qx
