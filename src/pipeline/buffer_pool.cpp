#include "pipeline/buffer_pool.h"

#include <algorithm>
#include <utility>

#include "platform/clock.h"

namespace qx {

namespace {

constexpr uint64_t kSpareBytesFloor = 314572800;  // 300 MiB
constexpr uint64_t kSpareFrames = 3;

}  // namespace

FrameBuffer SpareBuffers::Take(uint64_t bytes) {
  FrameBuffer taken;
  {
    LockGuard guard(bufferLock_);
    for (int i = 0; i < count_; ++i) {
      if (spares_[size_t(i)].capacity() != bytes) continue;
      taken = std::move(spares_[size_t(i)]);
      --count_;
      if (i < count_) spares_[size_t(i)] = std::move(spares_[size_t(count_)]);
      bytes_ -= bytes;
      return taken;
    }
  }
  if (!taken.Reserve(bytes)) taken.Free();
  return taken;
}

bool SpareBuffers::Keep(FrameBuffer& buffer, uint64_t frameBytes) {
  LockGuard guard(bufferLock_);
  const uint64_t limit = std::max(kSpareBytesFloor, kSpareFrames * frameBytes);
  if (count_ == kMaxSpares || bytes_ + buffer.capacity() > limit) return false;
  bytes_ += buffer.capacity();
  spares_[size_t(count_++)] = std::move(buffer);
  return true;
}

FreeingThread::~FreeingThread() {
  std::unique_ptr<Thread> thread;
  {
    LockGuard guard(queueLock_);
    quit_ = true;
    posted_.WakeAll();
    thread = std::move(thread_);
  }
  if (thread != nullptr) thread->Join();
}

void FreeingThread::Discard(FrameBuffer buffer) {
  if (Queue(buffer)) return;
  const double start = MonotonicMs();
  const uint64_t bytes = buffer.capacity();
  buffer.Free();
  callerBytes_ += bytes;
  callerMicroseconds_ += uint64_t((MonotonicMs() - start) * 1000);
}

bool FreeingThread::Queue(FrameBuffer& buffer) {
  LockGuard guard(queueLock_);
  if (queued_ == kQueueLength) return false;
  if (thread_ == nullptr) {
    thread_ = Thread::Start("qx free", [this] { FreeLoop(); });
    if (thread_ == nullptr) return false;
    thread_->SetPriority(ThreadPriority::kBelowNormal);
  }
  queue_[size_t(queued_++)] = std::move(buffer);
  posted_.WakeOne();
  return true;
}

void FreeingThread::FreeLoop() {
  while (true) {
    FrameBuffer buffer;
    {
      LockGuard guard(queueLock_);
      while (queued_ == 0 && !quit_) posted_.Wait(queueLock_);
      if (queued_ == 0) return;
      buffer = std::move(queue_[size_t(--queued_)]);
    }
  }
}

}  // namespace qx
