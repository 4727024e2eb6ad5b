#include "develop/cpu/cpu_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>

#include "base/grow_buffer.h"
#include "cpu_reference.h"
#include "tests/gpu_support/raw_scene.h"

namespace qx {

namespace {

struct Scene {
  DngInfo camera = MakePhoneCamera(48, 34);
  RectilinearWarp warp;
  DevelopParams params;
  WorkerPool* pool = nullptr;
  uint32_t seed = 1;
};

struct Developed {
  Size size;
  std::vector<uint16_t> codes;
  std::vector<float> linear;
};

Developed Develop(const Scene& scene, const std::vector<uint16_t>& samples) {
  MessageBuffer<256> message;
  const CpuSessionPtr session = CreateCpuSession(scene.camera, scene.params, scene.pool, message);
  EXPECT_NE(session, nullptr) << message.text();
  if (session == nullptr) return {};
  Developed result;
  result.size = CpuSessionOutputSize(*session);
  result.codes.resize(size_t(result.size.width) * size_t(result.size.height) * 3);
  const SceneRaw raw(scene.camera, scene.warp, samples);
  EXPECT_EQ(DevelopFrameCpu(session.get(), raw, 7, result.codes.data(), message), 0) << message.text();
  if (scene.params.outputKind == OutputKind::kLinear && scene.params.lut == nullptr) {
    result.linear.resize(result.codes.size());
    EXPECT_EQ(DevelopFrameCpu(session.get(), raw, 7, nullptr, message), 0) << message.text();
    ReadFloatRgb(*session, 0, result.linear.data(), 0, result.size.height);
  }
  return result;
}

// The float stages may round differently in the last place, which moves a code by one where the formula lies between two. The steep start
// of the log curves and the jump of the Rec.709 curve at 0.018 widen that a little; `tolerance` is in codes.
void ExpectLikeReference(const Scene& scene, int tolerance) {
  const auto samples = MakeSceneSamples(scene.camera, scene.seed);
  const Developed developed = Develop(scene, samples);
  const ReferenceFrame reference = ReferenceDevelop(scene.camera, scene.warp, samples, scene.params);
  ASSERT_EQ(developed.size, reference.size);
  ASSERT_EQ(developed.codes.size(), reference.codes.size());
  int different = 0, worst = 0;
  for (size_t i = 0; i < developed.codes.size(); ++i) {
    const int error = std::abs(int(developed.codes[i]) - int(reference.codes[i]));
    different += error != 0;
    worst = std::max(worst, error);
  }
  EXPECT_LE(worst, tolerance);
  EXPECT_LT(different, int(developed.codes.size()) / 50);
}

}  // namespace

TEST(CpuSession, DevelopsLikeTheFormulas) {
  struct Row {
    const char* name;
    std::function<void(Scene&)> change;
  };
  const auto lut = MakeSceneLut(true, true);
  const Row rows[] = {
      {"plain", [](Scene&) {}},
      {"crop inside the active area",
       [](Scene& s) { s.camera.cropX = 5, s.camera.cropY = 3, s.camera.cropWidth = 38, s.camera.cropHeight = 27; }},
      {"odd active area",
       [](Scene& s) {
         s.camera.activeLeft = 3, s.camera.activeTop = 1, s.camera.activeRight = 46, s.camera.activeBottom = 30;
         s.camera.cropWidth = 41, s.camera.cropHeight = 29;
       }},
      {"crop beyond the active area", [](Scene& s) { s.camera.activeRight = 37, s.camera.activeBottom = 27; }},
      {"smallest area", [](Scene& s) { s.camera = MakePhoneCamera(8, 8); }},
      {"blue first", [](Scene& s) { s.camera = MakePhoneCamera(45, 19), s.camera.cfa = kBayerPatterns[1]; }},
      {"green and red first", [](Scene& s) { s.camera = MakePhoneCamera(45, 19), s.camera.cfa = kBayerPatterns[2]; }},
      {"green and blue first", [](Scene& s) { s.camera = MakePhoneCamera(45, 19), s.camera.cfa = kBayerPatterns[3]; }},
      {"levels of each phase",
       [](Scene& s) {
         s.camera.black = {0, 100.5f, 33, 64}, s.camera.white = 900;
       }},
      {"linearization",
       [](Scene& s) {
         for (int i = 0; i < 700; ++i) s.camera.linearization.push_back(uint16_t(i * i / 500));
       }},
      {"gain maps of each phase",
       [](Scene& s) {
         for (uint32_t i = 0; i < 4; ++i) s.camera.gainMaps.push_back(MakeSceneGainMap(i / 2, i % 2, 34, 48, 2, 0.1f * float(i + 1)));
       }},
      {"one gain map over a part", [](Scene& s) { s.camera.gainMaps.push_back(MakeSceneGainMap(4, 7, 29, 40, 1, 0.2f)); }},
      {"weaker gain maps",
       [](Scene& s) { s.camera.gainMaps.push_back(MakeSceneGainMap(0, 0, 34, 48, 1, 0.2f)), s.params.vignetteStrength = 0.5f; }},
      {"highlights", [](Scene& s) { s.params.exposureEv = 2.5f; }},
      {"no knee", [](Scene& s) { s.params.exposureEv = -1.5f; }},
      {"DaVinci Intermediate", [](Scene& s) { s.params.outputKind = OutputKind::kDaVinciIntermediate; }},
      {"S-Log3", [](Scene& s) { s.params.outputKind = OutputKind::kSLog3; }},
      {"linear", [](Scene& s) { s.params.outputKind = OutputKind::kLinear; }},
      {"LUT", [&](Scene& s) { s.params.lut = lut.get(), s.params.outputKind = OutputKind::kSLog3; }},
      {"barrel distortion", [](Scene& s) { s.warp = MakeSceneWarp(1, -0.1, 0.01); }},
      {"pincushion distortion", [](Scene& s) { s.warp = MakeSceneWarp(0.9, 0.1, 0); }},
      {"weaker warp", [](Scene& s) { s.warp = MakeSceneWarp(1, -0.2, 0), s.params.warpStrength = 0.3f; }},
      {"warp that turns the image over", [](Scene& s) { s.warp = MakeSceneWarp(-1, 0, 0); }},
  };
  for (const Row& row : rows) {
    for (Demosaic method : {Demosaic::kGradient5x5, Demosaic::kBilinear, Demosaic::kAhd, Demosaic::kAhdRefined}) {
      SCOPED_TRACE(std::string(row.name) + ", method " + std::to_string(int(method)));
      Scene scene;
      scene.params.outputKind = OutputKind::kRec709;
      scene.params.demosaic = method;
      row.change(scene);
      ExpectLikeReference(scene, 1);
    }
  }
}

// A clip only has a half size when it is higher than 1080 rows, so these frames are narrow.
TEST(CpuSession, HalvesLikeTheFormulas) {
  struct Row {
    const char* name;
    int width;
    bool warp;
    int masked = 0;
  };
  for (const Row& row : {Row{"exactly two to one", 32, false}, Row{"a width that does not divide", 34, false}, Row{"with warp", 32, true},
                         Row{"crop beyond the active area", 32, false, 4}}) {
    SCOPED_TRACE(row.name);
    Scene scene;
    scene.camera = MakePhoneCamera(row.width, 2160);
    scene.params.scaleCode = 2;
    scene.params.outputKind = OutputKind::kRec709;
    if (row.warp) scene.warp = MakeSceneWarp(1, -0.02, 0.001);
    scene.camera.activeRight -= uint32_t(row.masked);
    ExpectLikeReference(scene, 1);
  }
}

TEST(CpuSession, GivesTheSameFrameWithAnyNumberOfThreads) {
  for (Demosaic method : {Demosaic::kGradient5x5, Demosaic::kAhdRefined}) {
    for (bool warp : {false, true}) {
      Scene scene;
      scene.params.demosaic = method;
      if (warp) scene.warp = MakeSceneWarp(1, -0.15, 0.01);
      const auto samples = MakeSceneSamples(scene.camera, 3);
      const Developed alone = Develop(scene, samples);
      for (int threads = 1; threads <= 4; ++threads) {
        SCOPED_TRACE(testing::Message() << threads << " threads, method " << int(method) << (warp ? ", warp" : ""));
        const WorkerPoolPtr pool = worker_pool_create(threads);
        scene.pool = pool.get();
        EXPECT_EQ(Develop(scene, samples).codes, alone.codes);
      }
    }
  }
}

TEST(CpuSession, ReadsLinearValuesAboveWhite) {
  Scene scene;
  scene.params.outputKind = OutputKind::kLinear;
  scene.params.exposureEv = 1;
  const auto samples = MakeSceneSamples(scene.camera, 5);
  const Developed developed = Develop(scene, samples);
  const ReferenceFrame reference = ReferenceDevelop(scene.camera, scene.warp, samples, scene.params);
  const auto gamut = GamutMatrix(OutputKind::kLinear);
  ASSERT_EQ(developed.linear.size(), reference.linear.size());
  float largest = 0;
  for (size_t i = 0; i < developed.linear.size(); ++i) {
    const double* rgb = &reference.linear[i / 3 * 3];
    const float* row = &gamut[i % 3 * 3];
    ASSERT_NEAR(developed.linear[i], row[0] * rgb[0] + row[1] * rgb[1] + row[2] * rgb[2], 1e-5) << i;
    largest = std::max(largest, developed.linear[i]);
  }
  EXPECT_GT(largest, 2);
}

// What changes from frame to frame must not stick to the session.
TEST(CpuSession, FollowsEachFramesDescription) {
  DevelopParams params;
  params.outputKind = OutputKind::kRec709;
  params.demosaic = Demosaic::kAhd;
  DngInfo camera = MakePhoneCamera(48, 34);
  camera.cropX = 4, camera.cropWidth = 40;
  MessageBuffer<256> message;
  const CpuSessionPtr session = CreateCpuSession(camera, params, nullptr, message);
  ASSERT_NE(session, nullptr);
  const std::function<void(DngInfo&, RectilinearWarp&)> changes[] = {
      [](DngInfo&, RectilinearWarp&) {},
      [](DngInfo& c, RectilinearWarp&) {
        c.black = {10, 20, 30, 40}, c.baselineExposure = 0.5;
      },
      [](DngInfo& c, RectilinearWarp&) {
        c.asShotNeutral = {0.8, 1, 0.4};
      },
      [](DngInfo&, RectilinearWarp& warp) { warp = MakeSceneWarp(1, -0.1, 0); },
      [](DngInfo&, RectilinearWarp& warp) { warp = MakeSceneWarp(0.95, 0.1, 0); },
      [](DngInfo&, RectilinearWarp& warp) { warp = MakeSceneWarp(0.95, 0.1, 0), warp.plane[0].kr[3] = 0.05; },
      [](DngInfo& c, RectilinearWarp&) { c.gainMaps.push_back(MakeSceneGainMap(0, 0, 34, 48, 1, 0.3f)); },
      [](DngInfo& c, RectilinearWarp&) { c.cropX = 6; },
      [](DngInfo& c, RectilinearWarp&) {
        c.cfa = {2, 1, 1, 0};
      },
  };
  for (size_t i = 0; i < std::size(changes); ++i) {
    SCOPED_TRACE(i);
    Scene scene;
    scene.camera = camera;
    scene.params = params;
    changes[i](scene.camera, scene.warp);
    const auto samples = MakeSceneSamples(scene.camera, uint32_t(i));
    std::vector<uint16_t> codes(40 * 34 * 3);
    ASSERT_EQ(DevelopFrameCpu(session.get(), SceneRaw(scene.camera, scene.warp, samples), 0, codes.data(), message), 0) << message.text();
    EXPECT_EQ(codes, Develop(scene, samples).codes);
  }
}

TEST(CpuSession, SurvivesSenselessDescriptions) {
  const double nan = std::nan(""), huge = 1e300;
  enum Outcome { kBlack, kDeveloped, kFailed };
  struct Row {
    const char* name;
    Outcome outcome;
    std::function<void(Scene&)> change;
  };
  const Row rows[] = {
      {"white at black", kBlack, [](Scene& s) { s.camera.white = 64; }},
      {"white below black", kBlack, [](Scene& s) { s.camera.white = 0; }},
      {"levels that are no numbers", kBlack, [&](Scene& s) { s.camera.black[2] = float(nan), s.camera.white = float(nan); }},
      {"no light", kBlack, [](Scene& s) { s.params.exposureEv = -1000; }},
      {"endless light", kDeveloped, [](Scene& s) { s.params.exposureEv = 1000; }},
      {"a warp that is no number", kDeveloped, [&](Scene& s) { s.warp = MakeSceneWarp(nan, 0, 0); }},
      {"an endless warp", kDeveloped, [&](Scene& s) { s.warp = MakeSceneWarp(huge, -huge, nan); }},
      {"a warp to one point", kDeveloped, [](Scene& s) { s.warp = MakeSceneWarp(0, 0, 0); }},
      {"a wild warp", kDeveloped, [](Scene& s) { s.warp = MakeSceneWarp(-1e5, 30, 5); }},
      {"a crop far outside", kFailed, [](Scene& s) { s.camera.cropX = 1e9f; }},
  };
  // S-Log3 has black at 95 of 1023.
  for (const auto& [kind, black] :
       {std::pair(OutputKind::kRec709, 0), std::pair(OutputKind::kSLog3, 6086), std::pair(OutputKind::kLinear, 0)}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(testing::Message() << row.name << ", kind " << int(kind));
      Scene scene;
      scene.params.outputKind = kind;
      row.change(scene);
      const auto samples = MakeSceneSamples(scene.camera, 1);
      MessageBuffer<256> message;
      const CpuSessionPtr session = CreateCpuSession(scene.camera, scene.params, nullptr, message);
      ASSERT_NE(session, nullptr);
      std::vector<uint16_t> codes(48 * 34 * 3, 1);
      const int result = DevelopFrameCpu(session.get(), SceneRaw(scene.camera, scene.warp, samples), 0, codes.data(), message);
      EXPECT_EQ(result, row.outcome == kFailed ? -1 : 0);
      EXPECT_STREQ(message.text(), row.outcome == kFailed ? "frame 0: CPU development failed" : "");
      if (row.outcome == kBlack) {
        EXPECT_EQ(codes, std::vector<uint16_t>(codes.size(), uint16_t(black)));
      }
    }
  }
}

