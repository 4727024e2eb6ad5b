#include "develop/gpu/program.h"

#include <initializer_list>

namespace qx {

namespace {

// Drivers without the ES dialects know the same bodies as desktop GLSL.
constexpr std::string_view kDesktopVersion = "#version 430\n";
constexpr std::string_view kTileHeader = "precision highp float;\nprecision highp int;\nlayout(local_size_x = 16, local_size_y = 8) in;\n";
constexpr GLsizei kLogBytes = 1024;

struct Stage {
  GLenum type;
  std::string_view esVersion, header, prefix, body;
};

GlShader Compile(const Stage& stage, std::string_view version, Message message) {
  GlShader shader(gl.CreateShader(stage.type));
  if (!shader) {
    message.Fail("cs_build: out of memory");
    return {};
  }
  std::string source;
  for (std::string_view part : {version, stage.header, stage.prefix, stage.body}) source += part;
  const GLchar* text = source.c_str();
  gl.ShaderSource(shader.name(), 1, &text, nullptr);
  gl.CompileShader(shader.name());
  GLint compiled = GL_FALSE;
  gl.GetShaderiv(shader.name(), GL_COMPILE_STATUS, &compiled);
  if (compiled == GL_TRUE) return shader;
  GLchar log[kLogBytes] = "";
  gl.GetShaderInfoLog(shader.name(), kLogBytes, nullptr, log);
  message.Fail("shader %x: %s", stage.type, log);
  return {};
}

GlProgram Link(std::initializer_list<Stage> stages, bool desktop, Message message) {
  GlProgram program(gl.CreateProgram());
  if (!program) {
    message.Fail("cs_build: out of memory");
    return {};
  }
  for (const Stage& stage : stages) {
    const GlShader shader = Compile(stage, desktop ? kDesktopVersion : stage.esVersion, message);
    if (!shader) return {};
    gl.AttachShader(program.name(), shader.name());  // which keeps it
  }
  gl.LinkProgram(program.name());
  GLint linked = GL_FALSE;
  gl.GetProgramiv(program.name(), GL_LINK_STATUS, &linked);
  if (linked == GL_TRUE) return program;
  GLchar log[kLogBytes] = "";
  gl.GetProgramInfoLog(program.name(), kLogBytes, nullptr, log);
  message.Fail("program: %s", log);
  return {};
}

GpuProgram Build(std::initializer_list<Stage> stages, Message message) {
  GlProgram program = Link(stages, false, message);
  if (!program) program = Link(stages, true, Message());
  if (program) message.Clear();
  return GpuProgram(std::move(program));
}

}  // namespace

GpuProgram BuildTilePass(std::string_view prefix, std::string_view body, Message message) {
  return Build({{GL_COMPUTE_SHADER, "#version 310 es\n", kTileHeader, prefix, body}}, message);
}

GpuProgram BuildListPass(std::string_view body, Message message) {
  return Build({{GL_COMPUTE_SHADER, kDesktopVersion, "layout(local_size_x = 64) in;\n", "", body}}, message);
}

GpuProgram BuildRenderPass(std::string_view vertex, std::string_view fragment, Message message) {
  return Build({{GL_VERTEX_SHADER, "#version 300 es\n", "", "", vertex}, {GL_FRAGMENT_SHADER, "#version 300 es\n", "", "", fragment}},
               message);
}

}  // namespace qx
