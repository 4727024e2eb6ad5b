#include "develop/gpu/gpu_developer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "develop/gpu/gpu_session.h"
#include "develop/gpu/output_pass.h"
#include "tests/gpu_support/gpu_fixture.h"
#include "tests/gpu_support/raw_scene.h"

namespace qx {

namespace {

/// Names that the code under test looked up, by program; -1 counts as unknown.
std::map<GLuint, std::set<std::string>> lookedUp, unknown;
PFNGLGETUNIFORMLOCATIONPROC realGetUniformLocation = nullptr;

GLint APIENTRY RecordUniform(GLuint program, const GLchar* name) {
  const GLint location = realGetUniformLocation(program, name);
  (location < 0 ? unknown : lookedUp)[program].insert(name);
  return location;
}

std::set<std::string> ActiveUniforms(GpuFixture& gpu, GLuint program) {
  const auto lookup = [&](const char* name) { return gpu.driver().Function(name); };
  const auto getActiveUniform = LookUpGlFunction<PFNGLGETACTIVEUNIFORMPROC>(lookup, "glGetActiveUniform");
  GLint count = 0;
  gl.GetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
  std::set<std::string> names;
  for (GLint i = 0; i < count; ++i) {
    GLchar name[128];
    GLint size = 0;
    GLenum type = 0;
    getActiveUniform(program, GLuint(i), sizeof name, nullptr, &size, &type, name);
    const bool isImage = type == GL_IMAGE_2D || type == GL_UNSIGNED_INT_IMAGE_2D;  // bound by the shader itself
    if (!isImage) names.insert(std::string(name).substr(0, std::string(name).find('[')));
  }
  return names;
}

GpuDeveloperPtr MakeDeveloper() {
  MessageBuffer<512> message;
  auto developer = CreateGpuDeveloper(2, false, message);
  EXPECT_NE(developer, nullptr) << message.text();
  return developer;
}

std::unique_ptr<GpuSession> MakeSession(const DngInfo& camera, const DevelopParams& params) {
  MessageBuffer<512> message;
  auto session = GpuSession::Create(camera, params, message);
  EXPECT_NE(session, nullptr) << message.text();
  return session;
}

}  // namespace

TEST(GpuDeveloper, SetsEveryUniformOfItsProgramsAndNoOther) {
  QX_GPU_OR_SKIP(gpu);
  realGetUniformLocation = gl.GetUniformLocation;
  gl.GetUniformLocation = RecordUniform;
  lookedUp.clear();
  unknown.clear();
  MessageBuffer<512> message;
  const auto pass = BuildOutputPass(message);
  const auto camera = MakePhoneCamera(48, 34);
  const auto samples = MakeSceneSamples(camera, 1);
  std::vector<std::unique_ptr<GpuSession>> sessions;
  for (int method = 0; method < 4; ++method) {
    DevelopParams params;
    params.slots = 1;
    params.demosaic = Demosaic(method);
    sessions.push_back(MakeSession(camera, params));
    ASSERT_EQ(sessions.back()->Develop(SceneRaw(camera, {}, samples), 0, 0, nullptr, message), 0);
    ASSERT_EQ(RunOutputPass(pass.get(), *sessions.back()->developer(), 0, OutputPixelFormat::kBgra8, {48, 34}, false, 0), 0);
  }
  gl.GetUniformLocation = realGetUniformLocation;
  EXPECT_EQ(unknown, (std::map<GLuint, std::set<std::string>>()));
  // Programs of the methods that a session did not run have only their sampler units: those are complete in another session.
  std::set<std::set<std::string>> complete;
  for (const auto& [program, names] : lookedUp) {
    if (names == ActiveUniforms(gpu, program)) complete.insert(names);
  }
  for (const auto& [program, names] : lookedUp) EXPECT_TRUE(complete.count(ActiveUniforms(gpu, program))) << *names.begin();
}

TEST(GpuDeveloper, RefusesWrongNumbersOfSlots) {
  QX_GPU_OR_SKIP(gpu);
  MessageBuffer<256> message;
  for (const auto& [slots, text] : {std::pair(0, "read buffers 0 (1..64)"), std::pair(65, "read buffers 65 (1..64)")}) {
    EXPECT_EQ(CreateGpuDeveloper(slots, false, message), nullptr);
    EXPECT_STREQ(message.text(), text);
  }
}

TEST(GpuDeveloper, NamesTheLimitThatAFrameExceeds) {
  QX_GPU_OR_SKIP(gpu);
  const auto developer = MakeDeveloper();
  MessageBuffer<256> message;
  EXPECT_EQ(CheckGpuLimits(*developer, 4096, 3072, 4096, 3072, 4096 * 3072 * 2, message), 0) << message.text();
  EXPECT_EQ(CheckGpuLimits(*developer, 100, 100, 100, 100, uint64_t(1) << 40, message), -1);
  EXPECT_EQ(std::string(message.text()).find("RAW frame of 1099511627792 bytes exceeds the driver SSBO limit "), 0u) << message.text();
  EXPECT_EQ(CheckGpuLimits(*developer, 1 << 20, 100, 640, 480, 1000, message), -1);
  EXPECT_EQ(std::string(message.text()).find("frame 1048576x100 / output 640x480 exceeds the driver texture/viewport limit "), 0u)
      << message.text();
  EXPECT_EQ(CheckGpuLimits(*developer, 100, 100, 640, 1 << 20, 1000, message), -1);
}

TEST(GpuSession, RefusesWhatItCannotDevelop) {
  QX_GPU_OR_SKIP(gpu);
  DevelopParams params;
  params.slots = 1;
  MessageBuffer<256> message;
  DngInfo mono = MakePhoneCamera(48, 34);
  mono.cfa = {0, 0, 0, 0};
  EXPECT_EQ(GpuSession::Create(mono, params, message), nullptr);
  EXPECT_STREQ(message.text(), "CFA is not Bayer: the full frame cannot be developed");
  params.outputKind = OutputKind(9);
  EXPECT_EQ(GpuSession::Create(MakePhoneCamera(48, 34), params, message), nullptr);
  EXPECT_STREQ(message.text(), "unknown curve 9");

  params.outputKind = OutputKind::kRec709;
  const DngInfo camera = MakePhoneCamera(48, 34);
  const auto session = MakeSession(camera, params);
  const auto samples = MakeSceneSamples(camera, 1);
  const std::function<void(DngInfo&, RawFrame&)> changes[] = {
      [](DngInfo&, RawFrame& raw) { raw.described = nullptr; },
      [](DngInfo&, RawFrame& raw) { raw.samples = nullptr; },  // and no stored bytes either
      [](DngInfo& c, RawFrame&) { c.samplesPerPixel = 3; },
      [](DngInfo& c, RawFrame&) { c.planarConfiguration = 2; },
      [](DngInfo& c, RawFrame&) {
        c.cfa = {1, 1, 1, 1};
      },
      [](DngInfo& c, RawFrame&) { c.activeRight = c.activeLeft + 7; },
      [](DngInfo& c, RawFrame&) { c.activeRight = c.width + 1; },
      [](DngInfo& c, RawFrame&) {
        // Few points, but a texture with the width of the one map and the height of the other has 400 MB.
        GainMap wide = MakeSceneGainMap(0, 0, 34, 48, 2, 1), high = MakeSceneGainMap(0, 1, 34, 48, 2, 1);
        wide.pointsV = high.pointsH = 1;
        wide.pointsH = high.pointsV = 5000;
        wide.gains.assign(5000, 1.0f);
        high.gains = wide.gains;
        c.gainMaps = {wide, high};
      },
  };
  for (size_t i = 0; i < std::size(changes); ++i) {
    SCOPED_TRACE(i);
    DngInfo broken = camera;
    SceneRaw raw(broken, {}, samples);
    changes[i](broken, raw);
    EXPECT_EQ(session->Develop(raw, 12, 0, nullptr, message), -1);
    EXPECT_STREQ(message.text(), "frame 12: GPU development failed");
  }
  EXPECT_EQ(session->Develop(SceneRaw(camera, {}, samples), 13, 0, nullptr, message), 0) << message.text();
  EXPECT_EQ(gpu.TakeErrors(), std::vector<std::string>());
}

// Descriptions without sense must neither stop the driver nor raise errors.
TEST(GpuSession, SurvivesSenselessDescriptions) {
  QX_GPU_OR_SKIP(gpu);
  const float nan = std::nanf("");
  const std::function<void(DngInfo&, RectilinearWarp&)> changes[] = {
      [](DngInfo& c, RectilinearWarp&) { c.white = 64; },
      [&](DngInfo& c, RectilinearWarp&) { c.black[2] = nan, c.white = nan; },
      [&](DngInfo&, RectilinearWarp& w) { w = MakeSceneWarp(nan, 0, 0); },
      [&](DngInfo&, RectilinearWarp& w) { w = MakeSceneWarp(1e300, -1e300, nan); },
      [](DngInfo&, RectilinearWarp& w) { w = MakeSceneWarp(-1e5, 30, 5); },
      [](DngInfo& c, RectilinearWarp&) { c.gainMaps.push_back(MakeSceneGainMap(0, 0, 34, 48, 1, 1e30f)), c.gainMaps[0].spacingV = 1e-300; },
      [](DngInfo& c, RectilinearWarp&) { c.baselineExposure = 1000; },
  };
  DevelopParams params;
  params.slots = 1;
  const DngInfo camera = MakePhoneCamera(48, 34);
  const auto session = MakeSession(camera, params);
  const auto samples = MakeSceneSamples(camera, 1);
  for (size_t i = 0; i < std::size(changes); ++i) {
    SCOPED_TRACE(i);
    DngInfo broken = camera;
    RectilinearWarp warp;
    changes[i](broken, warp);
    MessageBuffer<256> message;
    EXPECT_EQ(session->Develop(SceneRaw(broken, warp, samples), 1, 0, nullptr, message), 0) << message.text();
    gl.Finish();
  }
  EXPECT_EQ(gpu.TakeErrors(), std::vector<std::string>());
}

}  // namespace qx
