#include "samples/qorix_damage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "samples/recording_maker.h"

namespace qx {
namespace {

QorixFile SmallFile(uint32_t session = 1) {
  QorixRecordingOptions options;
  options.format = {.width = 64, .height = 48, .rowsPerSlice = 16};
  options.frames = 8;
  options.file.sessionId = session;
  options.file.indexEvery = 5;
  QorixFile file;
  EXPECT_TRUE(MakeRecording(options, QorixSinkTo(&file)));
  return file;
}

using Key = std::tuple<uint32_t, uint32_t, uint32_t, uint16_t>;

std::vector<Key> KeysOf(const std::vector<QorixPlacedChunk>& chunks) {
  std::vector<Key> keys;
  for (const QorixPlacedChunk& chunk : chunks) keys.emplace_back(chunk.sessionId, chunk.tag, chunk.seq, chunk.flags);
  std::sort(keys.begin(), keys.end());
  return keys;
}

/// Whatever the damage: a walk finds exactly the chunks whose used part it does not touch.
TEST(QorixDamage, LeavesTheOtherChunks) {
  const QorixFile whole = SmallFile();
  const std::vector<QorixPlacedChunk> chunks = WalkChunks(whole).chunks;
  const QorixPlacedChunk frame = *std::find_if(chunks.begin(), chunks.end(), [](const auto& c) { return c.tag == QorixTag("QXRF"); });
  const struct {
    const char* name;
    std::function<QorixDamage(QorixFile*)> damage;
    size_t lost;  // chunks
  } rows[] = {
      {"cut in the last frame's slices", [&](QorixFile* file) { return CutAt(file, chunks.back().offset - 1); }, 2},
      {"flips",
       [](QorixFile* file) {
         return FlipBits(file, {0, file->size()}, 20, 3);
       },
       SIZE_MAX},
      {"zeros over two chunks",
       [&](QorixFile* file) {
         return ZeroBytes(file, {chunks[2].end() - 8, chunks[3].offset + 8});
       },
       SIZE_MAX},
      {"8 bytes within a chunk", [&](QorixFile* file) { return InsertBytes(file, frame.offset + 8, std::vector<uint8_t>(8)); }, 1},
      {"8 bytes between chunks", [&](QorixFile* file) { return InsertBytes(file, frame.offset, std::vector<uint8_t>(8)); }, 0},
      {"3 bytes", [&](QorixFile* file) { return InsertBytes(file, chunks[4].offset, std::vector<uint8_t>(3)); }, chunks.size() - 4},
      {"no trailer", [](QorixFile* file) { return DropTrailer(file); }, 1},
      {"no trailer and index", [](QorixFile* file) { return DropTrailer(file, true); }, 2},
      {"indexes", [](QorixFile* file) { return OverwriteIndexes(file, 1); }, SIZE_MAX},
      {"swapped", [](QorixFile* file) { return SwapChunks(file, 7, 2); }, 0},
      {"a slice", [](QorixFile* file) { return CorruptSlice(file, 3, 1); }, 0},
      {"a chunk", [&](QorixFile* file) { return CorruptChunk(file, frame); }, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    QorixFile file = whole;
    const QorixDamage damage = row.damage(&file);
    EXPECT_FALSE(damage.empty());
    EXPECT_NE(file, whole);
    std::vector<QorixPlacedChunk> untouched;
    std::copy_if(chunks.begin(), chunks.end(), std::back_inserter(untouched), [&](const auto& c) { return !TouchesUsedPart(damage, c); });
    EXPECT_EQ(KeysOf(WalkChunks(file).chunks), KeysOf(untouched));
    if (row.lost != SIZE_MAX) {
      EXPECT_EQ(chunks.size() - untouched.size(), row.lost);
    }
  }
}

TEST(QorixDamage, CorruptsThatSliceAlone) {
  const QorixFile whole = SmallFile();
  QorixFile file = whole;
  const QorixDamage damage = CorruptSlice(&file, 3, 1);
  ASSERT_EQ(damage.size(), 1u);
  for (const QorixPlacedChunk& chunk : WalkChunks(whole).chunks) {
    const bool damaged = chunk.tag == QorixTag("QXRF") && chunk.seq == 3;
    EXPECT_EQ(Touches(damage, chunk), damaged);
    if (!damaged) continue;
    ASSERT_EQ(SliceRanges(whole, chunk).size(), 3u);
    const QorixRange slice = SliceRanges(whole, chunk)[1];
    EXPECT_TRUE(slice.begin <= damage[0].begin && damage[0].end <= slice.end);
  }
  EXPECT_TRUE(CorruptSlice(&file, 99, 0).empty());
  EXPECT_TRUE(CorruptSlice(&file, 3, 3).empty());
}

TEST(QorixDamage, OtherRecordingsInTheFile) {
  const QorixFile own = SmallFile(1), other = SmallFile(2);
  std::vector<QorixPlacedChunk> both = WalkChunks(own).chunks;
  const std::vector<QorixPlacedChunk> foreign = WalkChunks(other).chunks;
  QorixFile appended = own;
  AppendRecording(&appended, other);
  QorixFile mixed = own;
  EXPECT_EQ(InterleaveRecording(&mixed, other, 2).size(), both.size() / 2);
  const std::vector<QorixPlacedChunk> mixedChunks = WalkChunks(mixed).chunks;
  EXPECT_EQ(mixedChunks.size(), both.size() + both.size() / 2);
  EXPECT_EQ(mixedChunks[2].sessionId, 2u);
  both.insert(both.end(), foreign.begin(), foreign.end());
  EXPECT_EQ(KeysOf(WalkChunks(appended).chunks), KeysOf(both));
}

}  // namespace
}  // namespace qx
