// Direct mode: readers write samples into, and read frames from, memory that the graphics card reads and writes itself.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

#include "develop/gpu/gl_objects.h"
#include "pipeline/gpu_request.h"
#include "pipeline/gpu_timing.h"

namespace qx {

/// An upload and a read-back buffer, both mapped for as long as they exist. Made on the GPU thread; from the reservation until Free() the
/// memory belongs to one reader and, between its request and the completion, to the graphics card.
class DirectSlots {
 public:
  static constexpr int kSlots = 10;

  /// `bufferStorage`: null where the driver has no glBufferStorage.
  explicit DirectSlots(PFNGLBUFFERSTORAGEPROC bufferStorage) : bufferStorage_(bufferStorage) {}
  /// GPU thread: tries it out, as dispatch libraries also hand out functions that the driver behind them does not have. Reserve needs it.
  [[nodiscard]] bool IsUsable();

  /// GPU thread: takes the first free slot and grows its buffers to the sizes. The slot, kNoneFree, or kFailed.
  static constexpr int kNoneFree = -1, kFailed = -2;
  int Reserve(uint64_t uploadBytes, uint64_t readBackBytes);
  GLuint uploadBuffer(int slot) const { return slots_[size_t(slot)].upload.buffer.name(); }
  GLuint readBackBuffer(int slot) const { return slots_[size_t(slot)].readBack.buffer.name(); }

  /// The reader that has reserved the slot.
  uint8_t* uploadMemory(int slot) { return slots_[size_t(slot)].upload.memory; }
  const uint8_t* readBackMemory(int slot) const { return slots_[size_t(slot)].readBack.memory; }
  void Free(int slot) { slots_[size_t(slot)].busy.store(false, std::memory_order_release); }
  bool AnyBusy() const;

  /// GPU thread, at its end, when no reader uses a slot.
  void Delete();

 private:
  struct MappedBuffer {
    GlBuffer buffer;
    uint8_t* memory = nullptr;
    uint64_t bytes = 0;
  };
  struct Slot {
    MappedBuffer upload, readBack;
    std::atomic<bool> busy{false};  // publishes the memory from reader to reader
  };
  [[nodiscard]] bool Grow(MappedBuffer* mapped, uint64_t bytes, GLbitfield storageFlags, GLbitfield mapFlags);

  const PFNGLBUFFERSTORAGEPROC bufferStorage_;
  std::array<Slot, kSlots> slots_;
};

/// Frames of direct mode that have been issued and not yet arrived. GPU thread only.
class PendingReadBacks {
 public:
  bool empty() const { return entries_.empty(); }
  void Add(GlFence fence, DirectCompletion* completion, GpuTimer::Span span, int64_t frame);
  /// Tells the readers of all frames that have arrived, or have failed to within 10 seconds.
  void Poll(GpuTimer* timer);

 private:
  struct Entry {
    GlFence fence;
    DirectCompletion* completion;
    GpuTimer::Span span;
    int64_t frame;
    double issuedMs;
  };
  std::vector<Entry> entries_;
};

}  // namespace qx
