// Requests for frames: finding or queueing the job, waiting for it, delivering it, and queueing what the host will want next.
#include <algorithm>

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "pipeline/delivery.h"
#include "platform/clock.h"

namespace qx {

namespace {

constexpr double kSlowPrefetchMs = 5;

struct FrameRequest {
  int64_t frame;
  int32_t sizeLevel;
  OutputPixelFormat format;
  int64_t step = 1;  // of the host's requests, this one included
};

/// The level that is delivered when `level` is asked for.
int32_t OfferedLevel(const OutputSizes& sizes, int32_t level) {
  level = std::clamp(level, kFullSize, kQuarterSize);
  if (level == kQuarterSize && sizes.quarter.width == 0) level = kHalfSize;
  return sizes.half.width == 0 ? kFullSize : level;
}

/// The job finished with nothing but a frame in another format than the request's.
bool HoldsOnlyOtherFormat(const FrameJob& job, OutputPixelFormat format) {
  return job.HasFrame() && job.developed.data() == nullptr && !job.isConvertedTo(format);
}

void WaitUntilFinished(Clip& clip, FrameJob* job) REQUIRES(clip.lock) {
  ++job->waiters;
  job->stamp = ++clip.lastStamp;
  while (job->state.load() < JobState::kReady) clip.changed.Wait(clip.lock);
}

/// Records the request, finds or queues its job and waits until that has finished in one way or another. The job stays pinned by its
/// waiters. Null when memory is short.
FrameJob* WaitForJob(Clip& clip, FrameRequest& request) {
  LockGuard guard(clip.lock);
  while (clip.optionsChanging) clip.changed.Wait(clip.lock);
  clip.history.Record(request.frame);
  request.step = clip.history.step();
  clip.hostFormat = request.format;
  clip.formats.Record(request.format);
  clip.formatsMixed = clip.formats.isMixed();
  clip.pipeline.DropQueued(clip, [&](const FrameJob& job) { return IsStale(job, request.frame); });
  FrameJob* job = FindOrQueueJob(clip, request.frame, request.sizeLevel, true);
  if (job == nullptr) return nullptr;
  WaitUntilFinished(clip, job);
  if (HoldsOnlyOtherFormat(*job, request.format)) {
    --job->waiters;
    job->state = JobState::kDropped;
    clip.hostFormat = request.format;  // another request may have set its own meanwhile
    job = FindOrQueueJob(clip, request.frame, request.sizeLevel, true);
    if (job != nullptr) WaitUntilFinished(clip, job);
  }
  return job;
}

/// Queues the frames that the host's step leads to.
void PrefetchAhead(Clip& clip, const FrameRequest& request) REQUIRES(clip.lock) {
  const int32_t count = std::min(clip.pipeline.config().prefetch, ClipJobCapacity(clip, request.sizeLevel) - 2);
  for (int32_t k = 1; k <= count; ++k) {
    const int64_t frame = clip.history.lastRequested() + request.step * k;
    if (frame >= clip.info.frameCount) break;
    FindOrQueueJob(clip, frame, request.sizeLevel, false);
  }
}

/// Lets go of the job and prefetches.
void EndRequest(Clip& clip, const FrameRequest& request, FrameJob* job, bool delivered) {
  const FreeingThread& freeing = clip.pipeline.freeing();
  double prefetchMs = 0;
  int32_t jobsBefore = 0, jobsAfter = 0;
  const uint64_t bytesBefore = freeing.bytesFreedByCallers(), freeingBefore = freeing.microsecondsFreeingByCallers();
  {
    LockGuard guard(clip.lock);
    --job->waiters;
    if (!delivered) return;
    job->served = true;
    jobsBefore = clip.jobs.count();
    const double start = MonotonicMs();
    if (!clip.optionsChanging) PrefetchAhead(clip, request);
    prefetchMs = MonotonicMs() - start;
    jobsAfter = clip.jobs.count();
  }
  if (prefetchMs <= kSlowPrefetchMs) return;
  LogPipeline("  prefetch %.1f ms: reqs %d -> %d, freed %lld MB in %.1f ms", prefetchMs, jobsBefore, jobsAfter,
              static_cast<long long>((freeing.bytesFreedByCallers() - bytesBefore) >> 20),
              double(freeing.microsecondsFreeingByCallers() - freeingBefore) / 1000);
}

}  // namespace

int GetFrame(Clip* clip, int64_t frame, int64_t logFrame, int32_t sizeLevel, OutputPixelFormat format, uint8_t* destination,
             uint32_t destinationRowBytes, int32_t* usedGpu, double* ms) {
  if (clip == nullptr || destination == nullptr) return -1;
  clip->pipeline.Start();
  FrameRequest request{std::clamp<int64_t>(frame, 0, clip->info.frameCount - 1), OfferedLevel(clip->sizes, sizeLevel), format};
  const int32_t width = LevelSize(clip->sizes, request.sizeLevel).width;
  if (destinationRowBytes < FormatRowBytes(format, width)) return -1;

  const double start = MonotonicMs();
  FrameJob* job = WaitForJob(*clip, request);
  if (job == nullptr) return -1;
  const double waited = MonotonicMs();
  Delivery delivery = Delivery::kNone;
  if (job->HasFrame()) delivery = DeliverFrame(*job, clip->sizes, format, destination, destinationRowBytes, clip->pipeline.copyPool());
  const double end = MonotonicMs();

  const bool delivered = delivery != Delivery::kNone;
  if (usedGpu != nullptr) *usedGpu = job->usedGpu;
  if (ms != nullptr) *ms = end - start;
  if (LogIsOn()) {
    const JobTimes& times = job->times;
    LogPipeline("frame %lld%s: %s %s, read %.1f, develop %.1f (readback wait %.1f, copy %.1f), wait %.1f, %s %.1f ms, step %lld",
                static_cast<long long>(logFrame), kLevelSuffixes[request.sizeLevel], delivered ? "ok" : "FAIL",
                job->usedGpu ? "GPU" : "CPU", times.readMs, times.developMs, times.readBackWaitMs, times.copyMs, waited - start,
                delivery == Delivery::kCopy ? "copy" : "convert", end - waited, static_cast<long long>(request.step));
  }
  EndRequest(*clip, request, job, delivered);
  return delivered ? 0 : -1;
}

void PrefetchFrame(Clip* clip, int64_t frame, int32_t sizeLevel) {
  if (clip == nullptr) return;
  clip->pipeline.Start();
  if (sizeLevel == kQuarterSize && clip->sizes.quarter.width == 0) sizeLevel = kHalfSize;
  if (frame < 0 || frame >= clip->info.frameCount) return;
  if (sizeLevel != kFullSize && clip->sizes.half.width == 0) return;
  LockGuard guard(clip->lock);
  if (clip->optionsChanging) return;
  if (FrameJob* job = FindOrQueueJob(*clip, frame, sizeLevel, false)) job->stamp = ++clip->lastStamp;
}

}  // namespace qx
