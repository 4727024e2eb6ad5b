#include <cstdlib>

#include "media/frame_timeline.h"
#include "qorix/direct_output.h"
#include "tests/qorix/recording_support.h"

namespace qx {
namespace {

struct OpenReader {
  explicit OpenReader(const std::vector<uint8_t>& bytes) : file(bytes) {
    MessageBuffer<256> text;
    reader = qorix_reader_open(file, text);
    message = text.text();
  }
  MemorySource file;
  FrameSourcePtr reader;
  std::string message;
  RawFrame raw;
};

TEST(QorixReader, DecodesEveryCodingExactly) {
  struct Row {
    const char* name;
    uint8_t coder, layout, predictor, shift;
    uint16_t flat;
    bool crcs;
  };
  for (const Row& row : {Row{"plain", 0, 0, 0, 0, 0, true}, Row{"interleaved", 0, 1, 1, 0, 0, true}, Row{"Rice", 1, 0, 0, 0, 0, false},
                         Row{"two-part", 1, 2, 1, 0, 40, true}, Row{"split", 1, 3, 1, 0, 0, true}, Row{"shifted", 1, 2, 1, 2, 0, true}}) {
    SCOPED_TRACE(row.name);
    const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
      options.format.coder = row.coder;
      options.format.layout = row.layout;
      options.format.predictor = row.predictor;
      options.format.sampleShift = row.shift;
      options.format.flatThreshold = row.flat;
      options.format.sliceCrcs = row.crcs;
      if (row.layout == 3) {
        options.format.boundary = 2;
        options.format.parts = 0x02;
      }
    });
    OpenReader open(recording.file);
    ASSERT_NE(open.reader, nullptr) << open.message;
    ASSERT_EQ(open.reader->FrameCount(), 8);
    for (int32_t frame = 0; frame < 8; ++frame) {
      ASSERT_EQ(open.reader->ReadFrame(frame, &open.raw, kReadUnpacked), 0) << open.reader->LastMessage();
      EXPECT_EQ(SamplesOf(open.raw), ExpectedSamples(recording.options, frame)) << frame;
      EXPECT_EQ(open.raw.dng.bitsPerSample, 12u);
    }
    EXPECT_EQ(open.reader->ReadFrame(8, &open.raw, 0), -1);
    EXPECT_STREQ(open.reader->LastMessage(), "frame 8 missing");
  }
}

// A code stands for all linear values of its bin, so what comes back lies within a bin of what the sensor saw.
TEST(QorixReader, MapsCodesBackToLinearValues) {
  for (const QorixTable table : {QorixTable::kNoise, QorixTable::kBitDepthLinear, QorixTable::kBitDepthLog}) {
    for (const bool recorded : {false, true}) {
      SCOPED_TRACE(int(table) * 2 + recorded);
      const TestRecording recording = MakeTestRecording([&](QorixRecordingOptions& options) {
        options.table = table;
        options.codeBits = 9;
        options.tableChunk = recorded;
      });
      OpenReader open(recording.file);
      ASSERT_NE(open.reader, nullptr) << open.message;
      ASSERT_EQ(open.reader->ReadFrame(2, &open.raw, kReadUnpacked), 0) << open.reader->LastMessage();
      const std::vector<uint16_t> linear = LinearSamples(recording.options, 2);
      const std::vector<uint16_t> coded = CodedSamples(recording.options, 2);
      const std::vector<uint16_t> decoded = SamplesOf(open.raw);
      const std::vector<uint16_t>& table16 = open.raw.dng.linearization;
      double largest = 0;
      for (size_t i = 0; i < decoded.size(); ++i) {
        if (table == QorixTable::kNoise) {
          ASSERT_EQ(decoded[i], coded[i]) << "codes go to development with their table";
          ASSERT_LT(decoded[i], table16.size());
        }
        // Either way the samples have the scale of their white level.
        const double value = (table == QorixTable::kNoise ? table16[decoded[i]] : decoded[i]) / double(open.raw.dng.white) * 4095;
        largest = std::max(largest, std::abs(value - linear[i]) / std::max<double>(linear[i], 256));
      }
      EXPECT_LT(largest, table == QorixTable::kNoise ? 0.2 : 0.1);
    }
  }
}

