#include <gtest/gtest.h>

#include "base/grow_buffer.h"
#include "rawzip/archive_source.h"
#include "rawzip/warp_cache.h"
#include "samples/lj92_writer.h"
#include "tests/rawzip/archive_test_support.h"
#include "tests/rawzip/zip_test_support.h"

namespace qx {
namespace {

/// A frame reader together with the bytes it reads from.
struct Reader {
  explicit Reader(std::vector<uint8_t> archive) : bytes(std::move(archive)), file(bytes) {
    MessageBuffer<256> buffer;
    source = archive_frame_source_open(file, buffer);
    message = buffer.text();
  }
  std::string ReadFailure(int32_t frame, uint32_t flags = kReadUnpacked) {
    return source->ReadFrame(frame, &raw, flags) == 0 ? "" : source->LastMessage();
  }
  std::vector<uint16_t> Samples() const { return {raw.samples, raw.samples + size_t(raw.described->width) * raw.described->height}; }

  std::vector<uint8_t> bytes;
  FlakySource file;
  FrameSourcePtr source;
  std::string message;
  RawFrame raw;
};

DngDescription LosslessJpegFrame() {
  DngDescription frame = SmallFrame();
  frame.compression = 7;
  frame.bitsPerSample = 12;
  return frame;
}

std::vector<uint8_t> LosslessJpegDng(const DngDescription& frame = LosslessJpegFrame()) {
  const std::vector<uint16_t> samples = TestSamples(12);
  const Lj92Format format{.samplesPerLine = kTestWidth / 2, .lines = kTestHeight, .components = 2};
  const std::vector<uint8_t> streams[] = {WriteLj92(samples.data(), kTestWidth, format)};
  return WriteDngStreams(frame, streams);
}

TEST(ArchiveFrameSource, HandsOutPackedUnpackedAndDecodedSamples) {
  DngDescription packed12 = SmallFrame();
  packed12.bitsPerSample = 12;
  TestArchive archive;
  archive.Frame("5.dng", packed12).Member("6.dng", LosslessJpegDng(), ZipMethod::kDeflate).Frame("8.dng", SmallFrame(), ZipMethod::kZstd);
  Reader reader(archive.Finish());
  ASSERT_NE(reader.source, nullptr) << reader.message;
  EXPECT_EQ(reader.source->FrameCount(), 3);
  EXPECT_EQ(reader.source->FramesPerSecond(), 25);
  EXPECT_EQ(reader.source->CameraData()->bitsPerSample, 12u);

  RawFrame& raw = reader.raw;
  ASSERT_EQ(reader.ReadFailure(0, kReadPacked), "");
  EXPECT_EQ(raw.samples, nullptr);
  EXPECT_EQ(raw.described, &raw.dng);
  EXPECT_TRUE(std::ranges::equal(raw.data, WriteDng(packed12, TestSamples(12)))) << "the record as it is";

  ASSERT_EQ(reader.ReadFailure(0, kReadUnpacked), "");
  EXPECT_EQ(reader.Samples(), TestSamples(12));
  EXPECT_EQ(raw.described->bitsPerSample, 12u) << "still describes the record";

  ASSERT_EQ(reader.ReadFailure(2), "");
  EXPECT_EQ(reader.Samples(), TestSamples(16));
  EXPECT_EQ(raw.frame, 2);
  EXPECT_EQ(raw.number, 8);
  EXPECT_DOUBLE_EQ(raw.timeSeconds, 3 / 25.0);

  for (const uint32_t flags : {kReadPacked, kReadUnpacked}) {
    ASSERT_EQ(reader.ReadFailure(1, flags), "") << "lossless JPEG is always decoded";
    EXPECT_EQ(reader.Samples(), TestSamples(12));
    EXPECT_EQ(raw.described->compression, 1u);
    EXPECT_EQ(raw.described->bitsPerSample, 16u);
    EXPECT_EQ(raw.data.size(), kTestWidth * kTestHeight * 2);
    EXPECT_EQ(static_cast<const void*>(raw.data.data()), static_cast<const void*>(raw.samples));
  }
}

TEST(ArchiveFrameSource, TellsWhyAFrameCannotBeRead) {
  DngDescription tiled = SmallFrame();
  tiled.tileWidth = kTestWidth;
  tiled.tileLength = kTestHeight;
  DngDescription foreign = SmallFrame();
  foreign.compression = 34892;
  const std::vector<uint8_t> stream[] = {{1, 2, 3, 4}};
  const std::vector<uint8_t> whole = WriteDng(SmallFrame(), TestSamples());
  TestArchive archive;
  archive.Frame("0.dng", SmallFrame()).Frame("1.dng", tiled).Member("2.dng", WriteDngStreams(foreign, stream));
  archive.Member("3.dng", WriteDngStreams(LosslessJpegFrame(), stream)).Text("4.dng", "no image at all");
  archive.RawMember("5.dng", 8, std::vector<uint8_t>(64, 0xFF), 1000).RawMember("6.dng", 0, whole, whole.size() + 1);
  archive.RawMember("7.dng", 12, whole, whole.size());
  Reader reader(archive.Finish());
  struct Row {
    int32_t frame;
    const char* message;
  };
  for (const Row& row :
       {Row{-1, "frame -1 missing"}, Row{8, "frame 8 missing"}, Row{1, "compression 1, strips 1 (contiguous 0) — not supported"},
        Row{2, "compression 34892, strips 1 (contiguous 1) — not supported"}, Row{3, "LJ92: LJ92: data truncated"}, Row{4, "not TIFF"},
        Row{5, "frame 5 not read (-3)"}, Row{6, "frame 6 not read (-4)"}, Row{7, "frame 7 not read (-2)"}}) {
    EXPECT_EQ(reader.ReadFailure(row.frame), row.message);
    EXPECT_EQ(reader.raw.samples, nullptr);
  }
  EXPECT_EQ(reader.ReadFailure(0), "") << "a good frame is read after all of these";
  EXPECT_STREQ(reader.source->LastMessage(), "");
}

TEST(ArchiveFrameSource, AllocatesNoMoreThanTheFileCanHold) {
  DngDescription huge = LosslessJpegFrame();
  huge.width = huge.height = 60000;
  DngDescription wide = SmallFrame();  // claims rows that its strip does not have
  wide.edit = [](TiffIfd& main, TiffIfd&) { main.Long(257, 60000u); };
  TestArchive archive;
  archive.Member("0.dng", LosslessJpegDng(huge)).Frame("1.dng", wide);
  // One byte more than the bytes can expand to: 1032 for DEFLATE, 128 KiB a run-length block of four bytes for Zstandard.
  archive.RawMember("2.dng", 8, std::vector<uint8_t>(100, 0), 103201).RawMember("3.dng", 93, std::vector<uint8_t>(100, 0), 3276801);
  archive.RawMember("4.dng", 93, std::vector<uint8_t>(100000, 0), uint64_t(3) << 30);
  Reader reader(archive.Finish());
  struct Row {
    int32_t frame;
    const char* message;
  };
  for (const Row& row : {Row{0, "LJ92: LJ92: data truncated"}, Row{1, "unpacking not supported (bps 16)"}, Row{2, "frame 2 not read (-4)"},
                         Row{3, "frame 3 not read (-4)"}, Row{4, "frame 4 not read (-4)"}}) {
    EXPECT_EQ(reader.ReadFailure(row.frame), row.message);
  }
  EXPECT_EQ(reader.raw.sampleBuffer.capacity(), 0u);
  EXPECT_LT(reader.raw.memberBuffer.capacity(), 10000u);

  // The densest members of all are read: black frames.
  const std::vector<uint16_t> black(4096 * 1024);
  DngDescription large = SmallFrame();
  large.width = 4096;
  large.height = 1024;
  TestArchive blackFrames;
  blackFrames.Member("1.dng", WriteDng(large, black), ZipMethod::kDeflate).Member("2.dng", WriteDng(large, black), ZipMethod::kZstd);
  Reader blackReader(blackFrames.Finish());
  EXPECT_EQ(blackReader.ReadFailure(0), "");
  EXPECT_EQ(blackReader.ReadFailure(1), "");
}

TEST(ArchiveFrameSource, SurvivesShortMemory) {
  TestArchive archive;
  archive.Frame("1.dng", SmallFrame()).Member("2.dng", LosslessJpegDng());
  Reader reader(archive.Finish());
  FailAllocationForTest(0);
  EXPECT_EQ(reader.ReadFailure(0), "out of memory");  // the record
  FailAllocationForTest(1);
  EXPECT_EQ(reader.ReadFailure(0), "unpacking not supported (bps 16)");
  FailAllocationForTest(0);
  EXPECT_EQ(reader.ReadFailure(1), "out of memory");  // the samples: the record fits the first frame's buffer
  FailAllocationForTest(-1);
  EXPECT_EQ(reader.ReadFailure(0), "");
  EXPECT_EQ(reader.ReadFailure(1), "");
}

TEST(ArchiveFrameSource, TakesCameraDataFromALaterFrame) {
  DngDescription good = SmallFrame();
  good.model = "third";
  TestArchive archive;
  archive.Text("1.dng", "no image at all").RawMember("2.dng", 12, {1, 2, 3}, 50).Frame("3.dng", good);
  Reader reader(archive.Finish());
  ASSERT_NE(reader.source, nullptr);
  EXPECT_EQ(reader.source->CameraData()->model, "third");
  EXPECT_EQ(reader.ReadFailure(0), "not TIFF");
  EXPECT_EQ(reader.ReadFailure(2), "");

  Reader none(TestArchive().Text("1.dng", "no image at all").Text("2.dng", "nor here, really").Finish());
  EXPECT_EQ(none.source, nullptr);
  EXPECT_EQ(none.message, "no frames in the archive");
}

/// 'f' a full model, 'r' only its radial part, 'o' another radial part, 'F' the full model of that, 'n' no warp.
DngDescription WarpFrame(char kind) {
  DngDescription frame = SmallFrame();
  frame.imageDataLast = true;
  if (kind == 'n') return frame;
  DngWarp warp;
  const double radial = kind == 'o' || kind == 'F' ? -0.5 : -0.25;
  const double extra = kind == 'f' ? 0.125 : kind == 'F' ? 0.0625 : 0;
  warp.planes.assign(3, {1, radial, 0.01, extra, extra / 2, -extra});
  frame.opcodeList3.Add(warp);
  return frame;
}

std::vector<uint8_t> WarpArchive(const std::string& kinds, ZipMethod method) {
  TestArchive archive;
  for (size_t i = 0; i < kinds.size(); ++i) archive.Frame(std::to_string(i) + ".dng", WarpFrame(kinds[i]), method);
  return archive.Finish();
}

TEST(ArchiveFrameSource, CompletesWarpsFromTheNearestEarlierFullModel) {
  const std::string kinds = "rfrorFonrfo";
  // Who supplies, worked out by hand; frames 0 and 3 have no full model of their kind before them.
  const std::vector<int32_t> suppliers = {0, 1, 1, 3, 1, 5, 5, -1, 1, 9, 5};
  for (const ZipMethod method : {ZipMethod::kStore, ZipMethod::kDeflate}) {
    for (const bool backwards : {false, true}) {
      SCOPED_TRACE(std::string(method == ZipMethod::kStore ? "stored" : "deflated") + (backwards ? ", backwards" : ", forwards"));
      Reader reader(WarpArchive(kinds, method));
      for (size_t i = 0; i < kinds.size(); ++i) {
        const size_t frame = backwards ? kinds.size() - 1 - i : i;
        SCOPED_TRACE(frame);
        ASSERT_EQ(reader.ReadFailure(int32_t(frame), kReadPacked), "");
        const RectilinearWarp& warp = reader.raw.warp;
        EXPECT_TRUE(reader.raw.warpDecided);
        EXPECT_EQ(reader.raw.warpKey, suppliers[frame]);
        EXPECT_EQ(warp.valid, kinds[frame] != 'n');
        if (!warp.valid) continue;
        const char supplier = kinds[size_t(suppliers[frame])];
        const double extra = supplier == 'f' ? 0.125 : supplier == 'F' ? 0.0625 : 0;
        for (size_t plane = 0; plane < 3; ++plane) {
          EXPECT_EQ(warp.plane[plane].kr[3], extra);
          EXPECT_EQ(warp.plane[plane].kt[0], extra / 2);
          EXPECT_EQ(warp.plane[plane].kt[1], -extra);
        }
        EXPECT_EQ(warp.radialOnly, extra == 0);
        EXPECT_EQ(warp.plane[0].kr[1], reader.raw.dng.warp.plane[0].kr[1]) << "the radial part stays the frame's own";
      }
    }
  }
}

TEST(ArchiveFrameSource, ReadsOnlyTheListsOfStoredNeighbours) {
  const std::string kinds = "f" + std::string(50, 'r');
  Reader stored(WarpArchive(kinds, ZipMethod::kStore));
  const uint64_t record = WriteDng(WarpFrame('r'), TestSamples()).size();
  stored.file.bytesRead = 0;
  ASSERT_EQ(stored.ReadFailure(50, kReadPacked), "");
  EXPECT_EQ(stored.raw.warpKey, 0);
  // The frame, and of 50 neighbours the list (4 + 16 + 4 + 3 × 48 + 16 bytes) and, but for 0 and 1 which opening read, the local header.
  EXPECT_EQ(stored.file.bytesRead, record + 50 * 184 + 48 * 30);
}

TEST(WarpCache, KeepsEqualWarpsOnce) {
  RectilinearWarp radial;
  radial.valid = radial.radialOnly = true;
  radial.planes = 1;
  RectilinearWarp full = radial;
  full.radialOnly = false;
  full.plane[0].kt[1] = 0.5;
  RectilinearWarp minusZero = radial;
  minusZero.plane[0].kr[2] = -0.0;  // compared as stored
  RectilinearWarp beyondPlanes = radial;
  beyondPlanes.plane[1].kr[0] = 7;  // not part of a one-plane warp

  WarpCache cache;
  ASSERT_TRUE(cache.Reset(5));
  const RectilinearWarp* warps[] = {&radial, &full, &minusZero, &beyondPlanes, &full};
  for (int32_t i = 0; i < 5; ++i) cache.Enter(i, *warps[i]);
  EXPECT_EQ(cache.radialPartCount(), 2u);
  EXPECT_EQ(cache.fullModelCount(), 1u);
  const auto noReads = [](int32_t) -> RectilinearWarp {
    ADD_FAILURE() << "every frame is entered";
    return {};
  };
  EXPECT_EQ(cache.Supplier(0, noReads), WarpCache::kNoSupplier);
  EXPECT_EQ(cache.Supplier(2, noReads), WarpCache::kNoSupplier);
  EXPECT_EQ(cache.Supplier(3, noReads), 1);
  EXPECT_EQ(cache.Supplier(4, noReads), 4);

  FailAllocationForTest(0);
  EXPECT_FALSE(cache.Reset(100));
  EXPECT_FALSE(cache.ready());
}

}  // namespace
}  // namespace qx
