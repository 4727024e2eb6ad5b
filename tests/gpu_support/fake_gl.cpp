#include "tests/gpu_support/fake_gl.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

namespace qx {

namespace {

FakeGl* script = nullptr;

// State of the one context; its thread's own.
struct Context {
  GLenum error = GL_NO_ERROR;
  GLuint lastName = 0;
  GLuint64 clockNs = 0;
  std::map<GLenum, GLuint> bound;
  std::map<GLuint, std::vector<uint8_t>> memory;
  std::map<GLuint, std::string> sources;
};
Context context;

// What a function returns that has failed.
template <typename R>
R Failed() {
  context.error = GL_OUT_OF_MEMORY;
  return R();
}
template <>
void Failed<void>() {
  context.error = GL_OUT_OF_MEMORY;
}

/// `work` unless it is this call's turn to fail.
template <typename Work>
auto Try(Work&& work) -> decltype(work()) {
  if (!script->CountCall()) return Failed<decltype(work())>();
  return work();
}

GLuint NewName() {
  script->AddObjects(1);
  return ++context.lastName;
}

void APIENTRY GenNames(GLsizei n, GLuint* names) {
  Try([&] {
    for (GLsizei i = 0; i < n; ++i) names[i] = NewName();
  });
}
// Deleting always takes place: a driver that fails to delete cannot be helped.
void APIENTRY DeleteNames(GLsizei n, const GLuint* names) {
  Try([] {});
  for (GLsizei i = 0; i < n; ++i) script->AddObjects(names[i] != 0 ? -1 : 0);
}
void APIENTRY DeleteName(GLuint name) {
  DeleteNames(1, &name);
}
GLuint APIENTRY CreateShader(GLenum) {
  return Try(NewName);
}
GLuint APIENTRY CreateProgram() {
  return Try(NewName);
}
void APIENTRY ShaderSource(GLuint shader, GLsizei, const GLchar* const* text, const GLint*) {
  Try([&] { context.sources[shader] = *text; });
}
void APIENTRY GetShaderiv(GLuint shader, GLenum, GLint* value) {
  Try([&] { *value = script->refusesShader(context.sources[shader]) ? GL_FALSE : GL_TRUE; });
}
void APIENTRY GetProgramiv(GLuint, GLenum, GLint* value) {
  Try([&] { *value = GL_TRUE; });
}
void APIENTRY GetInfoLog(GLuint, GLsizei size, GLsizei*, GLchar* log) {
  Try([&] { std::strncpy(log, "the driver's words", size_t(size)); });
}
GLint APIENTRY GetUniformLocation(GLuint, const GLchar*) {
  return Try([] { return GLint(1); });
}
void APIENTRY GetIntegerv(GLenum name, GLint* values) {
  Try([&] {
    values[0] = 16384;
    if (name == GL_MAX_VIEWPORT_DIMS) values[1] = 16384;
  });
}
void APIENTRY GetInteger64v(GLenum, GLint64* value) {
  Try([&] { *value = GLint64(1) << 30; });
}
const GLubyte* APIENTRY GetString(GLenum name) {
  return reinterpret_cast<const GLubyte*>(name == GL_VERSION ? "4.6 made up" : name == GL_RENDERER ? "Made-up card" : "Nobody");
}
GLenum APIENTRY GetError() {
  const bool fails = !script->CountCall();
  return fails ? GL_OUT_OF_MEMORY : std::exchange(context.error, GLenum(GL_NO_ERROR));
}
GLenum APIENTRY CheckFramebufferStatus(GLenum) {
  return Try([] { return GLenum(GL_FRAMEBUFFER_COMPLETE); });
}
void APIENTRY BindBuffer(GLenum target, GLuint buffer) {
  Try([&] { context.bound[target] = buffer; });
}
void* APIENTRY MapBufferRange(GLenum target, GLintptr, GLsizeiptr size, GLbitfield) {
  return Try([&]() -> void* {
    std::vector<uint8_t>& memory = context.memory[context.bound[target]];
    memory.resize(std::max(memory.size(), size_t(size)), 255);
    return memory.data();
  });
}
void APIENTRY BufferStorage(GLenum, GLsizeiptr, const void*, GLbitfield) {
  Try([] {
    if (!script->storesBuffers) Failed<void>();
  });
}
GLsync APIENTRY FenceSync(GLenum, GLbitfield) {
  return Try([] { return reinterpret_cast<GLsync>(uintptr_t(NewName())); });
}
void APIENTRY DeleteSync(GLsync sync) {
  const GLuint name = sync != nullptr ? 1 : 0;
  DeleteNames(1, &name);
}
GLenum APIENTRY ClientWaitSync(GLsync, GLbitfield, GLuint64) {
  if (!script->CountCall()) return GL_WAIT_FAILED;
  return script->fencePends() ? GL_TIMEOUT_EXPIRED : GL_ALREADY_SIGNALED;
}
void APIENTRY GetQueryObjectui64v(GLuint, GLenum, GLuint64* value) {
  Try([&] { *value = context.clockNs += 50'000'000; });
}

// Every other function does nothing.
template <typename Function>
struct Nothing;
template <typename R, typename... Arguments>
struct Nothing<R(APIENTRYP)(Arguments...)> {
  static R APIENTRY Call(Arguments...) {
    return Try([] { return R(); });
  }
};

template <typename Function>
GlFunction Any(Function* function) {
  return reinterpret_cast<GlFunction>(function);
}

GlFunction Find(const std::string& name) {
  static const std::map<std::string, GlFunction> working = {
      {"glGenBuffers", Any(GenNames)},
      {"glGenTextures", Any(GenNames)},
      {"glGenFramebuffers", Any(GenNames)},
      {"glGenVertexArrays", Any(GenNames)},
      {"glGenQueries", Any(GenNames)},
      {"glDeleteBuffers", Any(DeleteNames)},
      {"glDeleteTextures", Any(DeleteNames)},
      {"glDeleteFramebuffers", Any(DeleteNames)},
      {"glDeleteVertexArrays", Any(DeleteNames)},
      {"glDeleteQueries", Any(DeleteNames)},
      {"glDeleteShader", Any(DeleteName)},
      {"glDeleteProgram", Any(DeleteName)},
      {"glCreateShader", Any(CreateShader)},
      {"glCreateProgram", Any(CreateProgram)},
      {"glShaderSource", Any(ShaderSource)},
      {"glGetShaderiv", Any(GetShaderiv)},
      {"glGetProgramiv", Any(GetProgramiv)},
      {"glGetShaderInfoLog", Any(GetInfoLog)},
      {"glGetProgramInfoLog", Any(GetInfoLog)},
      {"glGetUniformLocation", Any(GetUniformLocation)},
      {"glGetIntegerv", Any(GetIntegerv)},
      {"glGetInteger64v", Any(GetInteger64v)},
      {"glGetString", Any(GetString)},
      {"glGetError", Any(GetError)},
      {"glCheckFramebufferStatus", Any(CheckFramebufferStatus)},
      {"glBindBuffer", Any(BindBuffer)},
      {"glMapBufferRange", Any(MapBufferRange)},
      {"glBufferStorage", Any(BufferStorage)},
      {"glFenceSync", Any(FenceSync)},
      {"glDeleteSync", Any(DeleteSync)},
      {"glClientWaitSync", Any(ClientWaitSync)},
      {"glGetQueryObjectui64v", Any(GetQueryObjectui64v)},
  };
  if (const auto found = working.find(name); found != working.end()) return found->second;
#define QX_NOTHING(function, type) \
  if (name == "gl" #function) return reinterpret_cast<GlFunction>(&Nothing<type>::Call);
  QX_GL_FUNCTIONS(QX_NOTHING)
#undef QX_NOTHING
  return nullptr;
}

class FakeGlDriver final : public GlDriver {
 public:
  FakeGlDriver() { context = {}; }
  std::vector<GlPlace> Places() override { return {}; }
  bool OpenPlace(GlPlace) override { return true; }
  void ClosePlace() override {}
  bool CreateLegacy() override { return true; }
  bool CanCreateAttempts() override { return false; }
  bool CreateAttempt(const ContextAttempt&) override { return false; }
  void KeepAttempt() override {}
  void DropAttempt() override {}
  bool HasCurrentContext() override { return true; }
  GlFunction Function(const char* name) override { return script->missing.count(name) != 0 ? nullptr : Find(name); }
};

}  // namespace

FakeGl::FakeGl() {
  script = this;
}

FakeGl::~FakeGl() {
  script = nullptr;
}

std::unique_ptr<GlDriver> FakeGl::CreateDriver() {
  return std::make_unique<FakeGlDriver>();
}

bool FakeGl::CountCall() {
  const int64_t n = ++calls_;
  onCall(n);
  return n != failAt && (failFrom < 0 || n < failFrom);
}

}  // namespace qx
