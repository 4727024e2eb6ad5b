// Lens warps of a clip's frames. The camera writes the full model only into some frames and its radial part into the others, which take the
// missing terms from an earlier frame.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/grow_buffer.h"
#include "media/dng_info.h"

namespace qx {

/// Remembers every frame's warp, equal warps once. One user at a time.
class WarpCache {
 public:
  static constexpr int32_t kNoSupplier = -1;
  /// Reads the warp of an earlier frame; an invalid warp when the frame has none or cannot be read.
  using WarpReader = std::function<RectilinearWarp(int32_t frame)>;

  /// Forgets everything and makes room; false when memory is short: the cache then has no frames.
  [[nodiscard]] bool Reset(int32_t frameCount);
  /// Whether frames 0 … Reset()'s count − 1 can be entered.
  bool ready() const { return frameCount_ > 0; }

  bool Entered(int32_t frame) const { return radialOf_[size_t(frame)] != kNotEntered; }
  void Enter(int32_t frame, const RectilinearWarp& warp);

  /// The frame that supplies the full model to an entered frame: itself, the nearest earlier frame that has the same radial part and
  /// carries the full model, or kNoSupplier. Frames that were not entered yet are read through `readWarp`; the answer is remembered.
  int32_t Supplier(int32_t frame, const WarpReader& readWarp);

  /// Copies the terms that a radial warp lacks (kr3, kt0 and kt1 of every plane) from the warp of a frame that carries the full model.
  void Complete(RectilinearWarp* warp, int32_t supplier) const;

  size_t radialPartCount() const { return radialParts_.size(); }
  size_t fullModelCount() const { return fullModels_.size(); }

 private:
  static constexpr int32_t kNotEntered = -2, kNoWarp = -1;
  static constexpr int32_t kRadialOnly = -1;
  static constexpr int32_t kUndecided = -2;

  int32_t SearchBackwards(int32_t frame, const WarpReader& readWarp);

  int32_t frameCount_ = 0;
  // Per frame.
  GrowBuffer<int32_t> radialOf_;    // number of the radial part, or kNotEntered or kNoWarp
  GrowBuffer<int32_t> fullOf_;      // index into models_, or kRadialOnly
  GrowBuffer<int32_t> supplierOf_;  // frame, kNoSupplier or kUndecided
  // Distinct warps, numbered as they come. A frame may have one of its own, so they are found by hash.
  std::unordered_map<std::string, int32_t> radialParts_;  // by kr0, kr1, kr2 of every plane and the centre
  std::unordered_map<std::string, int32_t> fullModels_;   // by all coefficients and the centre
  std::vector<RectilinearWarp> models_;                   // of fullModels_, by number
};

}  // namespace qx
