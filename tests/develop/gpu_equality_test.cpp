// Whole frames of the graphics path against the processor path.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "develop/cpu/cpu_session.h"
#include "develop/gpu/gpu_session.h"
#include "develop/gpu/output_pass.h"
#include "tests/gpu_support/frame_difference.h"
#include "tests/gpu_support/gpu_fixture.h"
#include "tests/gpu_support/raw_scene.h"

// The software driver's compiler holds more locks at a time than the thread sanitizer's search for deadlocks can count. No test of this
// program takes two locks of ours.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "detect_deadlocks=0";
}

namespace qx {

namespace {

struct Scene {
  DngInfo camera = MakePhoneCamera(96, 64);
  RectilinearWarp warp;
  DevelopParams params;
};

/// The processor's frame.
struct ProcessorFrame {
  Size size;
  std::vector<uint16_t> codes;
  std::vector<float> linear;  // linear kind only

  std::vector<uint8_t> Convert(OutputPixelFormat format, bool quarter) const {
    std::vector<uint8_t> bytes(PackedFrameBytes(format, size, quarter));
    const int64_t rowBytes = int64_t(FormatRowBytes(format, quarter ? size.width / 2 : size.width));
    ConvertRows(codes.data(), size.width, size.height, format, bytes.data(), rowBytes, quarter, 0, 1);
    return bytes;
  }
};

ProcessorFrame DevelopOnProcessor(const Scene& scene, const RawFrame& raw) {
  MessageBuffer<256> message;
  const CpuSessionPtr session = CreateCpuSession(scene.camera, scene.params, nullptr, message);
  EXPECT_NE(session, nullptr) << message.text();
  ProcessorFrame frame;
  frame.size = CpuSessionOutputSize(*session);
  frame.codes.resize(size_t(frame.size.width) * size_t(frame.size.height) * 3);
  EXPECT_EQ(DevelopFrameCpu(session.get(), raw, 1, frame.codes.data(), message), 0) << message.text();
  if (scene.params.outputKind == OutputKind::kLinear && scene.params.lut == nullptr) {
    frame.linear.resize(frame.codes.size());
    EXPECT_EQ(DevelopFrameCpu(session.get(), raw, 1, nullptr, message), 0);
    ReadFloatRgb(*session, 0, frame.linear.data(), 0, frame.size.height);
  }
  return frame;
}

/// A session on the graphics card with one developed frame.
class GpuFrame {
 public:
  GpuFrame(OutputPass* pass, const Scene& scene, const RawFrame& raw) : pass_(pass) {
    DevelopParams params = scene.params;
    params.slots = 1;
    MessageBuffer<512> message;
    session_ = GpuSession::Create(scene.camera, params, message);
    EXPECT_NE(session_, nullptr) << message.text();
    developed_ = session_ != nullptr && session_->Develop(raw, 1, 0, nullptr, message) == 0;
    EXPECT_TRUE(developed_) << message.text();
  }
  bool developed() const { return developed_; }
  Size size() const { return session_->outputSize(); }
  GpuSession& session() { return *session_; }

  std::vector<uint8_t> Pack(OutputPixelFormat format, bool quarter = false) {
    EXPECT_EQ(RunOutputPass(pass_, *session_->developer(), 0, format, size(), quarter, 0), 0);
    while (pass_->Poll(0) == OutputPass::State::kPending) {
    }
    const uint8_t* bytes = pass_->Map(0);
    EXPECT_NE(bytes, nullptr);
    std::vector<uint8_t> result(bytes, bytes + pass_->bytes(0));
    pass_->Unmap(0);
    return result;
  }

