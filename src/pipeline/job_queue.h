// The queue that the reader threads work off.
#pragma once

#include "pipeline/frame_job.h"

namespace qx {

/// A FIFO of jobs in state kQueued, linked through FrameJob::nextInQueue, across all clips. Owns nothing and locks nothing: it is guarded
/// by the pipeline's queue lock.
class JobQueue {
 public:
  bool empty() const { return head_ == nullptr; }

  void PushBack(FrameJob* job) {
    job->nextInQueue = nullptr;
    (head_ == nullptr ? head_ : tail_->nextInQueue) = job;
    tail_ = job;
  }
  void PushFront(FrameJob* job) {
    job->nextInQueue = head_;
    if (head_ == nullptr) tail_ = job;
    head_ = job;
  }
  /// The oldest job, or null.
  FrameJob* PopFront() {
    FrameJob* const job = head_;
    if (job != nullptr) head_ = job->nextInQueue;
    return job;
  }
  /// True when the job was in the queue.
  bool Remove(FrameJob* job) {
    return RemoveIf([job](const FrameJob& other) { return &other == job; }) != nullptr;
  }
  /// Takes every job out for which `isWanted(const FrameJob&)` holds; returns them as a chain in queue order.
  template <typename Predicate>
  FrameJob* RemoveIf(Predicate&& isWanted) {
    JobQueue kept, removed;
    for (FrameJob* job = head_; job != nullptr;) {
      FrameJob* const next = job->nextInQueue;
      (isWanted(*job) ? removed : kept).PushBack(job);
      job = next;
    }
    *this = kept;
    return removed.head_;
  }

 private:
  FrameJob* head_ = nullptr;
  FrameJob* tail_ = nullptr;
};

}  // namespace qx
