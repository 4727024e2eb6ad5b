#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "qorix/decoded_frame.h"
#include "qorix/frame_head.h"
#include "samples/qorix_frame.h"
#include "samples/qorix_writer.h"

namespace qx {
namespace {

using Samples = std::vector<uint16_t>;

constexpr uint16_t kWidth = 70, kHeight = 43, kRowsPerSlice = 4;  // 11 slices, the last of 3 rows
constexpr uint32_t kSlices = 11;

/// 12 bits; every slice different.
Samples Picture(uint32_t seed = 1) {
  std::mt19937 random(seed);
  Samples samples(size_t(kWidth) * kHeight);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint16_t((i * 3 + random() % 40) & 0xFFF);
  return samples;
}

QorixFrameFormat Format() {
  QorixFrameFormat format;
  format.width = kWidth;
  format.height = kHeight;
  format.rowsPerSlice = kRowsPerSlice;
  return format;
}

/// A frame as frame_setup leaves it, with its slice data.
struct CodedFrame {
  DecodedFrame frame;
  std::vector<uint8_t> data;
  Samples out = Samples(size_t(kWidth) * kHeight, 0xA5A5);

  explicit CodedFrame(const QorixFrameFormat& format, const Samples& samples = Picture()) {
    QorixFrameSlices slices;
    EXPECT_TRUE(EncodeFrame(format, samples, &slices));
    FrameHead& head = frame.head;
    head.width = format.width;
    head.height = format.height;
    head.sampleShift = format.sampleShift;
    head.mode = format.mode;
    head.coder = format.coder;
    head.predictor = format.predictor;
    head.layout = format.layout;
    head.flatThreshold = format.flatThreshold;
    head.sliceCount = uint16_t(slices.sizes.size());
    head.rowsPerSlice = format.rowsPerSlice;
    head.hasSliceCrcs = format.sliceCrcs;
    head.parts = format.parts;
    head.boundary = format.boundary;
    frame.sliceSizes = slices.sizes;
    frame.sliceCrcs = slices.crcs;
    for (const uint32_t size : slices.sizes) {
      frame.sliceOffsets.push_back(frame.sliceDataSize);
      frame.sliceDataSize += size;
    }
    frame.availableSize = frame.sliceDataSize;
    data = slices.data;
  }

