// The one thread that uses OpenGL.
#pragma once

#include <array>
#include <atomic>
#include <memory>

#include "base/lock.h"
#include "develop/gpu/output_pass.h"
#include "pipeline/gpu_direct.h"
#include "pipeline/gpu_path.h"
#include "pipeline/gpu_request.h"
#include "pipeline/gpu_session_list.h"
#include "pipeline/gpu_switches.h"
#include "pipeline/gpu_timing.h"
#include "platform/thread.h"
#include "platform/worker_pool.h"

namespace qx {

/// Answers requests in the order of their arrival and keeps several frames of one clip and size class in flight, so that transfers overlap
/// with development. Public members: any thread. The thread itself takes no lock but gpuLock_, and that only around the queue.
class GpuThread {
 public:
  GpuThread(GlDriverFactory createDriver, const GpuSwitches& switches);
  /// Stops the thread and waits for it without limit. No request is under way.
  ~GpuThread();

  /// Starts the thread at the first call, unless that comes after Shutdown(), and waits until it knows what the machine has: +1 usable,
  /// -1 no GPU, for good.
  int32_t EnsureStarted() EXCLUDES(gpuLock_);
  /// As far as it is known: 0 before the start.
  int32_t status() const { return status_; }
  /// Queues the request and waits for its answer, which is its result. kFailed at once without a usable GPU and while the thread quits.
  [[nodiscard]] int32_t Post(GpuRequest* request) EXCLUDES(gpuLock_);
  /// Stops the thread, waiting at most 10 seconds.
  void Shutdown() EXCLUDES(gpuLock_);

  const GpuSwitches& switches() const { return switches_; }
  bool hasOutputPass() const { return hasOutputPass_; }
  /// Readers upload and read back.
  bool isDirect() const { return isDirect_; }
  /// Of a slot that the caller has reserved.
  DirectSlots& directSlots() { return *direct_; }
  double BusySeconds() const { return double(busyMicroseconds_) / 1e6; }

 private:
  // A frame in flight (normal mode).
  struct Flying {
    GpuRequest* request = nullptr;
    GpuSession* session = nullptr;
    int slot = 0;
    double issueMs = 0;
  };

  void Run();
  [[nodiscard]] bool SetUp();
  void SetStatus(int32_t status) EXCLUDES(gpuLock_);
  void Loop() EXCLUDES(gpuLock_);
  GpuRequest* TakeStartable() EXCLUDES(gpuLock_);
  bool ShouldLeave() EXCLUDES(gpuLock_);
  void TearDown();

  void Handle(GpuRequest* request);
  /// The clip goes on on the processor: its sessions, if nothing of them is in flight, give their memory back.
  void DropFailedClip(const Clip& clip);
  int32_t Reserve(GpuRequest* request);
  /// kDone: issued. A frame in flight is answered when it completes, everything else at once.
  int32_t Issue(GpuRequest* request, bool* answerLater);
  [[nodiscard]] int StartReadBack(GpuRequest* request, GpuSession* session, int slot);
  void IssueDirect(GpuRequest* request, int slot, GpuTimer::Span span, double startMs);
  void CompleteOldest();
  [[nodiscard]] bool ReadBack(const Flying& frame, double* waitMs);
  [[nodiscard]] bool CopyPacked(const Flying& frame, double* waitMs);
  [[nodiscard]] bool CopyRgb48(const Flying& frame, double* waitMs);
  static void Answer(GpuRequest* request, int32_t result);
  void AddBusyTime(double milliseconds) { busyMicroseconds_ += uint64_t(milliseconds * 1000); }

  // Fixed after construction.
  const GlDriverFactory createDriver_;
  const GpuSwitches switches_;

  // Written by the thread before the status becomes +1, fixed afterwards.
  bool hasOutputPass_ = false, isDirect_ = false;
  std::unique_ptr<DirectSlots> direct_;

  std::atomic<int32_t> status_{0};
  std::atomic<uint64_t> busyMicroseconds_{0};
  Event posted_;

  Mutex gpuLock_;
  CondVar ready_;  // the status is known
  GpuRequestQueue queue_ GUARDED_BY(gpuLock_);
  bool quit_ GUARDED_BY(gpuLock_) = false;
  bool started_ GUARDED_BY(gpuLock_) = false;
  std::unique_ptr<Thread> thread_ GUARDED_BY(gpuLock_);

  // Owned by the thread. Declared in the order of their making: GL objects go before their context.
  std::unique_ptr<GlDriver> driver_;
  WorkerPoolPtr readBackPool_;
  std::unique_ptr<OutputPass> outputPass_;
  GpuTimer timer_;
  GpuSessionList sessions_;
  PendingReadBacks pending_;
  std::array<Flying, kMostReadBackSlots> ring_;
  int oldest_ = 0;
  GpuFlight flight_;
  int nextSlot_ = 0;
};

}  // namespace qx