TEST(CpuSession, SaysWhyItCannotDevelop) {
  MessageBuffer<256> message;
  DngInfo camera = MakePhoneCamera(48, 34);
  DevelopParams params;
  camera.cfa = {0, 1, 2, 1};
  EXPECT_EQ(CreateCpuSession(camera, params, nullptr, message), nullptr);
  EXPECT_STREQ(message.text(), "CFA is not Bayer: the full frame cannot be developed");

  camera = MakePhoneCamera(48, 34);
  params.outputKind = OutputKind(9);
  EXPECT_EQ(CreateCpuSession(camera, params, nullptr, message), nullptr);
  EXPECT_STREQ(message.text(), "unknown curve 9");

  params.outputKind = OutputKind::kRec709;
  const CpuSessionPtr session = CreateCpuSession(camera, params, nullptr, message);
  ASSERT_NE(session, nullptr);
  const auto samples = MakeSceneSamples(camera, 1);
  std::vector<uint16_t> codes(48 * 34 * 3);
  DngInfo other = MakePhoneCamera(56, 34);
  struct Row {
    const char* name;
    const DngInfo* described;
    const uint16_t* samples;
    uint16_t* codes;
  };
  for (const Row& row : {Row{"no samples", &camera, nullptr, codes.data()}, Row{"no description", nullptr, samples.data(), codes.data()},
                         Row{"another size", &other, samples.data(), codes.data()}, Row{"no place", &camera, samples.data(), nullptr}}) {
    SCOPED_TRACE(row.name);
    RawFrame raw;
    raw.described = row.described;
    raw.samples = row.samples;
    EXPECT_EQ(DevelopFrameCpu(session.get(), raw, 12, row.codes, message), -1);
    EXPECT_STREQ(message.text(), "frame 12: CPU development failed");
  }
}