TEST(QorixReader, BadSlicesComeFromTheLastGoodFrame) {
  TestRecording recording = MakeTestRecording();
  CorruptSlice(&recording.file, 0, 1);
  CorruptSlice(&recording.file, 3, 2);
  for (uint32_t slice = 0; slice < 4; ++slice) CorruptSlice(&recording.file, 5, slice);
  OpenReader open(recording.file);
  ASSERT_NE(open.reader, nullptr) << open.message;
  const size_t sliceSamples = 96 * 16;
  const auto slice = [&](std::vector<uint16_t> samples, size_t index) {
    return std::vector<uint16_t>(samples.begin() + ptrdiff_t(index * sliceSamples),
                                 samples.begin() + ptrdiff_t((index + 1) * sliceSamples));
  };

  ASSERT_EQ(open.reader->ReadFrame(0, &open.raw, 0), 0);
  EXPECT_EQ(slice(SamplesOf(open.raw), 1), std::vector<uint16_t>(sliceSamples, 0)) << "no good frame yet";
  EXPECT_EQ(slice(SamplesOf(open.raw), 2), slice(LinearSamples(recording.options, 0), 2));
  EXPECT_EQ(qorix_read_stats(*open.reader).badSlices, 1);
  EXPECT_EQ(qorix_read_stats(*open.reader).substitutedSlices, 0);
  EXPECT_STREQ(open.reader->LastDamage(), "1 of 4 slices damaged, none filled (no whole frame of this size was read before)");

  ASSERT_EQ(open.reader->ReadFrame(1, &open.raw, 0), 0);
  EXPECT_STREQ(open.reader->LastDamage(), "");
  ASSERT_EQ(open.reader->ReadFrame(3, &open.raw, 0), 0);
  EXPECT_EQ(slice(SamplesOf(open.raw), 2), slice(LinearSamples(recording.options, 1), 2));
  EXPECT_EQ(slice(SamplesOf(open.raw), 3), slice(LinearSamples(recording.options, 3), 3));
  EXPECT_EQ(qorix_read_stats(*open.reader).substitutedSlices, 1);
  EXPECT_STREQ(open.reader->LastDamage(), "1 of 4 slices damaged, 1 filled from frame 1");

  EXPECT_EQ(open.reader->ReadFrame(5, &open.raw, 0), -1);
  EXPECT_STREQ(open.reader->LastMessage(), "frame 5: all slices bad (4)");
  EXPECT_EQ(qorix_read_stats(*open.reader).badSlices, 4);
  EXPECT_EQ(open.reader->ReadFrame(6, &open.raw, 0), 0);
}

TEST(QorixReader, RefusesWhatHoldsNoFrame) {
  TestRecording recording = MakeTestRecording();
  recording.file.resize(recording.contents.chunks[1].offset);  // the header alone
  OpenReader open(recording.file);
  EXPECT_EQ(open.reader, nullptr);
  EXPECT_EQ(open.message, ".qorix: no whole frames (records 1, damaged areas 0)");
}

/// Whether an allocation was refused since FailAllocationForTest(n): if not, one of the next n + 1 is.
bool AllocationWasRefused(int64_t n) {
  for (int64_t i = 0; i <= n; ++i) {
    void* const block = AllocateAligned(1);
    if (block == nullptr) return false;
    FreeAligned(block);
  }
  return true;
}

// Each allocation of open, read and substitution fails in turn. What is delivered nevertheless has its samples and says what is bad.
TEST(QorixReader, SurvivesShortMemory) {
  TestRecording recording = MakeTestRecording();
  CorruptSlice(&recording.file, 3, 2);
  const std::vector<uint16_t> before = LinearSamples(recording.options, 1), whole = LinearSamples(recording.options, 3);
  bool refused = true;
  for (int64_t n = 0; refused; ++n) {
    SCOPED_TRACE(n);
    FailAllocationForTest(n);
    OpenReader open(recording.file);
    const auto read = [&](int32_t frame) {
      return open.reader->ReadFrame(frame, &open.raw, 0) == 0 ? "" : std::string(open.reader->LastMessage());
    };
    if (open.reader == nullptr) {
      EXPECT_EQ(open.message, ".qorix: out of memory");
    } else {
      const std::string message = read(1);
      if (message.empty()) {
        EXPECT_EQ(SamplesOf(open.raw), before);
      } else if (message != "frame 1: all slices bad (4)") {  // no scratch for the only task
        EXPECT_EQ(message, "out of memory for frame 1");
      }
      ASSERT_EQ(read(3), "");
      const QorixReadStats stats = qorix_read_stats(*open.reader);
      EXPECT_EQ(stats.badSlices, 1);
      std::vector<uint16_t> expected = whole;
      const auto bad = expected.begin() + 2 * 16 * 96;
      if (stats.substitutedSlices == 1) {
        std::copy_n(before.begin() + 2 * 16 * 96, 16 * 96, bad);
      } else {
        std::fill_n(bad, 16 * 96, 0);
      }
      EXPECT_EQ(SamplesOf(open.raw), expected);
    }
    refused = AllocationWasRefused(n);
    FailAllocationForTest(-1);
    EXPECT_TRUE(refused || (open.reader != nullptr && qorix_read_stats(*open.reader).substitutedSlices == 1));
  }
}

