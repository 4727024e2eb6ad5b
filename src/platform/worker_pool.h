// A parallel-for pool of threads in which the calling thread works too.
#pragma once

#include <memory>
#include <type_traits>

namespace qx {

/// Runs one part of a job; a non-zero result marks the part as failed but stops nobody. An exception that leaves it counts as −1.
using WorkerFunction = int (*)(void* context, int part);
/// Told after each part: its start and its duration in milliseconds (MonotonicMs). Must not throw.
using WorkerTiming = void (*)(void* context, int part, double startMs, double durationMs);

constexpr int kMaxWorkers = 16;

/// Several callers may run jobs on one pool at the same time; each waits for its own. Destroying the pool waits for its threads and must
/// not race with a run.
class WorkerPool;

struct WorkerPoolDeleter {
  void operator()(WorkerPool* pool) const;
};
using WorkerPoolPtr = std::unique_ptr<WorkerPool, WorkerPoolDeleter>;

/// A pool of min(threads, 16) threads with 1 MiB stacks; fewer than 1 gives a pool without threads, on which every job runs inline.
/// Null when memory is short.
WorkerPoolPtr worker_pool_create(int threads);

/// Calls function(context, part) for every part 0 … parts − 1, on the pool's threads and the calling one, and returns when all are done:
/// 0, or the first non-zero result in finishing order. A null pool, a pool without threads or fewer than 2 parts run on the calling thread,
/// in order, up to the first non-zero result.
int worker_pool_run(WorkerPool* pool, int parts, WorkerFunction function, void* context, WorkerTiming timing = nullptr,
                    void* timingContext = nullptr);

/// The number of threads; 0 for no pool.
int worker_pool_threads(const WorkerPool* pool);

void worker_pool_destroy(WorkerPool* pool);

/// The same for a callable: run(part) -> int.
template <typename Run>
int RunParts(WorkerPool* pool, int parts, Run&& run) {
  return worker_pool_run(
      pool, parts, [](void* context, int part) -> int { return (*static_cast<std::remove_reference_t<Run>*>(context))(part); },
      const_cast<void*>(static_cast<const void*>(&run)));
}

}  // namespace qx
