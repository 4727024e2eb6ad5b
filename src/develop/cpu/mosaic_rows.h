// First stage of the processor path: RAW samples to the normalised mosaic.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/grow_buffer.h"
#include "develop/cpu/gain_rows.h"
#include "develop/cpu/row_kernels.h"
#include "develop/cpu/row_stages.h"

namespace qx {

/// What the unpacking of one frame reads. Phases in the order (0,0), (0,1), (1,0), (1,1) of the active area.
struct MosaicSetup {
  int width = 0, height = 0;                                       // active area, at least 8 × 8
  const uint16_t* samples = nullptr;                               // the active area's first sample
  size_t stride = 0;                                               // samples from row to row
  std::array<float, 4> black = {}, range = {}, whiteBalance = {};  // as in UnpackLevels
  std::span<const uint16_t> linearization;                         // empty: none; longer samples take the last entry
  const GainTable* gains = nullptr;                                // null: none
};

/// Linearises, subtracts black, scales to white, applies gain maps and white balance, clips at 1. One band's; one thread.
class SensorMosaicRows final : public MosaicRows {
 public:
  /// False when memory is short.
  [[nodiscard]] bool Reserve(int width);
  /// Forgets all rows. `setup` must outlive the frame.
  void Begin(const MosaicSetup& setup);
  const uint16_t* Row(int y) override;

 private:
  void Make(int y, uint16_t* row);
  const uint16_t* Linearized(const uint16_t* samples);

  const RowKernels& kernels_ = GetRowKernels();
  const MosaicSetup* setup_ = nullptr;
  GrowBuffer<uint16_t> buffer_;
  size_t rowPitch_ = 0;
  std::array<int, kMosaicRing> madeRow_ = {};  // which row a place of the ring holds, −1 for none
  GainRows gainRows_;
};

}  // namespace qx
