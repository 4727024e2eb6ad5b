#include "pipeline/gpu_session_list.h"

#include <algorithm>

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "platform/clock.h"

namespace qx {

GpuSession* GpuSessionList::FindOrCreate(const Clip& clip, bool half, const DevelopParams& params, bool hasOutputPass) {
  for (Entry& entry : entries_) {
    if (entry.clip != &clip || entry.half != half) continue;
    entry.stamp = ++lastStamp_;
    return entry.session.get();
  }
  if (entries_.size() >= kMostSessions) {
    entries_.erase(std::min_element(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) { return a.stamp < b.stamp; }));
  }
  DevelopParams own = params;
  own.useGpu = 1;
  own.outputPass = int32_t(hasOutputPass);
  own.outputPassFloat = int32_t(hasOutputPass && params.outputKind == OutputKind::kLinear && params.lut == nullptr);
  own.slots = clip.pipeline.config().inFlight;
  own.scaleCode = half ? 2 : 0;
  const double start = MonotonicMs();
  MessageBuffer<1200> message;
  std::unique_ptr<GpuSession> session = GpuSession::Create(*clip.camera, own, message);
  if (session == nullptr) {
    LogPipeline("GPU session failed: %s", message.text());
    return nullptr;
  }
  LogPipeline("GPU session %s: %.1f ms", half ? "half" : "full", MonotonicMs() - start);
  entries_.push_back({&clip, half, ++lastStamp_, std::move(session)});
  return entries_.back().session.get();
}

void GpuSessionList::Release(const Clip& clip) {
  std::erase_if(entries_, [&](const Entry& entry) { return entry.clip == &clip; });
}

}  // namespace qx
