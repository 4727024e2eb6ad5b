#include "pipeline/gpu_path.h"

#include <cstring>
#include <mutex>

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "pipeline/gpu_thread.h"
#include "pipeline/gpu_upload.h"
#include "platform/clock.h"

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

DevelopParams ParamsOf(Clip& clip) {
  LockGuard guard(clip.processorLock);
  return clip.derived.params;
}

/// A direct-transfer slot for the time of one frame.
class HeldSlot {
 public:
  HeldSlot(DirectSlots& slots, int slot) : slots_(slots), slot_(slot) {}
  HeldSlot(const HeldSlot&) = delete;
  HeldSlot& operator=(const HeldSlot&) = delete;
  ~HeldSlot() { slots_.Free(slot_); }

 private:
  DirectSlots& slots_;
  const int slot_;
};

/// The reader's side of development on the graphics card.
class ThreadedGpuPath final : public GpuPath {
 public:
  ThreadedGpuPath(GlDriverFactory createDriver, const GpuSwitches& switches) : thread_(std::move(createDriver), switches) {}

  int32_t EnsureStarted() override { return thread_.EnsureStarted(); }
  bool HasOutputPass() const override { return thread_.status() == 1 && thread_.hasOutputPass(); }
  double BusySeconds() const override { return thread_.BusySeconds(); }
  void Shutdown() override { thread_.Shutdown(); }

  int Develop(FrameJob& job, const RawFrame& raw) override {
    if (EnsureStarted() <= 0) return -1;
    const DevelopParams params = ParamsOf(*job.clip);
    GpuRequest request;
    request.clip = job.clip;
    request.job = &job;
    request.raw = &raw;
    request.params = &params;
    return thread_.isDirect() ? DevelopDirect(&request) : thread_.Post(&request);
  }

  void ReleaseSessions(Clip& clip) override {
    if (thread_.status() != 1) return;
    GpuRequest request;
    request.kind = GpuRequest::Kind::kReleaseSessions;
    request.clip = &clip;
    (void)thread_.Post(&request);  // a thread that quits destroys all sessions
  }

 private:
  int DevelopDirect(GpuRequest* request) {
    FrameJob& job = *request->job;
    FrameBuffer& output = IsPacked(job.gpuOutputCode) ? job.converted : job.developed;
    const UploadPlan plan = PlanUpload(*request->clip, *request->raw, thread_.switches());
    request->uploadBytes = plan.bytes;
    request->slot = ReserveSlot(*request->clip, plan.byReader ? SampleBufferBytes(plan.bytes) : 0, output.capacity());
    if (request->slot < 0) return -1;
    const HeldSlot held(thread_.directSlots(), request->slot);
    if (plan.byReader) {
      WriteUpload(plan, thread_.directSlots().uploadMemory(request->slot));
      request->uploaded = true;
      request->layout = plan.layout;
    }
    DirectCompletion completion;
    request->completion = &completion;
    if (thread_.Post(request) != GpuRequest::kDone) return -1;
    const double posted = MonotonicMs();
    completion.arrived.Wait();
    const double arrived = MonotonicMs();
    job.times.readBackWaitMs = arrived - posted;
    if (completion.failed) {
      LogPipeline("GPU frame failed: %s", "reading the GPU output failed");
      ReleaseSessions(*request->clip);  // the clip goes on on the processor
      return -1;
    }
    std::memcpy(output.data(), thread_.directSlots().readBackMemory(request->slot), size_t(output.capacity()));
    job.times.copyMs = MonotonicMs() - arrived;
    return 0;
  }

  /// Waits until a slot is free; negative when there will be none.
  int ReserveSlot(Clip& clip, uint64_t uploadBytes, uint64_t readBackBytes) {
    while (true) {
      GpuRequest request;
      request.kind = GpuRequest::Kind::kReserveSlot;
      request.clip = &clip;
      request.uploadBytes = uploadBytes;
      request.readBackBytes = readBackBytes;
      const int32_t result = thread_.Post(&request);
      if (result == GpuRequest::kDone) return request.slot;
      if (result != GpuRequest::kNoSlot) return -1;
      SleepMilliseconds(1);
    }
  }

  GpuThread thread_;
};

}  // namespace

std::unique_ptr<GpuPath> CreateAbsentGpuPath() {
  return std::make_unique<AbsentGpuPath>();
}

std::unique_ptr<GpuPath> CreateGpuPath(GlDriverFactory createDriver, const GpuSwitches& switches) {
  return std::make_unique<ThreadedGpuPath>(std::move(createDriver), switches);
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
