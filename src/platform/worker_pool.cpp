#include "platform/worker_pool.h"

#include <algorithm>
#include <new>

#include "base/lock.h"
#include "platform/clock.h"
#include "platform/thread.h"

namespace qx {

namespace {

constexpr size_t kWorkerStackBytes = 1 << 20;

struct Job {
  WorkerFunction function;
  void* context;
  WorkerTiming timing;
  void* timingContext;
  int parts;
  int nextPart = 0;
  int finished = 0;
  int result = 0;
  Job* next = nullptr;
};

// A part that throws has failed; the count of finished parts must not miss it.
int Call(const Job& job, int part) noexcept {
  try {
    return job.function(job.context, part);
  } catch (...) {
    return -1;
  }
}

int RunPart(const Job& job, int part) {
  if (job.timing == nullptr) return Call(job, part);
  const double start = MonotonicMs();
  const int result = Call(job, part);
  job.timing(job.timingContext, part, start, MonotonicMs() - start);
  return result;
}

}  // namespace

class WorkerPool {
 public:
  ~WorkerPool() { Stop(); }

  void Start(int threads) {
    for (; threadCount_ < threads; ++threadCount_) {
      threads_[threadCount_] = Thread::Start(
          "qx worker", [this] { WorkLoop(); }, kWorkerStackBytes);
      if (threads_[threadCount_] == nullptr) break;
    }
  }

  int Run(Job& job) EXCLUDES(jobsLock_) {
    LockGuard guard(jobsLock_);
    job.next = jobs_;
    jobs_ = &job;
    work_.WakeAll();
    while (job.nextPart < job.parts) RunNextPartLocked(job);
    while (job.finished < job.parts) done_.Wait(jobsLock_);
    Job** link = &jobs_;
    while (*link != &job) link = &(*link)->next;
    *link = job.next;
    return job.result;
  }

  int threads() const { return threadCount_; }

 private:
  void RunNextPartLocked(Job& job) REQUIRES(jobsLock_) {
    const int part = job.nextPart++;
    jobsLock_.Unlock();
    const int result = RunPart(job, part);
    jobsLock_.Lock();
    if (job.result == 0) job.result = result;
    if (++job.finished == job.parts) done_.WakeAll();
  }

  Job* FindWorkLocked() REQUIRES(jobsLock_) {
    Job* job = jobs_;
    while (job != nullptr && job->nextPart >= job->parts) job = job->next;
    return job;
  }

  void WorkLoop() EXCLUDES(jobsLock_) {
    LockGuard guard(jobsLock_);
    while (!quit_) {
      if (Job* job = FindWorkLocked()) {
        RunNextPartLocked(*job);
      } else {
        work_.Wait(jobsLock_);
      }
    }
  }

  void Stop() EXCLUDES(jobsLock_) {
    {
      LockGuard guard(jobsLock_);
      quit_ = true;
      work_.WakeAll();
    }
    for (int i = 0; i < threadCount_; ++i) threads_[i]->Join();
  }

  Mutex jobsLock_;
  CondVar work_, done_;
  Job* jobs_ GUARDED_BY(jobsLock_) = nullptr;
  bool quit_ GUARDED_BY(jobsLock_) = false;
  int threadCount_ = 0;  // fixed after Start
  std::unique_ptr<Thread> threads_[kMaxWorkers];
};

void WorkerPoolDeleter::operator()(WorkerPool* pool) const {
  worker_pool_destroy(pool);
}

WorkerPoolPtr worker_pool_create(int threads) {
  WorkerPoolPtr pool(new (std::nothrow) WorkerPool);
  if (pool != nullptr) pool->Start(std::clamp(threads, 0, kMaxWorkers));
  return pool;
}

int worker_pool_run(WorkerPool* pool, int parts, WorkerFunction function, void* context, WorkerTiming timing, void* timingContext) {
  Job job{function, context, timing, timingContext, parts};
  if (worker_pool_threads(pool) > 0 && parts >= 2) return pool->Run(job);
  for (int part = 0; part < parts; ++part) {
    if (const int result = RunPart(job, part); result != 0) return result;
  }
  return 0;
}

int worker_pool_threads(const WorkerPool* pool) {
  return pool != nullptr ? pool->threads() : 0;
}

void worker_pool_destroy(WorkerPool* pool) {
  delete pool;
}

}  // namespace qx