 private:
  OutputPass* pass_;
  std::unique_ptr<GpuSession> session_;
  bool developed_ = false;
};

constexpr OutputPixelFormat kFormats[] = {OutputPixelFormat::kRgb48,     OutputPixelFormat::kBgra16, OutputPixelFormat::kBgra8,
                                          OutputPixelFormat::kBgraFloat, OutputPixelFormat::kUyvy,   OutputPixelFormat::kV210,
                                          OutputPixelFormat::kVuyaFloat};
bool CanBeReduced(OutputPixelFormat format) {
  return format == OutputPixelFormat::kBgra16 || format == OutputPixelFormat::kBgra8 || format == OutputPixelFormat::kBgraFloat;
}

}  // namespace

// Two steps for the log kinds: the processor's curves are made of linear pieces. Frames whose samples come as 16-bit values stand for
// recordings and compressed archives; stored samples are compared with them in the tests of the passes.
TEST(GpuEquality, DevelopsTheProcessorsFrames) {
  QX_GPU_OR_SKIP(gpu);
  MessageBuffer<512> message;
  const auto pass = BuildOutputPass(message);
  ASSERT_NE(pass, nullptr) << message.text();
  const auto lut = MakeSceneLut(true, true), lut1D = MakeSceneLut(true, false), lut3D = MakeSceneLut(false, true);
  struct Output {
    const char* name;
    OutputKind kind;
    const CubeLut* lut;
    int steps;
  };
  const Output outputs[] = {
      {"LUT", OutputKind::kSLog3, lut.get(), 1},        {"1-D LUT", OutputKind::kRec709, lut1D.get(), 1},
      {"3-D LUT", OutputKind::kLinear, lut3D.get(), 1}, {"DaVinci Intermediate", OutputKind::kDaVinciIntermediate, nullptr, 2},
      {"S-Log3", OutputKind::kSLog3, nullptr, 2},       {"Rec.709", OutputKind::kRec709, nullptr, 1},
      {"linear", OutputKind::kLinear, nullptr, 1}};
  struct Picture {
    const char* name;
    std::function<void(Scene&)> change;
  };
  const Picture pictures[] = {
      {"plain", [](Scene&) {}},
      {"warp and gain maps",
       [](Scene& s) {
         s.warp = MakeSceneWarp(1, -0.1, 0.01);
         s.camera.gainMaps.push_back(MakeSceneGainMap(0, 0, 64, 96, 1, 0.1f));
       }},
      {"crop of an odd active area, highlights",
       [](Scene& s) {
         s.camera.activeLeft = 3, s.camera.activeTop = 1, s.camera.activeRight = 94, s.camera.activeBottom = 62;
         s.camera.cropX = 4, s.camera.cropY = 3, s.camera.cropWidth = 85, s.camera.cropHeight = 57;
         s.params.exposureEv = 2;
       }},
      {"half size", [](Scene& s) { s.camera = MakePhoneCamera(32, 2160), s.params.scaleCode = 2; }},
      {"half size of a width that does not divide, with warp",
       [](Scene& s) { s.camera = MakePhoneCamera(34, 2160), s.params.scaleCode = 2, s.warp = MakeSceneWarp(1, -0.02, 0.001); }},
  };
  for (const Output& output : outputs) {
    for (const Picture& picture : pictures) {
      for (const Demosaic method : {Demosaic::kGradient5x5, Demosaic::kAhd, Demosaic::kBilinear, Demosaic::kAhdRefined}) {
        const bool isTall = &picture - pictures >= 3;
        if (isTall && method != Demosaic::kGradient5x5 && method != Demosaic::kAhdRefined) continue;
        SCOPED_TRACE(testing::Message() << output.name << ", " << picture.name << ", method " << int(method));
        Scene scene;
        scene.params.demosaic = method;
        scene.params.outputKind = output.kind;
        scene.params.lut = output.lut;
        picture.change(scene);
        const auto samples = MakeSceneSamples(scene.camera, 7);
        const SceneRaw raw(scene.camera, scene.warp, samples);
        const ProcessorFrame expected = DevelopOnProcessor(scene, raw);
        GpuFrame frame(pass.get(), scene, raw);
        ASSERT_TRUE(frame.developed());
        ASSERT_EQ(frame.size(), expected.size);
        EXPECT_LE(WorstStep(OutputPixelFormat::kRgb48ReadBack, frame.Pack(OutputPixelFormat::kRgb48ReadBack),
                            expected.Convert(OutputPixelFormat::kRgb48ReadBack, false)),
                  output.steps);
        for (const OutputPixelFormat format : kFormats) {
          const bool linearFloat = format == OutputPixelFormat::kBgraFloat && !expected.linear.empty();
          if (linearFloat) continue;  // keeps values above 1: a case of its own
          SCOPED_TRACE(testing::Message() << "format " << int(format));
          // Float formats are of the 16-bit values; a step of the coarser formats is worth many of those.
          const bool fine =
              format == OutputPixelFormat::kRgb48 || format == OutputPixelFormat::kBgraFloat || format == OutputPixelFormat::kVuyaFloat;
          EXPECT_LE(WorstStep(format, frame.Pack(format), expected.Convert(format, false)), fine ? output.steps + 0.51 : 1);
        }
      }
    }
  }
  EXPECT_EQ(gpu.TakeErrors(), std::vector<std::string>());
}

TEST(GpuEquality, KeepsLinearValuesAboveWhite) {
  QX_GPU_OR_SKIP(gpu);
  MessageBuffer<512> message;
  const auto pass = BuildOutputPass(message);
  ASSERT_NE(pass, nullptr);
  Scene scene;
  scene.params.outputKind = OutputKind::kLinear;
  scene.params.exposureEv = 2;
  const auto samples = MakeSceneSamples(scene.camera, 5);
  const SceneRaw raw(scene.camera, scene.warp, samples);
  const ProcessorFrame expected = DevelopOnProcessor(scene, raw);
  GpuFrame frame(pass.get(), scene, raw);
  ASSERT_TRUE(frame.developed());
  const int width = expected.size.width, height = expected.size.height;
  const auto linearAt = [&](int x, int y, int c) { return expected.linear[size_t((y * width + x) * 3 + c)]; };
  const auto whole = ValuesOf<float>(frame.Pack(OutputPixelFormat::kBgraFloat));
  const auto reduced = ValuesOf<float>(frame.Pack(OutputPixelFormat::kBgraFloat, true));
  float largest = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float* pixel = &whole[size_t(((height - 1 - y) * width + x) * 4)];
      for (int c = 0; c < 3; ++c) ASSERT_NEAR(pixel[2 - c], linearAt(x, y, c), 1e-5 * std::max(1.0f, linearAt(x, y, c)));
      ASSERT_EQ(pixel[3], 1);
      largest = std::max(largest, pixel[0]);
    }
  }
  EXPECT_GT(largest, 2);
  for (int y = 0; y < height / 2; ++y) {
    for (int x = 0; x < width / 2; ++x) {
      const float* pixel = &reduced[size_t(((height / 2 - 1 - y) * (width / 2) + x) * 4)];
      for (int c = 0; c < 3; ++c) {
        const float mean = (linearAt(2 * x, 2 * y, c) + linearAt(2 * x + 1, 2 * y, c) + linearAt(2 * x, 2 * y + 1, c) +
                            linearAt(2 * x + 1, 2 * y + 1, c)) /
                           4;
        ASSERT_NEAR(pixel[2 - c], mean, 1e-5 * std::max(1.0f, mean));
      }
    }
  }
}

