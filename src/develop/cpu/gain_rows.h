// The gain maps of a frame spread over its pixels, a row at a time.
#pragma once

#include "base/grow_buffer.h"
#include "develop/gain_table.h"

namespace qx {

/// Gives the values of GainAt without interpolating both ways at each pixel: the point rows around a pixel row are spread over the columns
/// once and kept until the row leaves them. One band's; one thread.
class GainRows {
 public:
  /// False when memory is short.
  [[nodiscard]] bool Reserve(int width);
  /// `gains` must outlive the frame. `width` × `height` is the active area.
  void Begin(const GainTable& gains, int width, int height);
  /// The gains of row y, valid until the next call.
  const float* Row(int y);

 private:
  // One row of points, spread over the columns of a phase.
  struct SpreadRow {
    float* values = nullptr;
    int pointRow = -1;
  };

  void FillPhase(int phase, int y);
  const float* Spread(int phase, int pointRow, int otherPointRow);
  void SpreadInto(SpreadRow& row, int phase, int pointRow);

  const GainTable* gains_ = nullptr;
  int width_ = 0, height_ = 0;
  GrowBuffer<float> buffer_;
  float* row_ = nullptr;
  SpreadRow spread_[4][2];
};

}  // namespace qx
