// A real OpenGL context for tests, on whatever driver the machine has, software included.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "develop/gpu/context.h"

namespace qx {

/// Lets the process use software renderers from now on.
void AllowSoftwareGpu();

/// A context that is current on the calling thread for the object's lifetime, with its functions loaded. Collects what the driver reports
/// as an error, by KHR_debug.
class GpuFixture {
 public:
  GpuFixture();
  ~GpuFixture();
  /// False: this machine gives no context. Tests skip then.
  bool ready() const { return ready_; }
  GlDriver& driver() { return *driver_; }
  const std::string& description() const { return description_; }
  /// Messages of type error so far; takes them.
  std::vector<std::string> TakeErrors();

 private:
  std::unique_ptr<GlDriver> driver_;
  std::string description_;
  bool ready_ = false;
  std::vector<std::string> errors_;
};

/// In a test's body: makes `gpu` or skips.
#define QX_GPU_OR_SKIP(gpu) \
  GpuFixture gpu;           \
  if (!gpu.ready()) GTEST_SKIP() << "no OpenGL context here: " << gpu.description()

}  // namespace qx
