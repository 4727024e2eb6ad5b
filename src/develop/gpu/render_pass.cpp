#include "develop/gpu/render_pass.h"

#include <algorithm>
#include <vector>

#include "develop/cpu/render_plan.h"
#include "develop/gpu/shader_sources.h"
#include "develop/gpu/texture_units.h"

namespace qx {

namespace {

constexpr uint32_t kLutRowTexels = 1024;
// A screen-filling strip.
constexpr float kCorners[] = {-1, -1, 1, -1, -1, 1, 1, 1};

std::array<float, 4> Vec4(const std::array<float, 3>& v, float w) {
  return {v[0], v[1], v[2], w};
}

}  // namespace

bool LutTextures::Update(const CubeLut* lut) {
  const uint32_t hash = lut != nullptr ? lut->contentHash : 0;
  if (hash == contentHash_) return true;
  table1D_.Reset();
  table3D_.Reset();
  contentHash_ = hash;
  if (lut == nullptr) return true;
  gl.PixelStorei(GL_UNPACK_ALIGNMENT, 4);
  if (lut->size1D != 0) Upload1D(*lut);
  if (lut->size3D != 0) Upload3D(*lut);
  return (lut->size1D == 0 || table1D_) && (lut->size3D == 0 || table3D_);
}

void LutTextures::Upload1D(const CubeLut& lut) {
  const uint32_t width = std::min(lut.size1D, kLutRowTexels), rows = (lut.size1D + kLutRowTexels - 1) / kLutRowTexels;
  std::vector<float> texels(size_t(width) * rows * 3);
  std::copy_n(lut.table1D.data(), size_t(lut.size1D) * 3, texels.begin());
  table1D_ = NewGlObject<GlTexture>(gl.GenTextures);
  BindTexture(kUnitLut1D, GL_TEXTURE_2D, table1D_.name());
  gl.TexStorage2D(GL_TEXTURE_2D, 1, GL_RGB32F, GLsizei(width), GLsizei(rows));
  SetNearestClamped(GL_TEXTURE_2D);
  gl.TexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, GLsizei(width), GLsizei(rows), GL_RGB, GL_FLOAT, texels.data());
}

void LutTextures::Upload3D(const CubeLut& lut) {
  const GLsizei n = GLsizei(lut.size3D);
  table3D_ = NewGlObject<GlTexture>(gl.GenTextures);
  BindTexture(kUnitLut3D, GL_TEXTURE_3D, table3D_.name());
  gl.TexStorage3D(GL_TEXTURE_3D, 1, GL_RGB32F, n, n, n);
  SetNearestClamped(GL_TEXTURE_3D);
  gl.TexSubImage3D(GL_TEXTURE_3D, 0, 0, 0, 0, n, n, n, GL_RGB, GL_FLOAT, lut.table3D.data());
}

void LutTextures::Bind() const {
  if (table1D_) BindTexture(kUnitLut1D, GL_TEXTURE_2D, table1D_.name());
  if (table3D_) BindTexture(kUnitLut3D, GL_TEXTURE_3D, table3D_.name());
}

int RenderPass::Build(Message message) {
  program_ = BuildRenderPass(shaders::render_vert, shaders::render_frag, message);
  if (!program_) return -1;
  program_.Use();
  program_.Set("uLin", int(kUnitLinear));
  program_.Set("uLut1", int(kUnitLut1D));
  program_.Set("uLut3", int(kUnitLut3D));
  quad_ = NewGlObject<GlVertexArray>(gl.GenVertexArrays);
  corners_ = NewGlObject<GlBuffer>(gl.GenBuffers);
  if (!quad_ || !corners_) return message.Fail("out of memory");
  gl.BindVertexArray(quad_.name());
  gl.BindBuffer(GL_ARRAY_BUFFER, corners_.name());
  gl.BufferData(GL_ARRAY_BUFFER, sizeof(kCorners), kCorners, GL_STATIC_DRAW);
  gl.VertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
  gl.EnableVertexAttribArray(0);
  gl.BindVertexArray(0);
  return 0;
}

bool RenderPass::SetEncoding(const EncodingState& encoding) {
  encoding_ = encoding;
  return lut_.Update(encoding.lut);
}

void RenderPass::SetGeometry(const DevelopGeometry& g) const {
  const float scaleX = float(g.scaleX()), scaleY = float(g.scaleY());
  program_.Set("uCrop", float(g.cropX), float(g.cropY), scaleX, scaleY);
  program_.Set("uAA", g.activeWidth, g.activeHeight);
  program_.Set("uVp", 0, 0);
  program_.Set("uCopy", int(g.isCopy()));
  program_.Set("uFs", std::max(scaleX, 1.0f), std::max(scaleY, 1.0f), 0.0f, 0.0f);
  // Wide enough for every footprint without warp.
  program_.Set("uReach", float(WarpFootprints::Reach(g.scaleX())), float(WarpFootprints::Reach(g.scaleY())), 0.0f, 0.0f);
  const LensWarp& warp = g.warp;
  program_.Set("uWarp", int(warp.active));
  program_.Set("uWarpKr", float(warp.k[0]), float(warp.k[1]), float(warp.k[2]), float(warp.k[3]));
  program_.Set("uWarpKtC", float(warp.t[0]), float(warp.t[1]), float(warp.centreX), float(warp.centreY));
  program_.Set("uWarpGeom", float(warp.radius), float(warp.inverseRadius), float(warp.k[0] - 1), 0.0f);
}

void RenderPass::SetEncodingUniforms(int profile, int tone, float white) const {
  program_.Set("uProfile", profile);
  program_.Set("uTone", tone);
  program_.Set("uWhite", white);
  program_.Set("uLog", int(encoding_.kind));
  program_.SetMatrix("uGamut", encoding_.gamut);
  program_.Set("uLutMode", lut_.mode());
  static const CubeLut kNone;
  const CubeLut& lut = encoding_.lut != nullptr ? *encoding_.lut : kNone;
  program_.Set("uLutN", float(lut.size1D), float(lut.size3D), 0.0f, 0.0f);
  program_.Set("uLut1Min", Vec4(lut.domainMin1D, 0));
  program_.Set("uLut1Max", Vec4(lut.domainMax1D, 1));
  program_.Set("uLut3Min", Vec4(lut.domainMin3D, 0));
  program_.Set("uLut3Max", Vec4(lut.domainMax3D, 1));
}

void RenderPass::Draw(GLuint linear, const DevelopGeometry& geometry, int profile, int tone, float white) const {
  program_.Use();
  SetGeometry(geometry);
  SetEncodingUniforms(profile, tone, white);
  lut_.Bind();
  BindTexture(kUnitLinear, GL_TEXTURE_2D, linear);
  gl.Viewport(0, 0, geometry.output.width, geometry.output.height);
  gl.BindVertexArray(quad_.name());
  gl.DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
  gl.BindVertexArray(0);
}

}  // namespace qx
