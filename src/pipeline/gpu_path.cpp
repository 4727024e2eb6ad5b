#include "pipeline/gpu_path.h"

#include <mutex>

#include "base/log.h"
#include "pipeline/clip.h"

namespace qx {

namespace {

class AbsentGpuPath final : public GpuPath {
 public:
  int32_t EnsureStarted() override {
    std::call_once(logged_, [] { LogPipeline("GL: %s (%s)", "no OpenGL context in this build", "no GPU, CPU path"); });
    return -1;
  }
  bool HasOutputPass() const override { return false; }
  int Develop(FrameJob&, const RawFrame&) override { return -1; }
  void ReleaseSessions(Clip&) override {}
  double BusySeconds() const override { return 0; }
  void Shutdown() override {}

 private:
  std::once_flag logged_;
};

}  // namespace

std::unique_ptr<GpuPath> CreateAbsentGpuPath() {
  return std::make_unique<AbsentGpuPath>();
}

OutputPixelFormat ChooseGpuOutputCode(bool hasOutputPass, OutputPixelFormat hostFormat, OutputKind outputKind, int32_t sizeLevel) {
  const bool linear = outputKind == OutputKind::kLinear;
  bool direct = false;
  switch (hostFormat) {
    case OutputPixelFormat::kBgra16:
    case OutputPixelFormat::kBgra8:
      direct = true;
      break;
    case OutputPixelFormat::kBgraFloat:
      direct = linear;
      break;
    case OutputPixelFormat::kUyvy:
    case OutputPixelFormat::kV210:
    case OutputPixelFormat::kVuyaFloat:
      direct = sizeLevel != kQuarterSize && !linear;
      break;
    case OutputPixelFormat::kRgb48:
    case OutputPixelFormat::kRgb48ReadBack:
      break;
  }
  return hasOutputPass && direct ? hostFormat : OutputPixelFormat::kRgb48ReadBack;
}

}  // namespace qx
