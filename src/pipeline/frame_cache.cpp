#include "pipeline/frame_cache.h"

#include <algorithm>

#include "pipeline/clip.h"

namespace qx {

namespace {

constexpr int64_t kForwardTolerance = 64;
constexpr int64_t kMaxStep = 8;
constexpr int32_t kMinCapacity = 6;
constexpr uint64_t kDevelopedBytesPerPixel = 6;

uint64_t Pixels(Size size) {
  return uint64_t(size.width) * uint64_t(size.height);
}

/// The job without waiters that satisfies `isCandidate` and comes first in the order `isBefore`; null when there is none.
template <typename Candidate, typename Order>
FrameJob* Choose(const JobList& jobs, Candidate&& isCandidate, Order&& isBefore) {
  FrameJob* chosen = nullptr;
  for (FrameJob* job = jobs.first(); job != nullptr; job = job->nextInClip.get()) {
    if (job->waiters > 0 || !isCandidate(*job)) continue;
    if (chosen == nullptr || isBefore(*job, *chosen)) chosen = job;
  }
  return chosen;
}

bool IsLessRecent(const FrameJob& a, const FrameJob& b) {
  return a.stamp < b.stamp;
}
bool IsFurtherAhead(const FrameJob& a, const FrameJob& b) {
  return a.frame > b.frame;
}
bool IsReady(const FrameJob& job) {
  return job.state == JobState::kReady;
}

}  // namespace

Size DevelopmentSize(const OutputSizes& sizes, int32_t level) {
  return level == kFullSize ? sizes.full : sizes.half;
}

uint64_t BytesPerFrame(const CacheShape& shape, int32_t level) {
  const OutputPixelFormat format = IsPacked(shape.hostFormat) ? shape.hostFormat : OutputPixelFormat::kBgra8;
  const bool keepsDeveloped = !shape.gpuConverts || format == OutputPixelFormat::kBgraFloat;
  const uint64_t developed = keepsDeveloped ? Pixels(DevelopmentSize(shape.sizes, level)) * kDevelopedBytesPerPixel : 0;
  const Size size = LevelSize(shape.sizes, level);
  return developed + FormatRowBytes(format, size.width) * uint64_t(size.height);
}

int32_t JobCapacity(const CacheShape& shape, int32_t level, uint64_t budgetBytes) {
  const uint64_t capacity = budgetBytes / std::max<uint64_t>(BytesPerFrame(shape, level), 1);
  return int32_t(std::clamp<uint64_t>(capacity, kMinCapacity, INT32_MAX));
}

FrameJob* ChooseFinishedVictim(const JobList& jobs, int64_t lastRequested) {
  const auto isSpent = [](const FrameJob& job) {
    const JobState state = job.state;
    return state == JobState::kFailed || state == JobState::kDropped || (state == JobState::kReady && job.served);
  };
  const auto isBehind = [=](const FrameJob& job) { return IsReady(job) && job.frame < lastRequested - kBackwardTolerance; };
  if (FrameJob* job = Choose(jobs, isSpent, IsLessRecent)) return job;
  if (FrameJob* job = Choose(jobs, isBehind, IsLessRecent)) return job;
  return Choose(jobs, IsReady, IsFurtherAhead);
}

FrameJob* ChooseQueuedVictim(const JobList& jobs) {
  return Choose(
      jobs, [](const FrameJob& job) { return job.state == JobState::kQueued; }, IsFurtherAhead);
}

bool IsStale(const FrameJob& job, int64_t requested) {
  return job.waiters == 0 && job.frame < requested - kBackwardTolerance;
}

void RequestHistory::Record(int64_t frame) {
  const int64_t delta = frame - lastRequested_;
  const bool jumped = delta < -kBackwardTolerance || delta > kForwardTolerance;
  if (jumped) recorded_ = 0;
  if (jumped || delta >= 1) lastRequested_ = frame;
  frames_[size_t(recorded_++ % kLength)] = frame;
  const int64_t n = std::min<int64_t>(recorded_, kLength);
  const auto [smallest, largest] = std::minmax_element(frames_.begin(), frames_.begin() + n);
  step_ = n >= 2 ? std::clamp<int64_t>((*largest - *smallest) / (n - 1), 1, kMaxStep) : 1;
}

}  // namespace qx
