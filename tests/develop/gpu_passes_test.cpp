// The compute passes, stage by stage, against the formulas: integers identical.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include "ahd_reference.h"
#include "cpu_reference.h"
#include "develop/gpu/gpu_session.h"
#include "tests/gpu_support/gpu_fixture.h"
#include "tests/gpu_support/gpu_images.h"
#include "tests/gpu_support/raw_scene.h"

namespace qx {

namespace {

constexpr Demosaic kMethods[] = {Demosaic::kGradient5x5, Demosaic::kAhd, Demosaic::kBilinear, Demosaic::kAhdRefined};

/// The record of an uncompressed DNG's one strip behind `offset` bytes: `bits` a sample, rows of whole bytes.
std::vector<uint8_t> PackSamples(DngInfo* camera, const std::vector<uint16_t>& samples, uint32_t bits, bool bigEndian, uint64_t offset) {
  std::vector<uint8_t> record(offset, 0xee);
  for (uint32_t y = 0; y < camera->height; ++y) {
    uint64_t pending = 0;
    uint32_t pendingBits = 0;
    for (uint32_t x = 0; x < camera->width; ++x) {
      const uint32_t s = samples[size_t(y) * camera->width + x];
      const bool swapped = bits == 16 && !bigEndian;
      pending = pending << bits | (swapped ? (s & 255) << 8 | s >> 8 : s);
      pendingBits += bits;
      for (; pendingBits >= 8; pendingBits -= 8) record.push_back(uint8_t(pending >> (pendingBits - 8)));
    }
    if (pendingBits > 0) record.push_back(uint8_t(pending << (8 - pendingBits)));
  }
  camera->bitsPerSample = bits;
  camera->bigEndian = bigEndian;
  camera->contiguous = true;
  camera->stripOffsets = {offset};
  camera->totalStripBytes = record.size() - offset;
  camera->stripByteCounts = {camera->totalStripBytes};
  camera->rowsPerStrip = camera->height;
  return record;
}

std::unique_ptr<GpuSession> MakeSession(const DngInfo& camera, DevelopParams params) {
  params.slots = 1;
  params.widthAlign = 1;
  MessageBuffer<512> message;
  auto session = GpuSession::Create(camera, params, message);
  EXPECT_NE(session, nullptr) << message.text();
  return session;
}

/// What the colour step makes of the integers, in the order of the float operations.
std::vector<float> ColorStepOf(const std::vector<uint16_t>& rgb, const ColorState& color) {
  std::vector<float> linear;
  const auto& m = color.cameraToRec709;
  for (size_t i = 0; i < rgb.size(); i += 3) {
    const float r = float(rgb[i]) * (1.0f / 65535), g = float(rgb[i + 1]) * (1.0f / 65535), b = float(rgb[i + 2]) * (1.0f / 65535);
    for (size_t row = 0; row < 9; row += 3) linear.push_back(std::max((m[row] * r + m[row + 1] * g + m[row + 2] * b) * color.gain, 0.0f));
  }
  return linear;
}

}  // namespace

TEST(GpuPasses, UnpackEveryLayoutOfSamples) {
  QX_GPU_OR_SKIP(gpu);
  const auto session = MakeSession(MakePhoneCamera(48, 34), {});
  struct Row {
    uint32_t bits;
    bool bigEndian = true;
    uint64_t offset = 0;
  };
  // 47 columns: rows of the odd widths end in the middle of a byte, and samples lie across words.
  for (const Row& row :
       {Row{8}, Row{9}, Row{10, true, 5}, Row{11}, Row{12, false, 130}, Row{13}, Row{14}, Row{15}, Row{16, true, 3}, Row{16, false, 8}}) {
    SCOPED_TRACE(testing::Message() << row.bits << " bits" << (row.bigEndian ? ", big-endian" : ""));
    DngInfo camera = MakePhoneCamera(47, 34);
    camera.activeLeft = 3, camera.activeTop = 1, camera.activeRight = 46, camera.activeBottom = 30;
    camera.cropWidth = 40, camera.cropHeight = 28;
    const uint32_t most = (1u << row.bits) - 1;
    camera.white = float(most) * 0.9f;
    camera.black = {0, 10.5f, 7, 3};
    std::vector<uint16_t> samples = MakeSceneSamples(camera, row.bits);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = uint16_t((samples[i] * 977u + i * 31u) & most);
    samples[100] = uint16_t(most);
    const auto record = PackSamples(&camera, samples, row.bits, row.bigEndian, row.offset);
    RawFrame raw;
    raw.described = &camera;
    raw.data = Bytes(record);
    MessageBuffer<256> message;
    ASSERT_EQ(session->Develop(raw, 0, 0, nullptr, message), 0) << message.text();
    const auto mosaic = ReadIntegers(gpu, GpuLinearPasses(*session->developer()).mosaic());
    const auto expected = ReferenceMosaic(camera, samples, {});
    EXPECT_EQ(mosaic, std::vector<uint32_t>(expected.begin(), expected.end()));
  }
}

TEST(GpuPasses, UnpackLikeTheFormulas) {
  QX_GPU_OR_SKIP(gpu);
  struct Row {
    const char* name;
    std::function<void(DngInfo&)> change;
    float vignetteStrength = 1;
  };
  const Row rows[] = {
      {"levels of each phase",
       [](DngInfo& c) {
         c.black = {0, 100.5f, 33, 64}, c.white = 900;
       }},
      {"white below black", [](DngInfo& c) { c.white = 40; }},
      {"linearization with an odd number of entries",
       [](DngInfo& c) {
         for (int i = 0; i < 701; ++i) c.linearization.push_back(uint16_t(i * i / 500));
       }},
      {"gain maps of each phase, with different points",
       [](DngInfo& c) {
         for (uint32_t i = 0; i < 4; ++i) c.gainMaps.push_back(MakeSceneGainMap(i / 2, i % 2, 34, 48, 2, 0.1f * float(i + 1)));
         c.gainMaps[2].pointsV = 2, c.gainMaps[2].pointsH = 10, c.gainMaps[2].spacingH = 0.11, c.gainMaps[2].originH = 0.02;
       }},
      {"one gain map over a part", [](DngInfo& c) { c.gainMaps.push_back(MakeSceneGainMap(4, 7, 29, 40, 1, 0.2f)); }},
      {"a gain map with one point",
       [](DngInfo& c) {
         c.gainMaps.push_back(MakeSceneGainMap(0, 0, 34, 48, 1, 0.2f));
         c.gainMaps[0].pointsV = c.gainMaps[0].pointsH = 1, c.gainMaps[0].gains = {1.3f};
       }},
      {"a spacing of zero", [](DngInfo& c) { c.gainMaps.push_back(MakeSceneGainMap(0, 0, 34, 48, 1, 0.2f)), c.gainMaps[0].spacingH = 0; }},
      {"weaker gain maps", [](DngInfo& c) { c.gainMaps.push_back(MakeSceneGainMap(0, 0, 34, 48, 1, 0.2f)); }, 0.5f},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    DngInfo camera = MakePhoneCamera(48, 34);
    row.change(camera);
    DevelopParams params;
    params.vignetteStrength = row.vignetteStrength;
    const auto session = MakeSession(camera, params);
    const auto samples = MakeSceneSamples(camera, 2);
    MessageBuffer<256> message;
    ASSERT_EQ(session->Develop(SceneRaw(camera, {}, samples), 0, 0, nullptr, message), 0) << message.text();
    auto expected = ReferenceMosaic(camera, samples, params);
    if (camera.white < camera.black[0]) std::fill(expected.begin(), expected.end(), uint16_t(0));
    const auto mosaic = ReadIntegers(gpu, GpuLinearPasses(*session->developer()).mosaic());
    EXPECT_EQ(mosaic, std::vector<uint32_t>(expected.begin(), expected.end()));
  }
}

// Sizes that fill tiles exactly, leave one pixel over, and are smaller than a tile.
TEST(GpuPasses, DebayerLikeTheFormulas) {
  QX_GPU_OR_SKIP(gpu);
  uint32_t seed = 1;
  for (const Demosaic method : kMethods) {
    DevelopParams params;
    params.demosaic = method;
    const auto session = MakeSession(MakePhoneCamera(48, 34), params);
    for (const Size size : {Size{8, 8}, Size{16, 8}, Size{17, 9}, Size{33, 26}, Size{48, 34}}) {
      for (const auto& pattern : kBayerPatterns) {
        SCOPED_TRACE(testing::Message() << "method " << int(method) << ", " << size.width << " x " << size.height << ", pattern "
                                        << int(pattern[0]) << int(pattern[1]));
        DngInfo camera = MakePhoneCamera(size.width, size.height);
        camera.cfa = pattern;
        auto samples = MakeSceneSamples(camera, ++seed);
        for (size_t i = 0; i < samples.size(); i += 11) samples[i] = i % 2 != 0 ? 0 : 65535;  // both ends of the range
        MessageBuffer<256> message;
        ASSERT_EQ(session->Develop(SceneRaw(camera, {}, samples), 0, 0, nullptr, message), 0) << message.text();

        const ColorState color = ComputeColorState(camera, params);
        const auto mosaic = ReferenceMosaic(camera, samples, params);
        const bool ahd = method == Demosaic::kAhd || method == Demosaic::kAhdRefined;
        const auto rgb = ahd ? ReferenceAhd(mosaic, size.width, size.height, pattern, color.labMatrix, method == Demosaic::kAhdRefined)
                             : ReferenceDebayer(mosaic, size.width, size.height, pattern, method);
        const auto expected = ColorStepOf(rgb, color);
        const auto linear = ReadRgb(gpu, GpuLinearPasses(*session->developer()).linear());
        ASSERT_EQ(linear.size(), expected.size());
        // The float step may round differently in its last place; one integer too many or too few would show as more than 1e-5.
        for (size_t i = 0; i < linear.size(); ++i) ASSERT_NEAR(linear[i], expected[i], 2e-6) << i;
      }
    }
  }
  EXPECT_EQ(gpu.TakeErrors(), std::vector<std::string>());
}

}  // namespace qx
