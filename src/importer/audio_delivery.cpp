#include "importer/audio_delivery.h"

#include <algorithm>
#include <atomic>
#include <limits>

#include "host/selectors.h"
#include "importer/importer_clip.h"
#include "platform/clock.h"

namespace qx {

namespace {

// Nothing is published through the counters, so they need no order among themselves.
std::atomic<uint32_t> callCount{0};
std::atomic<uint32_t> callMicroseconds{0};
std::atomic<uint32_t> longestCall{0};

void CountCall(double milliseconds) {
  const auto microseconds = uint32_t(std::clamp(milliseconds * 1000, 0.0, double(std::numeric_limits<uint32_t>::max())));
  callCount.fetch_add(1, std::memory_order_relaxed);
  callMicroseconds.fetch_add(microseconds, std::memory_order_relaxed);
  uint32_t longest = longestCall.load(std::memory_order_relaxed);
  while (longest < microseconds && !longestCall.compare_exchange_weak(longest, microseconds, std::memory_order_relaxed)) {
  }
}

}  // namespace

int32_t ImportAudio(const host::ImportAudioRec7* request) {
  const ImporterClip* clip = ClipOfHandle(request->privateData);
  const OpenedClipPtr opened = clip != nullptr ? clip->Opened() : nullptr;
  if (opened == nullptr || opened->info.hasAudio == 0) return host::imOtherErr;
  const double start = MonotonicMs();
  const int64_t first = std::max<int64_t>(request->position, 0);
  const auto count = int32_t(std::min<uint32_t>(request->size, uint32_t(std::numeric_limits<int32_t>::max())));
  const int result = ReadClipAudio(opened->clip.get(), first, count, request->buffer);
  CountCall(MonotonicMs() - start);
  return result == 0 ? int32_t(host::imNoErr) : int32_t(host::imOtherErr);
}

AudioCallCounters TakeAudioCallCounters() {
  return {callCount.exchange(0, std::memory_order_relaxed), callMicroseconds.exchange(0, std::memory_order_relaxed),
          longestCall.exchange(0, std::memory_order_relaxed)};
}

}  // namespace qx
