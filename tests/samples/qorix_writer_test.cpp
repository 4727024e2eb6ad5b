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

TEST(QorixItems, ListsAndDeltas) {
  QorixItemList key;
  key.I32(QorixItem::kIso, {100}).Text(QorixItem::kPhysicalId, "ab").F32(QorixItem::kZoom, {1});
  EXPECT_EQ(key.Encoded(), (File{3, 0, 4, 0, 100, 0, 0, 0, 0x1B, 0, 2, 0, 'a', 'b', 0, 0, 0x19, 0, 4, 0, 0, 0, 0x80, 0x3F}));
  QorixItemList next;
  next.F32(QorixItem::kZoom, {1}).I32(QorixItem::kIso, {200}).U8(QorixItem::kPixelMode, {1});
  // The physical id is gone, ISO changed, the pixel mode is new.
  EXPECT_EQ(next.DeltaFrom(key).Encoded(), (File{0x1B, 0, 0, 0, 3, 0, 4, 0, 200, 0, 0, 0, 0x20, 0, 1, 0, 1, 0, 0, 0}));
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
  options.sound.format = 2;
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
