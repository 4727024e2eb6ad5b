#include "pipeline/gpu_direct.h"

#include <algorithm>

#include "platform/clock.h"

namespace qx {

namespace {

constexpr GLbitfield kUploadMap = GL_MAP_WRITE_BIT | GL_MAP_PERSISTENT_BIT | GL_MAP_COHERENT_BIT;
constexpr GLbitfield kReadBackMap = GL_MAP_READ_BIT | GL_MAP_PERSISTENT_BIT | GL_MAP_COHERENT_BIT;
constexpr double kReadBackLimitMs = 10000;

}  // namespace

bool DirectSlots::IsUsable() {
  if (bufferStorage_ == nullptr) return false;
  const int slot = Reserve(1, 1);
  if (slot >= 0) Free(slot);
  return slot >= 0;
}

int DirectSlots::Reserve(uint64_t uploadBytes, uint64_t readBackBytes) {
  const auto free = std::find_if(slots_.begin(), slots_.end(), [](const Slot& s) { return !s.busy.load(std::memory_order_acquire); });
  if (free == slots_.end()) return kNoneFree;
  if (!Grow(&free->upload, uploadBytes, kUploadMap, kUploadMap) ||
      !Grow(&free->readBack, readBackBytes, kReadBackMap | GL_CLIENT_STORAGE_BIT, kReadBackMap)) {
    return kFailed;
  }
  free->busy.store(true, std::memory_order_relaxed);
  return int(free - slots_.begin());
}

bool DirectSlots::Grow(MappedBuffer* mapped, uint64_t bytes, GLbitfield storageFlags, GLbitfield mapFlags) {
  if (bytes <= mapped->bytes) return true;
  *mapped = {};
  mapped->buffer = NewGlObject<GlBuffer>(gl.GenBuffers);
  if (!mapped->buffer || !NoGlError()) return false;
  gl.BindBuffer(GL_COPY_WRITE_BUFFER, mapped->buffer.name());
  bufferStorage_(GL_COPY_WRITE_BUFFER, GLsizeiptr(bytes), nullptr, storageFlags);
  void* memory = NoGlError() ? gl.MapBufferRange(GL_COPY_WRITE_BUFFER, 0, GLsizeiptr(bytes), mapFlags) : nullptr;
  gl.BindBuffer(GL_COPY_WRITE_BUFFER, 0);
  if (memory == nullptr) {
    *mapped = {};
    return false;
  }
  mapped->memory = static_cast<uint8_t*>(memory);
  mapped->bytes = bytes;
  return true;
}

bool DirectSlots::AnyBusy() const {
  return std::any_of(slots_.begin(), slots_.end(), [](const Slot& slot) { return slot.busy.load(std::memory_order_acquire); });
}

void DirectSlots::Delete() {
  for (Slot& slot : slots_) {
    slot.upload = {};
    slot.readBack = {};
  }
}

void PendingReadBacks::Add(GlFence fence, DirectCompletion* completion, GpuTimer::Span span, int64_t frame) {
  entries_.push_back({std::move(fence), completion, span, frame, MonotonicMs()});
}

void PendingReadBacks::Poll(GpuTimer* timer) {
  for (size_t i = 0; i < entries_.size();) {
    Entry& entry = entries_[i];
    const GlFence::State state = entry.fence.Wait(0, false);
    const bool isLate = MonotonicMs() - entry.issuedMs > kReadBackLimitMs;
    if (state == GlFence::State::kPending && !isLate) {
      ++i;
      continue;
    }
    const bool arrived = state == GlFence::State::kReached;
    arrived ? timer->Finish(entry.frame, entry.span) : timer->Drop(entry.span);
    entry.completion->failed = !arrived;
    entry.completion->arrived.Set();
    if (&entry != &entries_.back()) entry = std::move(entries_.back());
    entries_.pop_back();
  }
}

}  // namespace qx
