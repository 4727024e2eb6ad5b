#include "develop/cpu/gain_rows.h"

#include <algorithm>

namespace qx {

namespace {

size_t PhaseColumns(int width) {
  return size_t(width + 1) / 2;
}

}  // namespace

bool GainRows::Reserve(int width) {
  const size_t columns = PhaseColumns(width);
  if (!buffer_.Reserve(size_t(width) + 8 * columns)) return false;
  row_ = buffer_.data();
  float* next = row_ + width;
  for (auto& phase : spread_) {
    for (SpreadRow& row : phase) {
      row = {next, -1};
      next += columns;
    }
  }
  return true;
}

void GainRows::Begin(const GainTable& gains, int width, int height) {
  gains_ = &gains;
  width_ = width;
  height_ = height;
  for (auto& phase : spread_) {
    for (SpreadRow& row : phase) row.pointRow = -1;
  }
}

const float* GainRows::Row(int y) {
  FillPhase((y & 1) * 2, y);
  FillPhase((y & 1) * 2 + 1, y);
  return row_;
}

void GainRows::FillPhase(int phase, int y) {
  const PhaseGain& gain = gains_->phase[size_t(phase)];
  const int firstColumn = phase & 1;
  for (int x = firstColumn; x < width_; x += 2) row_[x] = 1;
  if (!gain.active || y < gain.top || y >= gain.bottom) return;

  const float position = GainPointPosition(y, height_, gain.originV, gain.spacingV, gain.pointsV);
  const int upper = int(position), lower = std::min(upper + 1, gain.pointsV - 1);
  const float fraction = position - float(upper);
  const float* above = Spread(phase, upper, lower);
  const float* below = Spread(phase, lower, upper);
  const int first = (std::min(gain.left, width_) - firstColumn + 1) >> 1, end = (std::min(gain.right, width_) - firstColumn + 1) >> 1;
  for (int i = first; i < end; ++i) row_[2 * i + firstColumn] = above[i] + (below[i] - above[i]) * fraction;
}

// The spread row of `pointRow`, made in the place that `otherPointRow` does not need.
const float* GainRows::Spread(int phase, int pointRow, int otherPointRow) {
  auto& rows = spread_[phase];
  for (const SpreadRow& row : rows) {
    if (row.pointRow == pointRow) return row.values;
  }
  SpreadRow& free = rows[0].pointRow == otherPointRow ? rows[1] : rows[0];
  SpreadInto(free, phase, pointRow);
  return free.values;
}

void GainRows::SpreadInto(SpreadRow& row, int phase, int pointRow) {
  const PhaseGain& gain = gains_->phase[size_t(phase)];
  const float* points = gain.gains.data() + size_t(pointRow) * size_t(gain.pointsH);
  for (int x = phase & 1, i = 0; x < width_; x += 2, ++i) {
    const float position = GainPointPosition(x, width_, gain.originH, gain.spacingH, gain.pointsH);
    const int left = int(position), right = std::min(left + 1, gain.pointsH - 1);
    row.values[i] = points[left] + (points[right] - points[left]) * (position - float(left));
  }
  row.pointRow = pointRow;
}

}  // namespace qx
