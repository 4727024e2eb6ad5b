#include "develop/gpu/linear_passes.h"

#include <algorithm>
#include <vector>

#include "develop/cpu/ahd.h"
#include "develop/gpu/shader_sources.h"
#include "develop/gpu/texture_units.h"

namespace qx {

namespace {

constexpr const char* kLinearPrefix = "#define LINFMT rgba32f\n";
constexpr const char* kIntegerPrefix = "#define AHD_INT 1\n";
constexpr GLsizeiptr kLabBytes = 3 * 65536 * sizeof(int32_t);
constexpr int kRefinements = 3;
constexpr int kTileWidth = 16, kTileHeight = 8;
// 64 MiB. Cameras write a few hundred points; a file can name a million in one row and, for another phase, a million in one column.
constexpr uint64_t kMostGainTexels = 1 << 22;

std::array<int, 4> CfaOf(const DngInfo& camera) {
  return {camera.cfa[0], camera.cfa[1], camera.cfa[2], camera.cfa[3]};
}

void SetMosaic(const GpuProgram& program, const LinearFrame& frame) {
  program.Use();
  program.Set("uActSize", frame.geometry.activeWidth, frame.geometry.activeHeight);
  program.Set("uCfa", CfaOf(frame.camera));
}

void SetColorStep(const GpuProgram& program, const LinearFrame& frame, const GlImage2D& linear) {
  program.SetMatrix("uM", frame.color.cameraToRec709);
  program.Set("uGain", frame.color.gain);
  linear.BindForWriting(0);
}

void SetGains(const GpuProgram& program, const LinearFrame& frame) {
  std::array<std::array<float, 4>, 4> geometry = {};
  std::array<std::array<int, 4>, 4> points = {}, area = {};
  for (size_t i = 0; i < 4; ++i) {
    const PhaseGain& gain = frame.gains.phase[i];
    if (!gain.active) continue;  // an empty area: gain 1 everywhere
    geometry[i] = {gain.spacingV, gain.spacingH, gain.originV, gain.originH};
    points[i] = {gain.pointsH, gain.pointsV, 0, 0};
    area[i] = {gain.top, gain.left, gain.bottom, gain.right};
  }
  program.Set("uGainGeom", std::span<const std::array<float, 4>>(geometry));
  program.Set("uGainPts", std::span<const std::array<int, 4>>(points));
  program.Set("uGainArea", std::span<const std::array<int, 4>>(area));
  program.Set("uAA", frame.geometry.activeWidth, frame.geometry.activeHeight);
  program.Set("uZero", 0u);
}

void AssignUnit(const GpuProgram& program, const char* sampler, GLuint unit) {
  program.Use();
  program.Set(sampler, int(unit));
}

}  // namespace

bool GainTexture::Upload(const GainTable& gains) {
  int32_t width = 1, height = 1;
  for (const PhaseGain& gain : gains.phase) {
    if (!gain.active) continue;
    width = std::max(width, gain.pointsH);
    height = std::max(height, gain.pointsV);
  }
  if (uint64_t(width) * uint64_t(height) > kMostGainTexels) return false;
  std::vector<float> texels(size_t(width) * size_t(height) * 4, 1.0f);
  for (size_t i = 0; i < 4; ++i) {
    const PhaseGain& gain = gains.phase[i];
    if (!gain.active) continue;
    for (int32_t y = 0; y < gain.pointsV; ++y) {
      for (int32_t x = 0; x < gain.pointsH; ++x) {
        texels[(size_t(y) * size_t(width) + size_t(x)) * 4 + i] = gain.gains[size_t(y) * size_t(gain.pointsH) + size_t(x)];
      }
    }
  }
  texture_ = NewGlObject<GlTexture>(gl.GenTextures);
  if (!texture_) return false;
  BindTexture(kUnitGain, GL_TEXTURE_2D, name());
  gl.TexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA32F, width, height);
  SetNearestClamped(GL_TEXTURE_2D);
  gl.TexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, GL_RGBA, GL_FLOAT, texels.data());
  return NoGlError();
}

int LinearPasses::Build(Message message) {
  struct Pass {
    GpuProgram* program;
    const char *prefix, *body;
  };
  for (const Pass& pass :
       {Pass{&unpack_, "", shaders::unpack_comp}, Pass{&debayer5x5_, kLinearPrefix, shaders::debayer_5x5_comp},
        Pass{&debayerBilinear_, kLinearPrefix, shaders::debayer_bilinear_comp}, Pass{&ahdGreen_, "", shaders::ahd_green_comp},
        Pass{&ahdHomogeneity_, "", shaders::ahd_homogeneity_comp}, Pass{&ahdSelect_, kLinearPrefix, shaders::ahd_select_comp},
        Pass{&ahdSelectIntegers_, kIntegerPrefix, shaders::ahd_select_comp}, Pass{&medianChroma_, "", shaders::median_chroma_comp},
        Pass{&medianGreen_, "", shaders::median_green_comp}, Pass{&merge_, kLinearPrefix, shaders::merge_comp}}) {
    *pass.program = BuildTilePass(pass.prefix, pass.body, message);
    if (!*pass.program) return -1;
  }
  AssignUnit(unpack_, "uGainTex", kUnitGain);
  for (const GpuProgram* program : {&debayer5x5_, &debayerBilinear_, &ahdGreen_, &ahdHomogeneity_, &ahdSelect_, &ahdSelectIntegers_}) {
    AssignUnit(*program, "uQ", kUnitMosaic);
  }
  for (const GpuProgram* program : {&ahdHomogeneity_, &ahdSelect_, &ahdSelectIntegers_}) AssignUnit(*program, "uG", kUnitGreens);
  for (const GpuProgram* program : {&ahdSelect_, &ahdSelectIntegers_}) AssignUnit(*program, "uH", kUnitHomogeneity);
  for (const GpuProgram* program : {&medianChroma_, &merge_}) AssignUnit(*program, "uMed", kUnitIntegers);
  AssignUnit(medianGreen_, "uMrg", kUnitMedianRg);
  AssignUnit(medianGreen_, "uMb", kUnitMedianB);

  if (!labTables_.Reserve(kLabBytes)) return message.Fail("out of memory");
  gl.BufferSubData(GL_SHADER_STORAGE_BUFFER, 0, kLabBytes, GetLabTables());
  return 0;
}

