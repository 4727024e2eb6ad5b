// One frame on its way to the host, and at the same time one entry of its clip's cache.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "base/grow_buffer.h"
#include "develop/pixel_format.h"

namespace qx {

class Clip;

/// Memory of one frame; its capacity is exactly the frame's size.
using FrameBuffer = GrowBuffer<uint8_t>;

/// The formats that developed frames are packed into; the others are 16-bit RGB as it was developed.
constexpr bool IsPacked(OutputPixelFormat format) {
  return format != OutputPixelFormat::kRgb48 && format != OutputPixelFormat::kRgb48ReadBack;
}

enum class JobState : int32_t {
  kQueued = 0,
  kReading = 1,  // a reader works on it
  kReady = 2,
  kFailed = 3,
  kDropped = 4,  // no longer found by requests: dropped before a reader took it, or set aside when it was ready
};

struct JobTimes {
  double readMs = 0, developMs = 0, readBackWaitMs = 0, copyMs = 0;
};

/// Owned by its clip's list. Fields are guarded by the clip lock, except
///   state                     queued → reading under the queue lock, every other change under the clip lock (of a job in the queue, under
///                             the queue lock too)
///   buffers, formats, times   owned by the reader while the state is kReading, unchanged afterwards
///   nextInQueue               guarded by the queue lock
struct FrameJob {
  Clip* clip = nullptr;
  int64_t frame = 0;  // display frame, 0 … frame count − 1
  int32_t sizeLevel = 0;
  std::atomic<JobState> state{JobState::kQueued};
  int32_t waiters = 0;  // requests that hold the job; it is not released before they let go
  bool usedGpu = false;
  OutputPixelFormat gpuOutputCode = OutputPixelFormat::kRgb48ReadBack;  // what the graphics card produced for it
  /// 16-bit RGB at the development size: full for level 0, half for levels 1 and 2.
  FrameBuffer developed;
  /// The frame in a host format at the size of its own level, rows packed; whole once `convertedReady` is set.
  FrameBuffer converted;
  OutputPixelFormat convertedFormat = OutputPixelFormat::kRgb48;
  bool convertedReady = false;
  bool served = false;  // a request has delivered from it
  uint64_t stamp = 0;   // recency; larger is more recent
  JobTimes times;
  std::unique_ptr<FrameJob> nextInClip;
  FrameJob* nextInQueue = nullptr;

  const uint16_t* developedRgb() const { return reinterpret_cast<const uint16_t*>(developed.data()); }
  bool isConvertedTo(OutputPixelFormat format) const { return convertedReady && convertedFormat == format; }
  /// A finished frame to deliver from. A job that was dropped when it was ready still serves the requests that hold it.
  bool HasFrame() const {
    const JobState now = state;
    return (now == JobState::kReady || now == JobState::kDropped) && (developed.data() != nullptr || convertedReady);
  }
};

/// The jobs of one clip, newest first. Owns them. Guarded by the clip lock.
class JobList {
 public:
  JobList() = default;
  JobList(const JobList&) = delete;
  JobList& operator=(const JobList&) = delete;
  ~JobList() {
    while (head_ != nullptr) Remove(head_.get());
  }

  FrameJob* first() const { return head_.get(); }
  int32_t count() const { return count_; }

  FrameJob* PushFront(std::unique_ptr<FrameJob> job) {
    job->nextInClip = std::move(head_);
    head_ = std::move(job);
    ++count_;
    return head_.get();
  }
  /// Takes `job` out of the list, which must hold it.
  std::unique_ptr<FrameJob> Remove(FrameJob* job) {
    std::unique_ptr<FrameJob>* link = &head_;
    while (link->get() != job) link = &(*link)->nextInClip;
    std::unique_ptr<FrameJob> removed = std::move(*link);
    *link = std::move(removed->nextInClip);
    --count_;
    return removed;
  }

 private:
  std::unique_ptr<FrameJob> head_;
  int32_t count_ = 0;
};

}  // namespace qx
