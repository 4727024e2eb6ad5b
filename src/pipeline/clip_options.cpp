// Changing the development options of an open clip.
#include <new>

#include "base/log.h"
#include "pipeline/clip_impl.h"

namespace qx {

namespace {

/// Lets the frames of the old options go: no job without waiters is in the queue or being read now. Requests that hold a finished one still
/// deliver it, but no later request finds it.
void ForgetFrames(Clip& clip) REQUIRES(clip.lock) {
  for (FrameJob* job = clip.jobs.first(); job != nullptr;) {
    FrameJob* const next = job->nextInClip.get();
    if (job->waiters == 0) {
      ReleaseJob(clip, job);
    } else if (job->state == JobState::kReady) {
      job->state = JobState::kDropped;
    }
    job = next;
  }
}

/// Validates `wanted` and puts it in force, or leaves everything as it was. `lut`: the newly loaded LUT, or null to keep the clip's.
int TakeOptions(Clip& clip, const DevelopOptions& wanted, std::unique_ptr<CubeLut> lut, Message message) REQUIRES(clip.lock) {
  LockGuard guard(clip.processorLock);
  for (std::unique_ptr<ProcessorSession>& session : clip.sessions) session.reset();
  clip.hasFullSession = false;
  if (DeriveDevelopParams(wanted, lut != nullptr ? lut.get() : clip.lut.get(), &clip.derived, message) != 0) return -1;
  if (lut != nullptr) clip.lut = std::move(lut);
  clip.options = wanted;
  return 0;
}

/// Exchanges the options while no reader works on the clip. Requests that come meanwhile wait for the new options.
int ExchangeOptions(Clip& clip, const DevelopOptions& wanted, std::unique_ptr<CubeLut> lut, Message message) REQUIRES(clip.optionsLock) {
  LockGuard guard(clip.lock);
  clip.optionsChanging = true;  // from here on only requests that already hold a job may queue another one
  int result = -1;
  try {
    CancelJobsLocked(clip);
    clip.pipeline.gpu().ReleaseSessions(clip);
    result = TakeOptions(clip, wanted, std::move(lut), message);
  } catch (const std::bad_alloc&) {  // requests must not wait for ever for the options that did not come
    message.Fail("out of memory");
  }
  ForgetFrames(clip);
  clip.optionsChanging = false;
  clip.changed.WakeAll();
  return result;
}

}  // namespace

int ApplyDevelopOptions(Clip* clip, const DevelopOptions* options, Message message) {
  if (clip == nullptr || options == nullptr) return -1;
  clip->pipeline.Start();
  const DevelopOptions wanted = *options;
  // What is compared below must still be in force at the exchange.
  LockGuard changing(clip->optionsLock);
  bool needsLut = false;
  {
    LockGuard guard(clip->lock);
    if (NeedsReopen(clip->options, wanted)) return 1;
    needsLut = wanted.hasLut() && LutTextOf(wanted) != LutTextOf(clip->options);
  }
  std::unique_ptr<CubeLut> lut;
  if (needsLut) {
    lut = std::make_unique<CubeLut>();
    if (LoadLutFile(LutPathOf(wanted), lut.get(), message) != 0) return -1;
  }
  const int result = ExchangeOptions(*clip, wanted, std::move(lut), message);
  LogPipeline("options: ev %.2f, wb %s %.0f/%.1f, demosaic %d, warp %d, vignette %d, lut %s -> %s", double(wanted.exposureEv),
              wanted.whiteBalanceOn != 0 ? "on" : "as shot", wanted.kelvin, wanted.tint, wanted.demosaic, wanted.warpPercent,
              wanted.vignettePercent, wanted.hasLut() ? "on" : "off", result == 0 ? "applied" : "rejected");
  return result;
}

}  // namespace qx
