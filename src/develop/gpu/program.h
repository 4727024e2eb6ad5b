// Shader programs and their uniforms.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "develop/gpu/gl_objects.h"

namespace qx {

/// A linked program. The setters make it current first; a name that the program does not use is ignored, as OpenGL does.
class GpuProgram {
 public:
  GpuProgram() = default;
  explicit GpuProgram(GlProgram program) : program_(std::move(program)) {}
  explicit operator bool() const { return bool(program_); }
  GLuint name() const { return program_.name(); }

  void Use() const { gl.UseProgram(name()); }
  void Set(const char* uniform, int value) const { gl.Uniform1i(At(uniform), value); }
  void Set(const char* uniform, unsigned value) const { gl.Uniform1ui(At(uniform), value); }
  void Set(const char* uniform, float value) const { gl.Uniform1f(At(uniform), value); }
  void Set(const char* uniform, int x, int y) const { gl.Uniform2i(At(uniform), x, y); }
  void Set(const char* uniform, float x, float y, float z, float w) const { gl.Uniform4f(At(uniform), x, y, z, w); }
  void Set(const char* uniform, const std::array<float, 3>& value) const { gl.Uniform3fv(At(uniform), 1, value.data()); }
  void Set(const char* uniform, const std::array<float, 4>& value) const { gl.Uniform4fv(At(uniform), 1, value.data()); }
  void Set(const char* uniform, const std::array<int, 4>& value) const { gl.Uniform4iv(At(uniform), 1, value.data()); }
  /// Arrays of four components an element.
  void Set(const char* uniform, std::span<const std::array<float, 4>> values) const {
    gl.Uniform4fv(At(uniform), GLsizei(values.size()), values.front().data());
  }
  void Set(const char* uniform, std::span<const std::array<int, 4>> values) const {
    gl.Uniform4iv(At(uniform), GLsizei(values.size()), values.front().data());
  }
  void SetIntegers(const char* uniform, std::span<const int> values) const {
    gl.Uniform1iv(At(uniform), GLsizei(values.size()), values.data());
  }
  /// Row-major.
  void SetMatrix(const char* uniform, const std::array<float, 9>& rows) const { gl.UniformMatrix3fv(At(uniform), 1, GL_TRUE, rows.data()); }

 private:
  GLint At(const char* uniform) const { return gl.GetUniformLocation(name(), uniform); }

  GlProgram program_;
};

/// Compiles and links a compute pass of 16 × 8 tiles: its version and layout header, `prefix`, `body`. Empty with "shader %x: %s" or
/// "program: %s" when the driver refuses it.
GpuProgram BuildTilePass(std::string_view prefix, std::string_view body, Message message);
/// The same for a pass over a plain list of 64 invocations a group.
GpuProgram BuildListPass(std::string_view body, Message message);
/// The pass that draws: `vertex` and `fragment` without their version lines.
GpuProgram BuildRenderPass(std::string_view vertex, std::string_view fragment, Message message);

}  // namespace qx