  int32_t Decode(WorkerPool* pool = nullptr, const Samples* substitute = nullptr, uint32_t flags = 0) {
    return decode_slices(pool, &frame, data, out.data(), kWidth * sizeof(uint16_t), 0, kSlices - 1,
                         substitute != nullptr ? substitute->data() : nullptr, flags);
  }
  uint8_t& ByteOf(uint32_t slice, size_t i) { return data[size_t(frame.sliceOffsets[slice]) + i]; }
};

/// Rows of the slices named come from `other`, all others from `samples`.
Samples WithSlicesOf(Samples samples, const Samples& other, std::initializer_list<uint32_t> slices) {
  for (const uint32_t slice : slices) {
    const auto begin = ptrdiff_t(slice) * kRowsPerSlice * kWidth;
    const auto end = std::min<ptrdiff_t>(begin + kRowsPerSlice * kWidth, ptrdiff_t(samples.size()));
    std::copy(other.begin() + begin, other.begin() + end, samples.begin() + begin);
  }
  return samples;
}

const Samples kZeros(size_t(kWidth) * kHeight);

TEST(FrameDecode, DecodesEveryCodingWithAndWithoutThreads) {
  const WorkerPoolPtr pool = worker_pool_create(2);
  struct Row {
    uint8_t coder, layout, parts;
    uint16_t boundary;
  };
  const Row rows[] = {{0, 0, 0, 0}, {0, 1, 0, 0}, {0, 3, 0x10, 3}, {0, 3, 0x01, 10},
                      {1, 0, 0, 0}, {1, 2, 0, 0}, {1, 3, 0x02, 6}, {1, 3, 0x20, 1}};
  for (const Row& row : rows) {
    for (const uint8_t predictor : {0, 1}) {
      SCOPED_TRACE(std::to_string(row.coder) + " " + std::to_string(row.layout) + " " + std::to_string(row.parts));
      QorixFrameFormat format = Format();
      format.coder = row.coder;
      format.layout = row.layout;
      format.parts = row.parts;
      format.boundary = row.boundary;
      format.predictor = predictor;
      for (WorkerPool* threads : {static_cast<WorkerPool*>(nullptr), pool.get()}) {
        CodedFrame coded(format);
        EXPECT_EQ(coded.Decode(threads), 0);
        EXPECT_EQ(coded.out, Picture());
      }
    }
  }
}

TEST(FrameDecode, BadSlicesAreCountedAndReplaced) {
  const Samples before = Picture(2);
  for (const Samples* substitute : {static_cast<const Samples*>(nullptr), &before}) {
    CodedFrame coded(Format());
    coded.ByteOf(2, 9) ^= 0x10;
    coded.ByteOf(7, 0) ^= 0x01;
    coded.data.pop_back();  // cuts the last slice
    EXPECT_EQ(coded.Decode(nullptr, substitute), 3);
    EXPECT_EQ(coded.out, WithSlicesOf(Picture(), substitute != nullptr ? before : kZeros, {2, 7, 10}));
    const uint8_t replaced = substitute != nullptr ? kSliceSubstituted : 0;
    for (uint32_t s = 0; s < kSlices; ++s) {
      const uint8_t expected = s == 2 || s == 7 ? kSliceCrcMismatch | replaced : s == 10 ? kSliceOutside | replaced : kSliceGood;
      EXPECT_EQ(coded.frame.sliceStatus[s], expected) << s;
    }
    EXPECT_EQ(coded.frame.badSlices, 3);
    EXPECT_EQ(coded.frame.outsideSlices, 1);
    EXPECT_EQ(coded.frame.substitutedSlices, substitute != nullptr ? 3 : 0);
  }
}

TEST(FrameDecode, SliceThatLosesAByteIsInconsistent) {
  // One byte less of slice 4, and the others moved: only the coding can tell, and only when nobody looks at the CRC.
  for (const bool hasCrcs : {true, false}) {
    QorixFrameFormat format = Format();
    format.sliceCrcs = hasCrcs;
    for (const uint32_t flags : {0u, uint32_t(kDecodeSkipCrc)}) {
      CodedFrame coded(format);
      coded.frame.sliceSizes[4] -= 1;
      EXPECT_EQ(coded.Decode(nullptr, nullptr, flags), 1);
      EXPECT_EQ(coded.frame.sliceStatus[4], hasCrcs && flags == 0 ? kSliceCrcMismatch : kSliceInconsistent);
      EXPECT_EQ(coded.out, WithSlicesOf(Picture(), kZeros, {4}));
    }
  }
}

TEST(FrameDecode, OffsetsAndSizesBeyondTheDataAreOutside) {
  CodedFrame coded(Format());
  coded.frame.sliceOffsets[0] = UINT64_MAX;
  coded.frame.sliceSizes[1] = UINT32_MAX;
  coded.frame.availableSize = coded.frame.sliceOffsets[9];  // the chunk ends there, whatever the buffer holds
  EXPECT_EQ(coded.Decode(), 4);
  EXPECT_EQ(coded.frame.outsideSlices, 4);
  EXPECT_EQ(coded.out, WithSlicesOf(Picture(), kZeros, {0, 1, 9, 10}));
}

TEST(FrameDecode, DecodesARangeOfSlices) {
  CodedFrame coded(Format());
  coded.ByteOf(0, 3) ^= 1;  // not asked for
  const Samples untouched = coded.out;
  EXPECT_EQ(decode_slices(nullptr, &coded.frame, coded.data, coded.out.data(), kWidth * sizeof(uint16_t), 3, 5, nullptr, 0), 0);
  EXPECT_EQ(coded.out, WithSlicesOf(untouched, Picture(), {3, 4, 5}));
  EXPECT_EQ(decode_slices(nullptr, &coded.frame, coded.data, coded.out.data(), kWidth * sizeof(uint16_t), 9, 99, nullptr, 0), 0);
  EXPECT_EQ(decode_slices(nullptr, &coded.frame, coded.data, coded.out.data(), kWidth * sizeof(uint16_t), 6, 5, nullptr, 0), 0);
  EXPECT_EQ(coded.out, WithSlicesOf(untouched, Picture(), {3, 4, 5, 9, 10}));
}

TEST(FrameDecode, MissingScratchFailsTheTasksSlices) {
  CodedFrame coded(Format());
  FailAllocationForTest(0);
  EXPECT_EQ(coded.Decode(), int32_t(kSlices));
  FailAllocationForTest(-1);
  for (const uint8_t status : coded.frame.sliceStatus) EXPECT_EQ(status, kSliceInconsistent);
  EXPECT_EQ(coded.out, kZeros);
  EXPECT_EQ(coded.Decode(), 0);
}

TEST(FrameDecode, MapsValues) {
  const Samples coded = Picture();  // 0 … 4095
  struct Row {
    const char* what;
    int32_t tableMode;
    uint8_t shift;
    uint32_t flags;
    uint16_t (*expected)(uint16_t coded);
  };
  constexpr auto kAsCoded = [](uint16_t v) { return v; };
  const Row rows[] = {
      {"no shift", 0, 0, 0, kAsCoded},
      {"shift", 0, 3, 0, [](uint16_t v) { return uint16_t(v * 8); }},
      {"shift with a limit", 0, 6, 0, [](uint16_t v) { return uint16_t(v < 1024 ? v * 64 : 65535); }},
      {"shift beyond 16 bits", 0, 200, 0, [](uint16_t v) { return uint16_t(v == 0 ? 0 : 65535); }},
      {"unmapped", 0, 3, kDecodeUnmapped, kAsCoded},
      {"shift only", 0, 3, kDecodeShiftOnly, [](uint16_t v) { return uint16_t(v * 8); }},
      {"conditional means are for development", 1, 3, 0, kAsCoded},
      {"LUT; codes beyond it take its last entry", 2, 3, 0, [](uint16_t v) { return uint16_t(v < 1000 ? 5 * v + 7 : 5 * 999 + 7); }},
      {"LUT, unmapped", 2, 0, kDecodeUnmapped, kAsCoded},
      {"LUT, shift only", 2, 3, kDecodeShiftOnly, kAsCoded},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    QorixFrameFormat format = Format();
    format.sampleShift = row.shift;
    CodedFrame frame(format);
    frame.frame.tableMode = row.tableMode;
    auto table = std::make_shared<DecodingTable>();
    for (uint16_t v = 0; v < 1000; ++v) table->lut.push_back(uint16_t(5 * v + 7));
    frame.frame.table = table;
    const Samples before = Picture(3);
    frame.ByteOf(5, 8) ^= 4;
    EXPECT_EQ(frame.Decode(nullptr, &before, row.flags), 1);
    Samples expected(coded.size());
    std::transform(coded.begin(), coded.end(), expected.begin(), row.expected);
    EXPECT_EQ(frame.out, WithSlicesOf(expected, before, {5})) << "the substitute is mapped already";
  }
}

TEST(FrameHead, ChecksInOrder) {
  const auto good = [] {
    FrameHead head;
    head.width = 64;
    head.height = 10;
    head.rowsPerSlice = 4;
    head.sliceCount = 3;
    head.coder = 1;
    return head;
  };
  struct Row {
    void (*change)(FrameHead&);
    uint32_t slices;
    const char* message;
  };
  const Row rows[] = {
      {[](FrameHead&) {}, 3, ""},
      {[](FrameHead& h) { h.layout = 2; }, 3, ""},
      {[](FrameHead& h) { h.layout = 3, h.boundary = 2, h.parts = 0x20; }, 3, ""},
      {[](FrameHead& h) { h.coder = 0, h.layout = 3, h.boundary = 1, h.parts = 0x01; }, 3, ""},
      {[](FrameHead&) {}, 0, "slice table not in the head or empty frame (64x10, slices 0 of 3)"},
      {[](FrameHead& h) { h.width = 0, h.coder = 9; }, 3, "slice table not in the head or empty frame (0x10, slices 3 of 3)"},
      {[](FrameHead& h) { h.rowsPerSlice = 0; }, 3, "slice table not in the head or empty frame (64x10, slices 3 of 3)"},
      {[](FrameHead& h) { h.rowsPerSlice = 5, h.coder = 9; }, 3, "slices 3, but height 10 with 5 rows gives 2"},
      {[](FrameHead& h) { h.coder = 2, h.layout = 7; }, 3, "coder 2, predictor 0, mode 0 — not for this reader"},
      {[](FrameHead& h) { h.predictor = 2; }, 3, "coder 1, predictor 2, mode 0 — not for this reader"},
      {[](FrameHead& h) { h.mode = 2; }, 3, "coder 1, predictor 0, mode 2 — not for this reader"},
      {[](FrameHead& h) { h.layout = 1; }, 3, "layout 1 (parts 0x00, boundary 0) with coder 1 — do not decode"},
      {[](FrameHead& h) { h.coder = 0, h.layout = 2; }, 3, "layout 2 (parts 0x00, boundary 0) with coder 0 — do not decode"},
      {[](FrameHead& h) { h.layout = 4; }, 3, "layout 4 (parts 0x00, boundary 0) with coder 1 — do not decode"},
      {[](FrameHead& h) { h.layout = 3, h.parts = 0x22; }, 3, "layout 3 (parts 0x22, boundary 0) with coder 1 — do not decode"},
      {[](FrameHead& h) { h.layout = 3, h.boundary = 3, h.parts = 0x02; }, 3,
       "layout 3 (parts 0x02, boundary 3) with coder 1 — do not decode"},
      {[](FrameHead& h) { h.layout = 3, h.boundary = 1, h.parts = 0x12; }, 3,
       "layout 3 (parts 0x12, boundary 1) with coder 1 — do not decode"},
  };
  for (const Row& row : rows) {
    FrameHead head = good();
    row.change(head);
    MessageBuffer<200> message;
    EXPECT_EQ(CheckFrameHead(head, row.slices, message), *row.message == '\0');
    EXPECT_STREQ(message.text(), row.message);
  }
}

/// A scan of a file with one frame chunk, as much as reading its head needs.
struct OneFrameFile {
  std::vector<uint8_t> bytes;
  MemorySource source{{}};
  RecordingScan scan;

