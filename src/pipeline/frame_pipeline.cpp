#include "pipeline/frame_pipeline.h"

#include <algorithm>

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "pipeline/frame_pipeline_control.h"
#include "pipeline/frame_reader.h"
#include "platform/clock.h"
#include "platform/cpu_features.h"

namespace qx {

namespace {

constexpr double kShutdownLimitMs = 10000;

}  // namespace

FramePipeline::FramePipeline(PipelineBackend backend, const PipelineConfig& config)
    : backend_(std::move(backend)), config_(config), gpu_(backend_.createGpuPath()) {}

FramePipeline::~FramePipeline() {
  Shutdown();
  LockGuard guard(readersLock_);
  for (const std::unique_ptr<Thread>& reader : readers_) {
    if (reader != nullptr) reader->Join();
  }
}

void FramePipeline::Start() {
  std::call_once(started_, [this] { StartOnce(); });
}

void FramePipeline::StartOnce() {
  LogPipeline("pipeline: readers %d (export %d), prefetch %d, in flight %d, clip cache %d MB", config_.viewReaders, config_.exportReaders,
              config_.prefetch, config_.inFlight, int(config_.clipCacheBytes >> 20));
  viewCopyPool_ = worker_pool_create(config_.copyThreads);
  exportCopyPool_ = worker_pool_create(config_.exportCopyThreads);
  developPool_ = worker_pool_create(config_.developThreads);
  LockGuard guard(readersLock_);
  for (int i = 0; i < config_.exportReaders; ++i) {
    readers_[size_t(i)] = Thread::Start("qx reader", [this, i] { FrameReader(*this, i).Run(); });
    if (readers_[size_t(i)] != nullptr) createdReaders_ = i + 1;
  }
}

void FramePipeline::SetExportMode(bool exportMode) {
  Start();
  if (exportMode_ == exportMode) return;  // every frame request comes here: no lock when nothing changes
  // Readers that could not come back would stay slow in view mode, for the rest of the process.
  const bool lowersReaders = exportMode && PriorityCanBeRaised();
  {
    LockGuard guard(readersLock_);
    if (exportMode_.exchange(exportMode) == exportMode) return;
    const ThreadPriority priority = lowersReaders ? ThreadPriority::kBelowNormal : ThreadPriority::kNormal;
    for (const std::unique_ptr<Thread>& reader : readers_) {
      if (reader != nullptr) reader->SetPriority(priority);
    }
  }
  LogPipeline("mode: %s", exportMode ? "export (all readers below normal priority, wider copy)" : "view");
  LockGuard guard(queueLock_);
  exportWork_.WakeAll();
}

void FramePipeline::Shutdown() {
  {
    LockGuard readersGuard(readersLock_);
    const bool hasReaders = std::any_of(readers_.begin(), readers_.end(), [](const auto& reader) { return reader != nullptr; });
    if (!hasReaders) return;
    {
      LockGuard guard(queueLock_);
      stop_ = true;
      viewWork_.WakeAll();
      exportWork_.WakeAll();
    }
    const double deadline = MonotonicMs() + kShutdownLimitMs;
    for (std::unique_ptr<Thread>& reader : readers_) {
      const int remaining = int(std::max(deadline - MonotonicMs(), 0.0));
      if (reader != nullptr && reader->JoinFor(remaining)) reader.reset();
    }
  }
  FailQueuedJobs();
  gpu_->Shutdown();
}

void FramePipeline::Enqueue(FrameJob* job, bool urgent) {
  LockGuard guard(queueLock_);
  if (stop_) {
    job->state = JobState::kDropped;
    return;
  }
  urgent ? queue_.PushFront(job) : queue_.PushBack(job);
  viewWork_.WakeOne();
  if (exportMode_) exportWork_.WakeOne();
}

void FramePipeline::MoveToFront(FrameJob* job) {
  LockGuard guard(queueLock_);
  if (queue_.Remove(job)) queue_.PushFront(job);
}

FrameJob* FramePipeline::UnqueueVictim(const JobList& jobs) {
  LockGuard guard(queueLock_);
  FrameJob* victim = ChooseQueuedVictim(jobs);
  if (victim != nullptr) queue_.Remove(victim);
  return victim;
}

FrameJob* FramePipeline::TakeJob(int reader) {
  const bool isViewReader = reader < config_.viewReaders;
  LockGuard guard(queueLock_);
  while (!stop_) {
    if (!queue_.empty() && (isViewReader || exportMode_)) return TakeHeadLocked();
    (isViewReader ? viewWork_ : exportWork_).Wait(queueLock_);
  }
  return nullptr;
}

FrameJob* FramePipeline::TakeHeadLocked() {
  FrameJob* job = queue_.PopFront();
  if (job == nullptr) return nullptr;
  job->state = JobState::kReading;
  ++job->clip->activeReaders;
  return job;
}

void FramePipeline::FailQueuedJobs() {
  // As a reader would, so that a clip cannot be closed under our hands.
  while (true) {
    FrameJob* job = nullptr;
    {
      LockGuard guard(queueLock_);
      job = TakeHeadLocked();
    }
    if (job == nullptr) return;
    FinishJob(job, false);
  }
}

PipelineLoads FramePipeline::SampleLoads() {
  LockGuard guard(sampleLock_);
  const LoadSample last = lastSample_;
  lastSample_ = {true, MonotonicMs() / 1000, double(readerBusyMicroseconds_) / 1e6, gpu_->BusySeconds(), ProcessCpuSeconds()};
  const double elapsed = lastSample_.wallSeconds - last.wallSeconds;
  if (!last.taken || elapsed <= 0) return {};
  const int32_t readers = std::max(exportMode_ ? createdReaders_.load() : config_.viewReaders, 1);
  return {(lastSample_.readerSeconds - last.readerSeconds) / elapsed / readers, (lastSample_.gpuSeconds - last.gpuSeconds) / elapsed,
          (lastSample_.processSeconds - last.processSeconds) / elapsed};
}

FramePipeline& ProcessPipeline() {
  static FramePipeline& pipeline =
      *std::make_unique<FramePipeline>(DefaultPipelineBackend(), MakePipelineConfig(ProcessorCount(), ReadEnvironment)).release();
  return pipeline;
}

void SetExportMode(bool exportMode) {
  ProcessPipeline().SetExportMode(exportMode);
}

void ShutdownPipeline() {
  ProcessPipeline().Shutdown();
}

}  // namespace qx