// From the same 16-bit values both sides compute with integers: the bytes are the same. The widths leave groups of v210 empty, filled by
// one pixel, and full.
TEST(GpuOutputPass, PacksTheBytesOfTheProcessorsConversion) {
  QX_GPU_OR_SKIP(gpu);
  MessageBuffer<512> message;
  const auto pass = BuildOutputPass(message);
  ASSERT_NE(pass, nullptr);
  for (const int width : {8, 48, 56, 90, 96, 194}) {
    Scene scene;
    scene.camera = MakePhoneCamera(width, 20);
    scene.params.widthAlign = 2;
    scene.params.outputKind = OutputKind::kRec709;
    auto samples = MakeSceneSamples(scene.camera, uint32_t(width));
    for (size_t i = 0; i < samples.size(); i += 13) samples[i] = i % 2 != 0 ? 0 : 65535;
    GpuFrame frame(pass.get(), scene, SceneRaw(scene.camera, {}, samples));
    ASSERT_TRUE(frame.developed());
    const ProcessorFrame same = {frame.size(), ValuesOf<uint16_t>(frame.Pack(OutputPixelFormat::kRgb48)), {}};
    for (const OutputPixelFormat format : kFormats) {
      for (const bool quarter : {false, true}) {
        if (quarter && !CanBeReduced(format)) continue;
        SCOPED_TRACE(testing::Message() << "width " << width << ", format " << int(format) << (quarter ? ", reduced" : ""));
        const auto packed = frame.Pack(format, quarter), expected = same.Convert(format, quarter);
        const bool isFloat = format == OutputPixelFormat::kBgraFloat || format == OutputPixelFormat::kVuyaFloat;
        if (isFloat) {
          EXPECT_LE(WorstStep(format, packed, expected), quarter ? 0.5 : 0.02);
        } else {
          EXPECT_EQ(packed, expected);
        }
      }
    }
  }
  EXPECT_EQ(gpu.TakeErrors(), std::vector<std::string>());
}

TEST(GpuOutputPass, ReadsBackTheSameCodesWithoutThePass) {
  QX_GPU_OR_SKIP(gpu);
  MessageBuffer<512> message;
  const auto pass = BuildOutputPass(message);
  ASSERT_NE(pass, nullptr);
  for (const OutputKind kind : {OutputKind::kSLog3, OutputKind::kLinear}) {
    Scene scene;
    scene.camera = MakePhoneCamera(90, 33);
    scene.params.widthAlign = 2;
    scene.params.outputKind = kind;
    const auto samples = MakeSceneSamples(scene.camera, 3);
    GpuFrame frame(pass.get(), scene, SceneRaw(scene.camera, {}, samples));
    ASSERT_TRUE(frame.developed());
    const auto packed = frame.Pack(OutputPixelFormat::kRgb48ReadBack);
    GpuDeveloper* developer = frame.session().developer();
    ASSERT_EQ(StartReadBackRG48(developer, 0), 0);
    const auto* codes = reinterpret_cast<const uint8_t*>(ReadBackRG48(developer, 0));
    ASSERT_NE(codes, nullptr);
    // A float slot is rounded by the driver in one case and by the pass in the other.
    EXPECT_LE(WorstStep(OutputPixelFormat::kRgb48ReadBack, packed, {codes, codes + packed.size()}), kind == OutputKind::kLinear ? 1 : 0);
  }
  EXPECT_EQ(gpu.TakeErrors(), std::vector<std::string>());
}

}  // namespace qx
