#include "develop/gpu/gl_objects.h"

namespace qx {

namespace {

// A lost context reports errors without end.
constexpr int kMostErrors = 32;

}  // namespace

bool GlImage2D::Resize(int width, int height) {
  if (texture_ && width == width_ && height == height_) return true;
  texture_ = NewGlObject<GlTexture>(gl.GenTextures);
  width_ = width;
  height_ = height;
  if (!texture_) return false;
  BindTexture(0, GL_TEXTURE_2D, name());
  gl.TexStorage2D(GL_TEXTURE_2D, 1, format_, width, height);
  SetNearestClamped(GL_TEXTURE_2D);
  if (NoGlError()) return true;
  texture_.Reset();  // an object without its storage must not pass for an image later
  return false;
}

bool GlGrowBuffer::Reserve(uint64_t bytes) {
  if (!buffer_) buffer_ = NewGlObject<GlBuffer>(gl.GenBuffers);
  if (!buffer_) return false;
  gl.BindBuffer(target_, name());
  if (bytes <= bytes_) return true;
  bytes_ = 0;
  if (!NoGlError()) return false;
  gl.BufferData(target_, GLsizeiptr(bytes), nullptr, usage_);
  if (!NoGlError()) return false;
  bytes_ = bytes;
  return true;
}

void BindTexture(GLuint unit, GLenum target, GLuint texture) {
  gl.ActiveTexture(GL_TEXTURE0 + unit);
  gl.BindTexture(target, texture);
}

void SetNearestClamped(GLenum target) {
  gl.TexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  gl.TexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  gl.TexParameteri(target, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  gl.TexParameteri(target, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  gl.TexParameteri(target, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
}

bool NoGlError() {
  bool isClean = true;
  for (int i = 0; i < kMostErrors && gl.GetError() != GL_NO_ERROR; ++i) isClean = false;
  return isClean;
}

}  // namespace qx