class FakeDirectOutput final : public DirectOutput {
 public:
  int32_t ReserveSlot(const DecodedFrame&) override { return slot; }
  int32_t LeadingSlices(int32_t, const DecodedFrame&) override { return leading; }
  uint16_t* SlotSamples(int32_t) override { return useOwnMemory ? memory.data() : nullptr; }
  void ReleaseSlot(int32_t) override { ++released; }
  void HandOver(int32_t, const DecodedFrame&, Bytes, const uint16_t* samples) override {
    ++handedOver;
    rows.assign(samples, samples + 96 * 64);
  }
  int32_t slot = 0, leading = 0;
  bool useOwnMemory = true;
  int released = 0, handedOver = 0;
  std::vector<uint16_t> memory = std::vector<uint16_t>(96 * 64), rows;
};

TEST(QorixReader, HandsSlicesToTheDirectOutput) {
  TestRecording recording = MakeTestRecording();
  CorruptSlice(&recording.file, 4, 0);
  OpenReader open(recording.file);
  ASSERT_NE(open.reader, nullptr);
  FakeDirectOutput direct;
  qorix_set_direct_output(*open.reader, &direct);
  for (const bool own : {true, false}) {
    direct.useOwnMemory = own;
    direct.leading = 1;
    ASSERT_EQ(open.reader->ReadFrame(2, &open.raw, 0), 0);
    EXPECT_EQ(open.raw.samples, nullptr) << "development has them";
    const std::vector<uint16_t> expected = LinearSamples(recording.options, 2);
    EXPECT_TRUE(std::equal(expected.begin() + 96 * 16, expected.end(), direct.rows.begin() + 96 * 16)) << "the slices left to the reader";
  }
  EXPECT_EQ(direct.handedOver, 2);
  ASSERT_EQ(open.reader->ReadFrame(4, &open.raw, 0), 0);
  EXPECT_EQ(direct.released, 1) << "the bad leading slice sends the frame the usual way";
  EXPECT_NE(open.raw.samples, nullptr);
  direct.slot = -1;
  ASSERT_EQ(open.reader->ReadFrame(3, &open.raw, 0), 0);
  EXPECT_EQ(SamplesOf(open.raw), LinearSamples(recording.options, 3));
  qorix_set_direct_output(*open.reader, nullptr);
}

TEST(QorixReader, SubstituteFollowsTheLastGoodFrame) {
  TestRecording recording = MakeTestRecording();
  CorruptSlice(&recording.file, 3, 2);
  CorruptSlice(&recording.file, 6, 2);
  OpenReader open(recording.file);
  for (const int32_t frame : {1, 3, 4, 6}) ASSERT_EQ(open.reader->ReadFrame(frame, &open.raw, 0), 0);
  const std::vector<uint16_t> good = LinearSamples(recording.options, 4);
  EXPECT_TRUE(std::equal(open.raw.samples + 2 * 96 * 16, open.raw.samples + 3 * 96 * 16, good.begin() + 2 * 96 * 16));
}

TEST(QorixReader, FrameOfAnotherWidthIsNoSubstitute) {
  std::vector<uint8_t> bytes;
  QorixWriter writer(QorixSinkTo(&bytes));
  ASSERT_TRUE(writer.Begin(SceneFileOptions()));
  for (const uint16_t width : {uint16_t(16), uint16_t(32)}) {
    ASSERT_TRUE(writer.WriteFrame({.width = width, .height = 16, .rowsPerSlice = 8}, std::vector<uint16_t>(size_t(width) * 16, 100),
                                  width / 32, width * 1000000));
  }
  ASSERT_TRUE(writer.Finish());
  CorruptSlice(&bytes, 1, 1);
  OpenReader open(bytes);
  ASSERT_NE(open.reader, nullptr) << open.message;
  ASSERT_EQ(open.reader->ReadFrame(0, &open.raw, 0), 0);
  ASSERT_EQ(open.reader->ReadFrame(1, &open.raw, 0), 0) << open.reader->LastMessage();
  EXPECT_EQ(qorix_read_stats(*open.reader).substitutedSlices, 0);
  EXPECT_EQ(open.raw.samples[32 * 8], 0);
}

}  // namespace
}  // namespace qx
