// Finding, making, releasing and finishing the jobs of a clip.
#include <algorithm>
#include <new>

#include "base/log.h"
#include "pipeline/clip_impl.h"

namespace qx {

namespace {

FrameJob* FindJob(const JobList& jobs, int64_t frame, int32_t sizeLevel) {
  for (FrameJob* job = jobs.first(); job != nullptr; job = job->nextInClip.get()) {
    if (job->frame == frame && job->sizeLevel == sizeLevel && job->state.load() <= JobState::kReady) return job;
  }
  return nullptr;
}

/// Releases jobs until one more fits, or none may be released: the clip then holds more than its capacity.
void MakeRoom(Clip& clip, int32_t sizeLevel) REQUIRES(clip.lock) {
  const int32_t capacity = ClipJobCapacity(clip, sizeLevel);
  while (clip.jobs.count() >= capacity) {
    FrameJob* victim = ChooseFinishedVictim(clip.jobs, clip.history.lastRequested());
    if (victim == nullptr) victim = clip.pipeline.UnqueueVictim(clip.jobs);
    if (victim == nullptr) return;
    ReleaseJob(clip, victim);
  }
}

}  // namespace

CacheShape CurrentCacheShape(const Clip& clip) {
  const bool gpuConverts = clip.pipeline.gpu().HasOutputPass() && !clip.gpuFailed && !clip.processorOnly && !CpuOnly();
  return {clip.sizes, clip.hostFormat, gpuConverts};
}

int32_t ClipJobCapacity(Clip& clip, int32_t sizeLevel) {
  return JobCapacity(CurrentCacheShape(clip), sizeLevel, clip.pipeline.clipBudgetBytes());
}

FrameJob* FindOrQueueJob(Clip& clip, int64_t frame, int32_t sizeLevel, bool urgent) {
  frame = std::clamp<int64_t>(frame, 0, clip.info.frameCount - 1);
  if (FrameJob* found = FindJob(clip.jobs, frame, sizeLevel)) {
    if (urgent && found->state == JobState::kQueued) clip.pipeline.MoveToFront(found);
    return found;
  }
  MakeRoom(clip, sizeLevel);
  std::unique_ptr<FrameJob> created(new (std::nothrow) FrameJob);
  if (created == nullptr) return nullptr;
  created->clip = &clip;
  created->frame = frame;
  created->sizeLevel = sizeLevel;
  created->stamp = ++clip.lastStamp;
  FrameJob* job = clip.jobs.PushFront(std::move(created));
  clip.pipeline.Enqueue(job, urgent);
  return job;
}

void ReleaseJob(Clip& clip, FrameJob* job) {
  const std::unique_ptr<FrameJob> released = clip.jobs.Remove(job);
  ReturnBuffer(clip, std::move(released->developed));
  ReturnBuffer(clip, std::move(released->converted));
}

void CancelJobsLocked(Clip& clip) {
  clip.pipeline.DropQueued(clip, [](const FrameJob&) { return true; });
  clip.changed.WakeAll();
  while (clip.activeReaders > 0) clip.changed.Wait(clip.lock);
}

void FinishJob(FrameJob* job, bool ready) {
  Clip& clip = *job->clip;
  LockGuard guard(clip.lock);
  job->state = ready ? JobState::kReady : JobState::kFailed;
  --clip.activeReaders;
  clip.changed.WakeAll();
}

FrameBuffer TakeBuffer(Clip& clip, uint64_t bytes) {
  return clip.spares.Take(bytes);
}

void ReturnBuffer(Clip& clip, FrameBuffer buffer) {
  if (buffer.data() == nullptr) return;
  const uint64_t frameBytes = BytesPerFrame(CurrentCacheShape(clip), kFullSize);
  FrameBuffer leaving = clip.spares.Keep(std::move(buffer), frameBytes);
  if (leaving.data() != nullptr) clip.pipeline.freeing().Discard(std::move(leaving));
}

void CancelClipJobs(Clip* clip) {
  if (clip == nullptr) return;
  clip->pipeline.Start();
  LockGuard guard(clip->lock);
  CancelJobsLocked(*clip);
}

}  // namespace qx
