#include "pipeline/gpu_upload.h"

#include <gtest/gtest.h>

#include <random>

#include "pipeline/clip_impl.h"
#include "tests/pipeline/fake_recording.h"

namespace qx {

TEST(GpuUpload, PacksRowsOfEveryWidthBitByBit) {
  std::mt19937 random(1);
  for (uint32_t bits = 8; bits <= 16; ++bits) {
    for (const uint32_t width : {1u, 3u, 4u, 5u, 8u, 37u}) {
      SCOPED_TRACE(testing::Message() << bits << " bits, " << width << " samples");
      const uint16_t largest = uint16_t((1u << bits) - 3);
      std::vector<uint16_t> samples;
      for (uint32_t x = 0; x < width; ++x) samples.push_back(uint16_t(random()));
      std::vector<uint8_t> packed((width * bits + 7) / 8 + 1, 0xaa);  // one byte more, which must stay
      PackSampleRow(samples.data(), width, bits, largest, packed.data());
      for (uint32_t bit = 0; bit < width * bits; ++bit) {
        const uint32_t sample = std::min(samples[bit / bits], largest);
        ASSERT_EQ(packed[bit / 8] >> (7 - bit % 8) & 1, int(sample >> (bits - 1 - bit % bits) & 1)) << bit;
      }
      EXPECT_EQ(packed.back(), 0xaa);
    }
  }
}

TEST(GpuUpload, TheFirstFrameSettlesTheWidthOfTheClip) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  struct Frame {
    float white;
    std::vector<uint16_t> linearization;
    bool decoded;  // 16-bit samples, else as stored (16 bits too)
    uint32_t bits;
    uint16_t largest;  // 0: not packed
  };
  struct Row {
    const char* name;
    ContainerKind kind;
    std::vector<Frame> frames;
    std::string line;
  };
  const std::vector<uint16_t> table(1024);
  const Row rows[] = {
      {"white level",
       ContainerKind::kRawZip,
       {{1023, {}, true, 10, 1022}, {900, {}, true, 10, 899}, {1024, {}, true, 10, 1023}, {1025, {}, true, 16, 0}},
       "upload: 10-bit samples for the clip (packed)"},
      {"narrow white", ContainerKind::kRawZip, {{17, {}, true, 8, 16}}, "upload: 8-bit samples for the clip (packed)"},
      {"no white, archive", ContainerKind::kRawZip, {{0, {}, true, 16, 65535}}, "upload: 16-bit samples for the clip (packed)"},
      {"no white, recording", ContainerKind::kQorix, {{0, {}, true, 14, 16383}}, "upload: 14-bit samples for the clip (packed)"},
      {"white above 16 bits", ContainerKind::kRawZip, {{1e9f, {}, true, 16, 65535}}, "upload: 16-bit samples for the clip (packed)"},
      {"linearisation table", ContainerKind::kQorix, {{400, table, true, 10, 1023}}, "upload: 10-bit samples for the clip (packed)"},
      {"stored samples first",
       ContainerKind::kRawZip,
       {{1023, {}, false, 16, 0}, {1023, {}, true, 16, 1022}},
       "upload: 16-bit samples for the clip (as stored)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    recording.kind = row.kind;
    const ClipPtr clip = OpenFakeClip(pipeline);
    LogCapture log;
    for (const Frame& frame : row.frames) {
      DngInfo info = *clip->camera;
      info.white = frame.white;
      info.linearization = frame.linearization;
      const std::vector<uint16_t> samples(size_t(info.width) * info.height);
      RawFrame raw;
      raw.described = &info;
      raw.data = Bytes(reinterpret_cast<const uint8_t*>(samples.data()), samples.size() * 2);
      if (frame.decoded) raw.samples = samples.data();
      const UploadPlan plan = PlanUpload(*clip, raw, {});
      ASSERT_TRUE(plan.byReader);
      EXPECT_EQ(plan.layout.bits, frame.bits);
      EXPECT_EQ(plan.packs, frame.largest != 0);
      if (plan.packs) {
        EXPECT_EQ(plan.largest, frame.largest);
        EXPECT_TRUE(plan.layout.bigEndian);
        EXPECT_EQ(plan.bytes, uint64_t((info.width * frame.bits + 7) / 8) * info.height);
      }
    }
    EXPECT_EQ(log.lines(), std::vector<std::string>{row.line});
  }
}

TEST(GpuUpload, FollowsTheSwitches) {
  FakeRecording recording;
  FramePipeline pipeline(MakeFakeBackend(recording), SmallConfig());
  const ClipPtr clip = OpenFakeClip(pipeline);
  const std::vector<uint16_t> samples(size_t(clip->camera->width) * clip->camera->height);
  RawFrame raw;
  raw.described = clip->camera;
  raw.samples = samples.data();
  GpuSwitches switches;
  switches.readerUpload = false;
  EXPECT_FALSE(PlanUpload(*clip, raw, switches).byReader);
  switches = {};
  switches.packing = false;
  EXPECT_FALSE(PlanUpload(*clip, raw, switches).packs);
  EXPECT_TRUE(PlanUpload(*clip, raw, {}).packs);
  raw.samples = nullptr;  // and no stored bytes
  EXPECT_FALSE(PlanUpload(*clip, raw, {}).byReader);
}

TEST(GpuSwitches, AreSetByTheMereExistenceOfTheirVariables) {
  const auto all = ReadGpuSwitches([](const char*, size_t) { return std::optional<std::string>("0"); });
  EXPECT_FALSE(all.outputPass || all.direct || all.readerUpload || all.packing);
  EXPECT_TRUE(all.timing);
  const auto none = ReadGpuSwitches([](const char*, size_t) { return std::nullopt; });
  EXPECT_TRUE(none.outputPass && none.direct && none.readerUpload && none.packing);
  EXPECT_FALSE(none.timing);
}

}  // namespace qx
