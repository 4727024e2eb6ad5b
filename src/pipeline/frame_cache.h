// The decisions of the clip cache: how many frames fit, which one leaves, how the host steps through the clip. Plain functions of plain
// state.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "develop/geometry.h"
#include "develop/pixel_format.h"
#include "pipeline/frame_job.h"

namespace qx {

/// Requests this far behind the last one still count as the same run; queued frames further behind are stale.
constexpr int64_t kBackwardTolerance = 8;

/// The size at which a level's frames are developed: a quarter frame is developed at half size.
Size DevelopmentSize(const OutputSizes& sizes, int32_t level);

/// What the memory need of a clip's frames depends on.
struct CacheShape {
  OutputSizes sizes;
  OutputPixelFormat hostFormat = OutputPixelFormat::kRgb48;  // of the latest request
  /// The graphics card writes host formats directly, so that no 16-bit frame is kept but for float.
  bool gpuConverts = false;
};

/// Bytes of the developed and the converted frame of one job. kRgb48 and kRgb48ReadBack count as 8-bit BGRA.
uint64_t BytesPerFrame(const CacheShape& shape, int32_t level);
/// How many jobs of `level` fit in `budgetBytes`; never below 6.
int32_t JobCapacity(const CacheShape& shape, int32_t level, uint64_t budgetBytes);

/// The job that makes room, or null. Only jobs without waiters are chosen:
///   a failed or dropped job, or a ready one that was delivered: the least recent;
///   else a ready job more than 8 frames behind `lastRequested`: the least recent;
///   else any ready job: the one with the largest frame number.
FrameJob* ChooseFinishedVictim(const JobList& jobs, int64_t lastRequested);
/// The queued job without waiters that has the largest frame number, or null. The caller holds the queue lock.
FrameJob* ChooseQueuedVictim(const JobList& jobs);

/// A queued job that nobody waits for and that a request for `requested` has left behind.
bool IsStale(const FrameJob& job, int64_t requested);

/// Follows the host's requests: where it is, and by how many frames it steps.
class RequestHistory {
 public:
  /// Small backward moves keep `lastRequested`; a move out of −8 … 64 starts a new history.
  void Record(int64_t frame);
  int64_t lastRequested() const { return lastRequested_; }
  /// 1 … 8: mean distance of the last requests.
  int64_t step() const { return step_; }

 private:
  static constexpr int kLength = 8;
  std::array<int64_t, kLength> frames_ = {};
  int64_t recorded_ = 0;  // since the history was last cleared
  int64_t lastRequested_ = 0;
  int64_t step_ = 1;
};

/// Follows the formats of the host's requests: whether they changed within the last 8.
class FormatHistory {
 public:
  void Record(OutputPixelFormat format) {
    run_ = format == last_ || last_ == kNone ? std::min(run_ + 1, kLength) : 0;
    last_ = format;
  }
  bool isMixed() const { return run_ < kLength; }

 private:
  static constexpr int kLength = 8;
  static constexpr OutputPixelFormat kNone{-1};
  OutputPixelFormat last_ = kNone;
  int run_ = kLength;  // requests since the last change
};

}  // namespace qx
