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
  {
    LockGuard guard(bufferLock_);
    for (int i = 0; i < count_; ++i) {
      if (spares_[size_t(i)].capacity() == bytes) return RemoveLocked(i);
    }
  }
  FrameBuffer made;
  if (!made.Reserve(bytes)) made.Free();
  return made;
}

FrameBuffer SpareBuffers::Keep(FrameBuffer buffer, uint64_t frameBytes) {
  LockGuard guard(bufferLock_);
  const uint64_t limit = std::max(kSpareBytesFloor, kSpareFrames * frameBytes);
  FrameBuffer leaving;
  if (count_ == kMaxSpares || bytes_ + buffer.capacity() > limit) {
    const uint64_t oldest = count_ > 0 ? spares_[0].capacity() : 0;
    if (oldest == 0 || oldest == buffer.capacity() || bytes_ - oldest + buffer.capacity() > limit) return buffer;
    leaving = RemoveLocked(0);
  }
  bytes_ += buffer.capacity();
  spares_[size_t(count_++)] = std::move(buffer);
  return leaving;
}

FrameBuffer SpareBuffers::RemoveLocked(int index) {
  FrameBuffer removed = std::move(spares_[size_t(index)]);
  std::move(spares_.begin() + index + 1, spares_.begin() + count_, spares_.begin() + index);
  --count_;
  bytes_ -= removed.capacity();
  return removed;
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