// One allocation after the other fails until none is left to fail.
TEST(CpuSession, ReportsShortMemory) {
  for (OutputKind kind : {OutputKind::kRec709, OutputKind::kLinear}) {
    Scene scene;
    scene.params.outputKind = kind;
    int failures = 0;
    for (bool created = false; !created; failures += !created) {
      MessageBuffer<256> message;
      FailAllocationForTest(failures);
      created = CreateCpuSession(scene.camera, scene.params, nullptr, message) != nullptr;
      FailAllocationForTest(-1);
      EXPECT_STREQ(message.text(), created ? "" : "out of memory") << failures;
    }
    EXPECT_GE(failures, 4);
  }
}

// A frame with gain maps and a warp needs more than the clip's camera data made room for. The session goes on after a failure.
TEST(CpuSession, ReportsShortMemoryOfAFrame) {
  Scene scene;
  const DngInfo clip = scene.camera;
  scene.camera.gainMaps.push_back(MakeSceneGainMap(0, 0, 34, 48, 1, 0.2f));
  scene.warp = MakeSceneWarp(1, -0.1, 0);
  const auto samples = MakeSceneSamples(scene.camera, 1);
  const auto expected = Develop(scene, samples).codes;
  const SceneRaw raw(scene.camera, scene.warp, samples);
  int failures = 0;
  for (bool developed = false; !developed; failures += !developed) {
    MessageBuffer<256> message;
    const CpuSessionPtr session = CreateCpuSession(clip, scene.params, nullptr, message);
    ASSERT_NE(session, nullptr);
    std::vector<uint16_t> codes(expected.size());
    FailAllocationForTest(failures);
    developed = DevelopFrameCpu(session.get(), raw, 0, codes.data(), message) == 0;
    FailAllocationForTest(-1);
    EXPECT_STREQ(message.text(), developed ? "" : "out of memory") << failures;
    if (!developed) {
      EXPECT_EQ(DevelopFrameCpu(session.get(), raw, 0, codes.data(), message), 0) << failures;
    }
    EXPECT_EQ(codes, expected) << failures;
  }
  EXPECT_GE(failures, 4);
}

}  // namespace qx
