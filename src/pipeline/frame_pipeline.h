// The threads that turn queued frame jobs into developed frames.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "base/lock.h"
#include "pipeline/buffer_pool.h"
#include "pipeline/job_queue.h"
#include "pipeline/pipeline_backend.h"
#include "pipeline/pipeline_config.h"
#include "platform/thread.h"

namespace qx {

struct PipelineLoads {
  double readers = 0, gpu = 0, process = 0;
};

/// Reader threads, the job queue of all clips, worker pools, the freeing thread and the graphics path. Any thread may call any member.
/// Lock order: a clip's lock, then queueLock_. The threads start with Start() and never start again after Shutdown().
class FramePipeline {
 public:
  FramePipeline(PipelineBackend backend, const PipelineConfig& config);
  /// For tests only: the process-wide pipeline is never destroyed. All clips are closed. Waits for the threads without limit.
  ~FramePipeline();

  /// Starts the threads at the first call. Every operation that may queue a job calls it first.
  void Start() EXCLUDES(queueLock_);
  void SetExportMode(bool exportMode) EXCLUDES(readersLock_, queueLock_);
  /// Stops the readers and the GPU thread, waiting at most 10 seconds for each. Jobs still queued fail, and later ones are dropped at once,
  /// so that no request waits for a frame that nobody develops. Does nothing before Start().
  void Shutdown() EXCLUDES(readersLock_, queueLock_);

  const PipelineConfig& config() const { return config_; }
  const PipelineBackend& backend() const { return backend_; }
  bool exportMode() const { return exportMode_; }
  /// The clip cache's budget in the current mode.
  uint64_t clipBudgetBytes() const { return config_.clipCacheBytes * (exportMode_ ? 2 : 1); }
  GpuPath& gpu() { return *gpu_; }
  FreeingThread& freeing() { return freeing_; }
  WorkerPool* developPool() { return developPool_.get(); }
  WorkerPool* viewCopyPool() { return viewCopyPool_.get(); }
  /// The copy pool of the current mode.
  WorkerPool* copyPool() { return exportMode_ ? exportCopyPool_.get() : viewCopyPool_.get(); }

  /// Puts a new job at the head (`urgent`) or the tail of the queue and wakes readers. After Shutdown() the job is dropped instead.
  void Enqueue(FrameJob* job, bool urgent) EXCLUDES(queueLock_);
  /// Moves a job that still waits in the queue to its head.
  void MoveToFront(FrameJob* job) EXCLUDES(queueLock_);
  /// Takes the job that ChooseQueuedVictim picks out of the queue; null when there is none.
  FrameJob* UnqueueVictim(const JobList& jobs) EXCLUDES(queueLock_);
  /// Takes the clip's queued jobs for which `isUnwanted(const FrameJob&)` holds out of the queue and drops them. The caller holds the clip
  /// lock.
  template <typename Predicate>
  void DropQueued(const Clip& clip, Predicate&& isUnwanted) EXCLUDES(queueLock_) {
    LockGuard guard(queueLock_);
    FrameJob* dropped = queue_.RemoveIf([&](const FrameJob& job) { return job.clip == &clip && isUnwanted(job); });
    for (; dropped != nullptr; dropped = dropped->nextInQueue) dropped->state = JobState::kDropped;
  }

  /// Waits for a job that reader `reader` may take, and marks it as being read. Null when the pipeline stops.
  FrameJob* TakeJob(int reader) EXCLUDES(queueLock_);
  void AddReaderBusyTime(double milliseconds) { readerBusyMicroseconds_ += uint64_t(milliseconds * 1000); }
  /// Loads since the previous call of any thread; all 0 at the first call.
  PipelineLoads SampleLoads() EXCLUDES(sampleLock_);

 private:
  void StartOnce() EXCLUDES(readersLock_, queueLock_);
  /// Takes the queue's head for a reader.
  FrameJob* TakeHeadLocked() REQUIRES(queueLock_);
  void FailQueuedJobs() EXCLUDES(queueLock_);

  // Fixed after construction.
  const PipelineBackend backend_;
  const PipelineConfig config_;
  const std::unique_ptr<GpuPath> gpu_;

  // Fixed after Start().
  std::once_flag started_;
  WorkerPoolPtr viewCopyPool_, exportCopyPool_, developPool_;

  FreeingThread freeing_;
  std::atomic<bool> exportMode_{false};
  std::atomic<int32_t> createdReaders_{0};  // one more than the highest index whose thread runs
  std::atomic<uint64_t> readerBusyMicroseconds_{0};

  Mutex queueLock_;
  CondVar viewWork_, exportWork_;  // readers below viewReaders sleep on the first, the others on the second
  JobQueue queue_ GUARDED_BY(queueLock_);
  bool stop_ GUARDED_BY(queueLock_) = false;

  Mutex readersLock_;  // taken before queueLock_
  std::array<std::unique_ptr<Thread>, kMaxReaders> readers_ GUARDED_BY(readersLock_);

  struct LoadSample {
    bool taken = false;
    double wallSeconds = 0, readerSeconds = 0, gpuSeconds = 0, processSeconds = 0;
  };
  Mutex sampleLock_;
  LoadSample lastSample_ GUARDED_BY(sampleLock_);
};

/// The pipeline of this process, created at the first call and never destroyed.
FramePipeline& ProcessPipeline();

}  // namespace qx
