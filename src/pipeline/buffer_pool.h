// Recycling of frame buffers, and freeing them where nobody waits.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "base/lock.h"
#include "pipeline/frame_job.h"
#include "platform/thread.h"

namespace qx {

/// The buffers that a clip keeps for its next frames. Any thread; the lock is taken alone.
class SpareBuffers {
 public:
  /// A buffer of exactly `bytes`, spare or new; empty when memory is short.
  FrameBuffer Take(uint64_t bytes) EXCLUDES(bufferLock_);
  /// Keeps `buffer` when there is room: at most 12 buffers, together at most the larger of 300 MiB and three frames of `frameBytes`. Where
  /// there is none, it takes the place of the oldest spare if that has another size, which the clip has stopped asking for. Returns the
  /// buffer that has to go: that spare, `buffer`, or an empty one.
  [[nodiscard]] FrameBuffer Keep(FrameBuffer buffer, uint64_t frameBytes) EXCLUDES(bufferLock_);

 private:
  FrameBuffer RemoveLocked(int index) REQUIRES(bufferLock_);

  static constexpr int kMaxSpares = 12;
  Mutex bufferLock_;
  std::array<FrameBuffer, kMaxSpares> spares_ GUARDED_BY(bufferLock_);  // oldest first
  int count_ GUARDED_BY(bufferLock_) = 0;
  uint64_t bytes_ GUARDED_BY(bufferLock_) = 0;
};

/// Returns large buffers to the system on a thread of its own: giving back a frame's pages takes milliseconds that a request should not
/// wait. The thread starts with the first buffer and stays until destruction. Any thread.
class FreeingThread {
 public:
  FreeingThread() = default;
  ~FreeingThread();

  /// Frees `buffer`: on the thread, or at once when its queue is full or the thread cannot be started; the counters below then grow.
  void Discard(FrameBuffer buffer) EXCLUDES(queueLock_);

  /// What was freed on calling threads so far.
  uint64_t bytesFreedByCallers() const { return callerBytes_; }
  uint64_t microsecondsFreeingByCallers() const { return callerMicroseconds_; }

 private:
  bool Queue(FrameBuffer& buffer) EXCLUDES(queueLock_);
  void FreeLoop() EXCLUDES(queueLock_);

  static constexpr int kQueueLength = 32;
  Mutex queueLock_;
  CondVar posted_;
  std::array<FrameBuffer, kQueueLength> queue_ GUARDED_BY(queueLock_);
  int queued_ GUARDED_BY(queueLock_) = 0;
  bool quit_ GUARDED_BY(queueLock_) = false;
  std::unique_ptr<Thread> thread_ GUARDED_BY(queueLock_);

  std::atomic<uint64_t> callerBytes_{0}, callerMicroseconds_{0};
};

}  // namespace qx
