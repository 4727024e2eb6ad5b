#include "tests/gpu_support/gpu_fixture.h"

#include <cstdlib>
#include <utility>

#include "tests/support/system.h"

// The software driver has worker threads of its own and is not built for the thread sanitizer, which therefore misses the locks inside it.
// The GPU thread itself is tested over a made-up driver too, where nothing is left out.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
  return "race:swrast_dri.so\nmutex:swrast_dri.so\ncalled_from_lib:swrast_dri.so\n";
}

namespace qx {

namespace {

void APIENTRY CollectMessage(GLenum, GLenum type, GLuint, GLenum, GLsizei, const GLchar* message, const void* errors) {
  if (type != GL_DEBUG_TYPE_ERROR) return;
  static_cast<std::vector<std::string>*>(const_cast<void*>(errors))->push_back(message);
}

}  // namespace

void AllowSoftwareGpu() {
  SetEnvironment("QORIX_IMPORT_GPU", "software");
}

GpuFixture::GpuFixture() {
  AllowSoftwareGpu();
  driver_ = CreateSystemGlDriver();
  MessageBuffer<256> description;
  ready_ = CreateGpuContext(*driver_, description) == 0 && UseCurrentContext(*driver_, description) == 0;
  description_ = description.text();
  if (!ready_) return;
  const auto lookup = [&](const char* name) { return driver_->Function(name); };
  const auto enable = LookUpGlFunction<PFNGLENABLEPROC>(lookup, "glEnable");
  const auto onMessage = LookUpGlFunction<PFNGLDEBUGMESSAGECALLBACKPROC>(lookup, "glDebugMessageCallback");
  if (enable == nullptr || onMessage == nullptr) return;
  enable(GL_DEBUG_OUTPUT);
  enable(GL_DEBUG_OUTPUT_SYNCHRONOUS);
  onMessage(CollectMessage, &errors_);
}

GpuFixture::~GpuFixture() = default;

std::vector<std::string> GpuFixture::TakeErrors() {
  return std::exchange(errors_, {});
}

}  // namespace qx
