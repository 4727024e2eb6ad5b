// Development on the graphics card, as the pipeline sees it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "develop/develop_params.h"
#include "develop/gpu/context.h"
#include "develop/pixel_format.h"
#include "media/raw_frame.h"
#include "pipeline/frame_job.h"
#include "pipeline/gpu_switches.h"

namespace qx {

/// One per pipeline, called by its reader threads. A thread of its own does the work.
class GpuPath {
 public:
  virtual ~GpuPath() = default;
  /// Starts the GPU thread at the first call and waits until it knows what the machine has: +1 usable, -1 no GPU, for the rest of the
  /// process.
  virtual int32_t EnsureStarted() = 0;
  /// The output pass writes host formats directly. False until started.
  virtual bool HasOutputPass() const = 0;
  /// Develops `raw` into the job's developed buffer (`gpuOutputCode` kRgb48ReadBack) or its converted buffer (the other codes), which the
  /// caller has allocated, and fills the job's times but for the read time. 0, or -1 when the frame must be developed on the processor.
  [[nodiscard]] virtual int Develop(FrameJob& job, const RawFrame& raw) = 0;
  /// Forgets what the GPU thread holds for the clip; returns when that is done. A reader that works on the clip may make it anew.
  virtual void ReleaseSessions(Clip& clip) = 0;
  /// Time that the GPU thread has been working so far.
  virtual double BusySeconds() const = 0;
  /// Stops the GPU thread, waiting at most 10 seconds.
  virtual void Shutdown() = 0;
};

/// The graphics path of a build that has none: EnsureStarted answers -1 and logs that, once.
std::unique_ptr<GpuPath> CreateAbsentGpuPath();

using GlDriverFactory = std::function<std::unique_ptr<GlDriver>()>;
/// The graphics path over a driver, which is created on the GPU thread.
std::unique_ptr<GpuPath> CreateGpuPath(GlDriverFactory createDriver, const GpuSwitches& switches);

/// The format in which the graphics card hands out a frame: the host's own where the output pass can write it, else 16-bit RGB.
OutputPixelFormat ChooseGpuOutputCode(bool hasOutputPass, OutputPixelFormat hostFormat, OutputKind outputKind, int32_t sizeLevel);

}  // namespace qx
