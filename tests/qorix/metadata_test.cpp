#include "qorix/metadata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>

#include "base/byte_source.h"
#include "samples/qorix_writer.h"

namespace qx {
namespace {

using ByteVector = std::vector<uint8_t>;
constexpr Item kIso = Item::ISO, kExposure = Item::EXPOSURE_NS, kMake = Item::MAKE;

std::string Text(const std::optional<Bytes>& value) {
  return value ? std::string(value->begin(), value->end()) : "(none)";
}
Bytes BytesOf(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}
QorixItemList OneText(QorixItem id, std::string_view text) {
  return QorixItemList().Text(id, text);
}

/// A recording in memory, scanned.
class Recording {
 public:
  explicit Recording(const QorixItemList& staticItems = {}) : writer_(QorixSinkTo(&file_)) { writer_.Begin({.staticItems = staticItems}); }
  QorixWriter& writer() { return writer_; }
  RecordingScan* Scan() {
    writer_.Finish();
    source_.emplace(file_);
    EXPECT_EQ(recording_scan(&scan_, *source_, {}), 0);
    return &scan_;
  }

 private:
  ByteVector file_;
  QorixWriter writer_;
  std::optional<MemorySource> source_;
  RecordingScan scan_;
};

TEST(ItemList, EndsAtTheFirstItemThatDoesNotFit) {
  struct Row {
    const char* name;
    ByteVector list;
    std::string expected;  // of item 0x1001
  };
  for (const Row& row : {
           Row{"empty list", {}, "(none)"},
           Row{"header cut off", {1, 0x10, 0}, "(none)"},
           Row{"plain", {1, 0x10, 2, 0, 'a', 'b', 0, 0}, "ab"},
           Row{"no padding at the end", {1, 0x10, 2, 0, 'a', 'b'}, "ab"},
           Row{"length 0", {1, 0x10, 0, 0}, ""},
           Row{"padding skipped", {3, 0, 1, 0, 9, 0xFF, 0xFF, 0xFF, 1, 0x10, 1, 0, 'a', 0, 0, 0}, "a"},
           Row{"twice: the later", {1, 0x10, 1, 0, 'a', 0, 0, 0, 1, 0x10, 1, 0, 'b', 0, 0, 0}, "b"},
           Row{"twice, the later cut off", {1, 0x10, 1, 0, 'a', 0, 0, 0, 1, 0x10, 2, 0, 'b'}, "a"},
           Row{"nothing behind a cut item", {3, 0, 9, 0, 1, 0x10, 1, 0, 'a', 0, 0, 0}, "(none)"},
       }) {
    EXPECT_EQ(Text(FindItem(row.list, kMake)), row.expected) << row.name;
  }
}

TEST(StaticMetadata, IsTheHeadersListAndNeedsAHeader) {
  Recording recording(OneText(QorixItem::kMake, "first").Text(QorixItem::kMake, "second"));
  RecordingScan* scan = recording.Scan();
  EXPECT_EQ(Text(recording_find_meta(*scan, kMake)), "second");
  EXPECT_EQ(Text(recording_find_meta(*scan, Item::MODEL)), "(none)");
  scan->header.present = false;
  EXPECT_EQ(Text(recording_find_meta(*scan, kMake)), "(none)");
}

TEST(CameraModules, AreFoundByTheirIdWithoutTrailingNuls) {
  using namespace std::string_view_literals;
  Recording recording(OneText(QorixItem::kMake, "recording").Text(QorixItem::kModel, "phone"));
  const auto module = [&](uint16_t kind, uint32_t seq, std::string_view id, std::string_view make) {
    recording.writer().WriteBlob(kind, seq, OneText(QorixItem::kPhysicalCameraId, id).Text(QorixItem::kMake, make).Encoded());
  };
  module(kQorixCameraModule, 9, "2"sv, "late");
  module(kQorixCameraModule, 4, "2\0\0"sv, "wide");
  module(kQorixCameraModule, 5, "3"sv, "tele");
  module(kQorixShadingMap, 6, "5"sv, "no module");
  recording.writer().WriteBlob(kQorixCameraModule, 7, OneText(QorixItem::kMake, "no id").U8(QorixItem::kModuleCfa, {2}).Encoded());
  RecordingScan* scan = recording.Scan();

  CameraModules modules;
  struct Row {
    std::string_view id;
    std::string make;
  };
  for (const Row& row : {Row{"2"sv, "wide"}, Row{"2\0"sv, "wide"}, Row{"3\0\0\0"sv, "tele"}, Row{"\0003"sv, "recording"},
                         Row{"5"sv, "recording"}, Row{""sv, "recording"}, Row{"\0"sv, "recording"}}) {
    const CameraModule* found = modules.Find(scan, BytesOf(row.id));
    EXPECT_EQ(Text(module_find_meta(*scan, found, kMake)), row.make) << row.id;
    EXPECT_EQ(Text(module_find_meta(*scan, found, Item::MODEL)), "phone") << row.id;
  }
}

// Blob chunks with "HEAD56" or nothing from offset 48 on and "BODY!" behind the head.
TEST(Blobs, PayloadIsInTheBodyOrInTheHeadOrAllOfTheBody) {
  struct Row {
    uint32_t promisedLength;
    size_t headBytes;  // from offset 48 on
    std::string expected;
  };
  for (const Row& row : {
           Row{5, 0, "BODY!"},                 // as long as the body
           Row{3, 0, "BOD"},                   // shorter
           Row{0, 0, ""}, Row{6, 0, "BODY!"},  // runs past the used part
           Row{4294967295, 0, "BODY!"},        // far past it
           Row{6, 6, "HEAD56"},                // does not fit the body, but the head
           Row{7, 6, "BODY!"},                 // neither
           Row{5, 6, "BODY!"},                 // both: the body
       }) {
    Recording recording;
    QorixChunk chunk = {.tag = QorixTag("QXPB"), .seq = 3};
    chunk.head = QorixFields().U16(1).U16(0).U32(row.promisedLength).Text(std::string_view("HEAD56").substr(0, row.headBytes)).bytes();
    chunk.body = QorixFields().Text("BODY!").bytes();
    recording.writer().WriteChunk(chunk);
    RecordingScan* scan = recording.Scan();
    EXPECT_EQ(Text(find_blob(scan, kBlobShadingMap, 3)), row.expected) << row.promisedLength << " " << row.headBytes;
    EXPECT_TRUE(find_blob(scan, kBlobShadingMap, 2).empty());
    EXPECT_TRUE(find_blob(scan, kBlobCameraModule, 3).empty());
  }
}

// Frames 10 … 15. Keyframes 0 and 4; the deltas of frame 13 (names 3, which is lost) and 14 (names a delta) follow keyframe 0.
class FrameMetadata : public testing::Test {
 protected:
  void SetUp() override {
    const auto list = [](std::string_view iso) { return OneText(QorixItem::kIso, iso); };
    const QorixMetadata chunks[] = {
        {.seq = 0,
         .frameNumber = 10,
         .keyframe = true,
         .items = list("K0").Text(QorixItem::kExposureNs, "E0").Raw(QorixItem::kNeutral, {})},
        {.seq = 1, .frameNumber = 11, .keyframe = false, .keyframeSeq = 0, .items = list("D1").Text(QorixItem::kGps, "G1")},
        {.seq = 2, .frameNumber = 12, .keyframe = false, .keyframeSeq = 0, .items = list("x").Raw(QorixItem::kIso, {})},
        {.seq = 4, .frameNumber = 13, .keyframe = false, .keyframeSeq = 3, .items = list("D4")},
        {.seq = 5, .frameNumber = 14, .keyframe = false, .keyframeSeq = 2, .items = list("D5")},
        {.seq = 6, .frameNumber = 15, .keyframe = true, .items = list("first").Text(QorixItem::kIso, "K6")},
        {.seq = 7, .frameNumber = 16, .keyframe = false, .keyframeSeq = 6, .items = {}},
    };
    for (const QorixMetadata& chunk : chunks) recording_.writer().WriteMetadata(chunk);
    scan_ = recording_.Scan();
  }

