// Owners of OpenGL objects. Made and destroyed on the GPU thread, while its context is current.
#pragma once

#include <utility>

#include "develop/gpu/gl_functions.h"

namespace qx {

/// Move-only owner of one object name; 0 is none.
template <void (*Delete)(GLuint)>
class GlObject {
 public:
  GlObject() = default;
  explicit GlObject(GLuint name) : name_(name) {}
  GlObject(GlObject&& other) noexcept : name_(std::exchange(other.name_, 0)) {}
  GlObject& operator=(GlObject&& other) noexcept {
    std::swap(name_, other.name_);
    return *this;
  }
  ~GlObject() { Reset(); }
  void Reset() {
    if (name_ != 0) Delete(std::exchange(name_, 0));
  }
  GLuint name() const { return name_; }
  explicit operator bool() const { return name_ != 0; }

 private:
  GLuint name_ = 0;
};

namespace gl_delete {
inline void Shader(GLuint name) {
  gl.DeleteShader(name);
}
inline void Program(GLuint name) {
  gl.DeleteProgram(name);
}
inline void Buffer(GLuint name) {
  gl.DeleteBuffers(1, &name);
}
inline void Texture(GLuint name) {
  gl.DeleteTextures(1, &name);
}
inline void Framebuffer(GLuint name) {
  gl.DeleteFramebuffers(1, &name);
}
inline void VertexArray(GLuint name) {
  gl.DeleteVertexArrays(1, &name);
}
inline void Query(GLuint name) {
  gl.DeleteQueries(1, &name);
}
}  // namespace gl_delete

using GlShader = GlObject<gl_delete::Shader>;
using GlProgram = GlObject<gl_delete::Program>;
using GlBuffer = GlObject<gl_delete::Buffer>;
using GlTexture = GlObject<gl_delete::Texture>;
using GlFramebuffer = GlObject<gl_delete::Framebuffer>;
using GlVertexArray = GlObject<gl_delete::VertexArray>;
using GlQuery = GlObject<gl_delete::Query>;

/// A new name from one of the glGen functions: `NewGlObject<GlBuffer>(gl.GenBuffers)`.
template <typename Object, typename Generate>
Object NewGlObject(Generate generate) {
  GLuint name = 0;
  generate(1, &name);
  return Object(name);
}

/// A point in the command stream that can be waited for.
class GlFence {
 public:
  GlFence() = default;
  GlFence(GlFence&& other) noexcept : sync_(std::exchange(other.sync_, nullptr)) {}
  GlFence& operator=(GlFence&& other) noexcept {
    std::swap(sync_, other.sync_);
    return *this;
  }
  ~GlFence() { Reset(); }
  /// Behind all commands so far. False when the driver refuses.
  [[nodiscard]] bool Insert() {
    Reset();
    sync_ = gl.FenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    return sync_ != nullptr;
  }
  void Reset() {
    if (sync_ != nullptr) gl.DeleteSync(std::exchange(sync_, nullptr));
  }
  bool inserted() const { return sync_ != nullptr; }

  enum class State { kPending, kReached, kFailed };
  /// Waits at most `nanoseconds`; `flush` also sends the commands to the device.
  State Wait(GLuint64 nanoseconds, bool flush) const {
    if (sync_ == nullptr) return State::kFailed;
    const GLenum result = gl.ClientWaitSync(sync_, flush ? GL_SYNC_FLUSH_COMMANDS_BIT : 0, nanoseconds);
    if (result == GL_TIMEOUT_EXPIRED) return State::kPending;
    return result == GL_ALREADY_SIGNALED || result == GL_CONDITION_SATISFIED ? State::kReached : State::kFailed;
  }

 private:
  GLsync sync_ = nullptr;
};

/// A 2-D texture of a fixed format that follows the size asked for. Nearest filtering, clamped to the edge.
class GlImage2D {
 public:
  explicit GlImage2D(GLenum format) : format_(format) {}
  /// False when the driver has no memory for it; clears the error.
  [[nodiscard]] bool Resize(int width, int height);
  GLuint name() const { return texture_.name(); }
  int width() const { return width_; }
  int height() const { return height_; }
  /// For shaders that write it as image `unit`.
  void BindForWriting(GLuint unit) const { gl.BindImageTexture(unit, name(), 0, GL_FALSE, 0, GL_WRITE_ONLY, format_); }

 private:
  const GLenum format_;
  GlTexture texture_;
  int width_ = 0, height_ = 0;
};

/// A buffer that grows to the largest need and never shrinks. Growing loses the content.
class GlGrowBuffer {
 public:
  GlGrowBuffer(GLenum target, GLenum usage) : target_(target), usage_(usage) {}
  /// Leaves it bound to its target. False when the driver has no memory for it; clears the error.
  [[nodiscard]] bool Reserve(uint64_t bytes);
  GLuint name() const { return buffer_.name(); }
  uint64_t bytes() const { return bytes_; }

 private:
  GLenum target_, usage_;
  GlBuffer buffer_;
  uint64_t bytes_ = 0;
};

void BindTexture(GLuint unit, GLenum target, GLuint texture);
/// Nearest filtering, clamped to the edge, for the texture that is bound.
void SetNearestClamped(GLenum target);
/// False when an error was pending; clears all of them.
[[nodiscard]] bool NoGlError();

}  // namespace qx
