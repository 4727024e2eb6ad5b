// The compute pass that packs a finished slot into a pixel format, and the buffers its bytes come back through.
#pragma once

#include <array>
#include <memory>

#include "develop/geometry.h"
#include "develop/gpu/gpu_developer.h"
#include "develop/pixel_format.h"

namespace qx {

constexpr int kMostReadBackSlots = 8;

/// Packed bytes of a slot of `size` in a format; with `quarter` (formats kBgra8, kBgra16, kBgraFloat) of the frame reduced 2 × 2.
uint64_t PackedFrameBytes(OutputPixelFormat format, Size size, bool quarter);

/// The program, and for each render slot a storage buffer, a read-back buffer and a fence. GPU thread only.
class OutputPass {
 public:
  ~OutputPass() = default;

  enum class State { kPending, kReady, kFailed };

  /// Packs slot `slot` of `developer`, `size` large, in `format` (kRgb48ReadBack as 16-bit RGB) and copies the bytes to `readBack`, or with
  /// 0 to the slot's own read-back buffer, and puts a fence behind it. 0 or -1.
  [[nodiscard]] int Run(const GpuDeveloper& developer, int slot, OutputPixelFormat format, Size size, bool quarter, GLuint readBack);
  /// The fence of the slot's last run.
  State Poll(int slot) const;
  /// Hands the fence over.
  GlFence TakeFence(int slot) { return std::move(slots_[size_t(slot)].fence); }
  /// The bytes of the slot's own read-back buffer, valid until Unmap; null when the driver refuses.
  const uint8_t* Map(int slot);
  void Unmap(int slot);
  uint64_t bytes(int slot) const { return slots_[size_t(slot)].packedBytes; }

 private:
  friend std::unique_ptr<OutputPass> BuildOutputPass(Message message);
  OutputPass() = default;
  void Dispatch(OutputPixelFormat format, Size size, bool quarter) const;

  struct Slot {
    GlGrowBuffer output{GL_SHADER_STORAGE_BUFFER, GL_DYNAMIC_COPY};
    GlGrowBuffer readBack{GL_COPY_WRITE_BUFFER, GL_STREAM_READ};
    GlFence fence;
    uint64_t packedBytes = 0;
  };
  GpuProgram program_;
  std::array<Slot, kMostReadBackSlots> slots_;
};

/// Null with the driver's words when the program does not compile or link.
std::unique_ptr<OutputPass> BuildOutputPass(Message message);

/// As OutputPass::Run.
[[nodiscard]] int RunOutputPass(OutputPass* pass, const GpuDeveloper& developer, int slot, OutputPixelFormat format, Size size,
                                bool quarter, GLuint readBack);

}  // namespace qx