  explicit OneFrameFile(const QorixFrameFormat& format) {
    QorixWriter writer(QorixSinkTo(&bytes));
    EXPECT_TRUE(writer.Begin({}) && writer.WriteFrame(format, Picture(), 0, 1000) && writer.Finish());
    source = MemorySource(bytes);
    EXPECT_EQ(recording_scan(&scan, source, {}), 0);
  }
};

TEST(FrameHead, ReadsFieldsThatTheHeadCovers) {
  QorixFrameFormat format = Format();
  format.left = 12;
  format.top = 34;
  format.sampleShift = 2;
  format.flatThreshold = 777;
  format.parts = 0x21;
  format.boundary = 5;
  format.table = {7, 1.5f, 2.5f, 3.5f, -4.5f, 88, 90};
  OneFrameFile file(format);
  FrameHead head;
  ASSERT_EQ(file.scan.frames.size(), 1u);
  ChunkRecord chunk = file.scan.records[size_t(file.scan.frames[0].record)];
  ASSERT_TRUE(ReadFrameHead(&file.scan, chunk, &head));
  EXPECT_EQ(head.width, kWidth);
  EXPECT_EQ(head.height, kHeight);
  EXPECT_EQ(head.left, 12);
  EXPECT_EQ(head.top, 34);
  EXPECT_EQ(head.sampleShift, 2);
  EXPECT_EQ(head.coder, 1);
  EXPECT_EQ(head.predictor, 1);
  EXPECT_EQ(head.layout, 2);
  EXPECT_EQ(head.flatThreshold, 777);
  EXPECT_EQ(head.sliceCount, kSlices);
  EXPECT_EQ(head.rowsPerSlice, kRowsPerSlice);
  EXPECT_EQ(head.table, (TableParameters{7, 1.5f, 2.5f, 3.5f, -4.5f, 88, 90}));
  EXPECT_TRUE(head.hasSliceCrcs);
  EXPECT_EQ(head.parts, 0x21);
  EXPECT_EQ(head.boundary, 5);

  chunk.headLength = 71;  // the last byte of the table number is missing
  ASSERT_TRUE(ReadFrameHead(&file.scan, chunk, &head));
  EXPECT_EQ(head.rowsPerSlice, kRowsPerSlice);
  EXPECT_EQ(head.table, TableParameters{});
  EXPECT_FALSE(head.hasSliceCrcs);
  EXPECT_EQ(head.boundary, 0);

  chunk.offset = file.bytes.size() - 8;
  EXPECT_FALSE(ReadFrameHead(&file.scan, chunk, &head));
}

TEST(FrameSetup, FindsSlicesAndReportsMissingFrames) {
  OneFrameFile file(Format());
  TableCache tables;
  CameraModules modules;
  DecodedFrame frame;
  EXPECT_EQ(frame_setup(&file.scan, 1, &tables, &modules, nullptr, &frame), -1);
  EXPECT_STREQ(frame.message.text(), "frame 1 missing");
  EXPECT_EQ(frame_setup(&file.scan, -1, &tables, &modules, nullptr, &frame), -1);
  EXPECT_EQ(frame_setup(&file.scan, 0, &tables, &modules, nullptr, &frame), 0);
  ASSERT_TRUE(frame.decodable) << frame.message.text();
  ASSERT_LE(frame.sliceDataOffset + frame.sliceDataSize, file.bytes.size());
  EXPECT_GE(frame.availableSize, frame.sliceDataSize);
  EXPECT_LT(frame.availableSize, frame.sliceDataSize + 8);  // padding of the chunk
  const Bytes data = Bytes(file.bytes).subspan(size_t(frame.sliceDataOffset), size_t(frame.sliceDataSize));
  Samples out(size_t(kWidth) * kHeight);
  EXPECT_EQ(decode_slices(nullptr, &frame, data, out.data(), kWidth * sizeof(uint16_t), 0, kSlices - 1, nullptr, 0), 0);
  EXPECT_EQ(out, Picture());
}

TEST(FrameSetup, RefusesATableThatReachesOutOfTheChecksum) {
  OneFrameFile file(Format());
  ChunkRecord& chunk = file.scan.records[size_t(file.scan.frames[0].record)];
  chunk.usedSize -= 1;
  TableCache tables;
  CameraModules modules;
  DecodedFrame frame;
  EXPECT_EQ(frame_setup(&file.scan, 0, &tables, &modules, nullptr, &frame), 0);
  EXPECT_FALSE(frame.decodable);
  EXPECT_STREQ(frame.message.text(), "slice table not in the head or empty frame (70x43, slices 0 of 11)");
}

}  // namespace
}  // namespace qx