  Recording recording_;
  RecordingScan* scan_ = nullptr;
};

TEST_F(FrameMetadata, MergesADeltaIntoItsKeyframe) {
  struct Row {
    uint32_t frame;
    FrameMetaStatus status;
    std::string iso, exposure, gps;
    size_t items;
  };
  FrameMeta meta;  // reused, as the reader does
  for (const Row& row : {
           Row{10, FrameMetaStatus::kComplete, "K0", "E0", "(none)", 3},  // an empty item of a keyframe stays
           Row{11, FrameMetaStatus::kComplete, "D1", "E0", "G1", 4},      // replaced and inserted
           Row{12, FrameMetaStatus::kComplete, "(none)", "E0", "(none)", 2},
           Row{13, FrameMetaStatus::kReconstructed, "D4", "E0", "(none)", 3},
           Row{14, FrameMetaStatus::kReconstructed, "D5", "E0", "(none)", 3},
           Row{15, FrameMetaStatus::kComplete, "K6", "(none)", "(none)", 1},
           Row{16, FrameMetaStatus::kComplete, "K6", "(none)", "(none)", 1},
           Row{17, FrameMetaStatus::kNone, "(none)", "(none)", "(none)", 0},
       }) {
    SCOPED_TRACE(row.frame);
    EXPECT_EQ(frame_meta_read(scan_, row.frame, &meta), row.status);
    EXPECT_EQ(meta.status, row.status);
    EXPECT_EQ(Text(frame_meta_find(meta, kIso)), row.iso);
    EXPECT_EQ(Text(frame_meta_find(meta, kExposure)), row.exposure);
    EXPECT_EQ(Text(frame_meta_find(meta, Item::GPS)), row.gps);
    EXPECT_EQ(meta.items.size(), row.items);
    const auto notRising = std::ranges::adjacent_find(meta.items, std::greater_equal(), &FrameMeta::Entry::id);
    EXPECT_EQ(notRising, meta.items.end());
  }
  frame_meta_free(&meta);
  EXPECT_EQ(meta.bodies.capacity(), 0u);
}

TEST_F(FrameMetadata, OfAChunkThatCannotBeReadIsNone) {
  FrameMeta meta;
  ASSERT_EQ(frame_meta_read(scan_, 10, &meta), FrameMetaStatus::kComplete);
  for (ChunkRecord& record : scan_->records) {
    if (record.tag == kTagMetadata && record.seq == 0) record.offset = scan_->fileSize;
  }
  EXPECT_EQ(frame_meta_read(scan_, 10, &meta), FrameMetaStatus::kNone);
  EXPECT_EQ(frame_meta_read(scan_, 11, &meta), FrameMetaStatus::kNone) << "its keyframe";
  EXPECT_TRUE(meta.items.empty());
  EXPECT_EQ(frame_meta_read(scan_, 15, &meta), FrameMetaStatus::kComplete);
}

TEST(FrameMeta, DeltaWithoutAnyEarlierKeyframeStandsAlone) {
  Recording recording;
  const QorixItemList items = OneText(QorixItem::kIso, "own").Raw(QorixItem::kExposureNs, {});
  recording.writer().WriteMetadata({.seq = 5, .frameNumber = 0, .keyframe = false, .keyframeSeq = 4, .items = items});
  recording.writer().WriteMetadata({.seq = 6, .frameNumber = 1, .keyframe = true, .items = OneText(QorixItem::kGps, "later")});
  FrameMeta meta;
  EXPECT_EQ(frame_meta_read(recording.Scan(), 0, &meta), FrameMetaStatus::kReconstructed);
  EXPECT_EQ(Text(frame_meta_find(meta, kIso)), "own");
  EXPECT_EQ(meta.items.size(), 1u) << "the item that deletes is not kept";
}

// The keyframe's last item is empty, so its value begins where the delta's copy begins.
TEST(FrameMeta, EmptyItemAtTheEndOfAKeyframeIsNoDeletion) {
  Recording recording;
  recording.writer().WriteMetadata(
      {.seq = 0, .frameNumber = 0, .keyframe = true, .items = OneText(QorixItem::kIso, "100").Raw(QorixItem::kGps, {})});
  recording.writer().WriteMetadata(
      {.seq = 1, .frameNumber = 1, .keyframe = false, .keyframeSeq = 0, .items = OneText(QorixItem::kIso, "200")});
  FrameMeta meta;
  frame_meta_read(recording.Scan(), 1, &meta);
  EXPECT_EQ(Text(frame_meta_find(meta, Item::GPS)), "");
  EXPECT_EQ(Text(frame_meta_find(meta, kIso)), "200");
}

TEST(FrameMeta, ListThatRepeatsIdsManyTimesKeepsTheLastOfEach) {
  QorixFields body;
  for (uint32_t i = 0; i < 300000; ++i) body.U16((i * 7) % 50000).U16(4).U32(i);
  Recording recording;
  QorixChunk chunk = {.tag = QorixTag("QXPM"), .flags = kQorixKeyframeFlag};
  chunk.head = QorixFields().U32(0).U32(0).bytes();
  chunk.body = body.bytes();
  recording.writer().WriteChunk(chunk);
  FrameMeta meta;
  ASSERT_EQ(frame_meta_read(recording.Scan(), 0, &meta), FrameMetaStatus::kComplete);
  ASSERT_EQ(meta.items.size(), 50000u);
  for (const FrameMeta::Entry& entry : meta.items) {
    const uint32_t i = LoadU32Le(entry.value.data());
    EXPECT_GE(i, 250000u);  // of six rounds through the ids, the last
    EXPECT_EQ(i * 7 % 50000, entry.id);
  }
}

}  // namespace
}  // namespace qx