bool LinearPasses::Resize(int width, int height, Demosaic method) {
  if (!mosaic_.Resize(width, height) || !linear_.Resize(width, height)) return false;
  if (method != Demosaic::kAhd && method != Demosaic::kAhdRefined) return true;
  if (!greens_.Resize(width, height) || !homogeneity_.Resize(width, height)) return false;
  return method == Demosaic::kAhd || (integers_.Resize(width, height) && medianRg_.Resize(width, height) && medianB_.Resize(width, height));
}

void LinearPasses::Dispatch() const {
  gl.DispatchCompute(GLuint(mosaic_.width() + kTileWidth - 1) / kTileWidth, GLuint(mosaic_.height() + kTileHeight - 1) / kTileHeight, 1);
  gl.MemoryBarrier(GL_TEXTURE_FETCH_BARRIER_BIT | GL_SHADER_IMAGE_ACCESS_BARRIER_BIT);
}

bool LinearPasses::Run(const LinearFrame& frame, const SampleLayout& samples, Demosaic method) {
  if (!Resize(frame.geometry.activeWidth, frame.geometry.activeHeight, method)) return false;
  gainsUploaded_ = gainsUploaded_ || gainTexture_.Upload(frame.gains);
  if (!gainsUploaded_) return false;
  Unpack(frame, samples);
  BindTexture(kUnitMosaic, GL_TEXTURE_2D, mosaic_.name());
  switch (method) {
    case Demosaic::kGradient5x5:
      Debayer(debayer5x5_, frame);
      return true;
    case Demosaic::kBilinear:
      Debayer(debayerBilinear_, frame);
      return true;
    case Demosaic::kAhd:
      Ahd(frame, false);
      return true;
    case Demosaic::kAhdRefined:
      Ahd(frame, true);
      return true;
  }
  return false;
}

void LinearPasses::Unpack(const LinearFrame& frame, const SampleLayout& samples) {
  const DngInfo& camera = frame.camera;
  SetMosaic(unpack_, frame);
  unpack_.Set("uBase", 0u);
  unpack_.Set("uRowBytes", samples.rowBytes);
  unpack_.Set("uBps", samples.bits);
  unpack_.Set("uBigEndian", int(samples.bigEndian));
  unpack_.Set("uActive", frame.geometry.activeLeft, frame.geometry.activeTop);
  unpack_.Set("uBlack", camera.black);
  unpack_.Set("uWhite", camera.white);
  unpack_.Set("uNlin", int(camera.linearization.size()));
  unpack_.Set("uHasGain", int(frame.gains.active()));
  unpack_.Set("uWb", frame.color.whiteBalance);
  SetGains(unpack_, frame);
  BindTexture(kUnitGain, GL_TEXTURE_2D, gainTexture_.name());
  mosaic_.BindForWriting(0);
  Dispatch();
}

void LinearPasses::Debayer(const GpuProgram& program, const LinearFrame& frame) {
  SetMosaic(program, frame);
  SetColorStep(program, frame, linear_);
  Dispatch();
}

void LinearPasses::Ahd(const LinearFrame& frame, bool refined) {
  SetMosaic(ahdGreen_, frame);
  greens_.BindForWriting(0);
  Dispatch();

  BindTexture(kUnitGreens, GL_TEXTURE_2D, greens_.name());
  SetMosaic(ahdHomogeneity_, frame);
  ahdHomogeneity_.SetIntegers("uA", frame.color.labMatrix);
  gl.BindBufferBase(GL_SHADER_STORAGE_BUFFER, 2, labTables_.name());
  homogeneity_.BindForWriting(0);
  Dispatch();

  BindTexture(kUnitHomogeneity, GL_TEXTURE_2D, homogeneity_.name());
  if (!refined) return Debayer(ahdSelect_, frame);
  SetMosaic(ahdSelectIntegers_, frame);
  integers_.BindForWriting(0);
  Dispatch();
  Refine(frame);
}

void LinearPasses::Refine(const LinearFrame& frame) {
  BindTexture(kUnitIntegers, GL_TEXTURE_2D, integers_.name());
  BindTexture(kUnitMedianRg, GL_TEXTURE_2D, medianRg_.name());
  BindTexture(kUnitMedianB, GL_TEXTURE_2D, medianB_.name());
  for (int i = 0; i < kRefinements; ++i) {
    SetMosaic(medianChroma_, frame);
    medianRg_.BindForWriting(0);
    medianB_.BindForWriting(1);
    Dispatch();
    SetMosaic(medianGreen_, frame);
    integers_.BindForWriting(0);
    Dispatch();
  }
  merge_.Use();
  merge_.Set("uActSize", frame.geometry.activeWidth, frame.geometry.activeHeight);
  SetColorStep(merge_, frame, linear_);
  Dispatch();
}

}  // namespace qx
