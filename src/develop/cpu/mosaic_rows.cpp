#include "develop/cpu/mosaic_rows.h"

#include <algorithm>
#include <cstring>

namespace qx {

namespace {

// Mirrors an index that may lie several widths outside.
int MirrorFar(int i, int n) {
  const int period = 2 * (n - 1);
  const int folded = ((i % period) + period) % period;
  return folded < n ? folded : period - folded;
}

}  // namespace

bool SensorMosaicRows::Reserve(int width) {
  // The pads and the slack of the debayer loops on both sides; whole cache lines.
  rowPitch_ = (size_t(kRowSlack + width + kRowSlack + kMosaicPad) + 31) & ~size_t(31);
  const size_t values = rowPitch_ * (kMosaicRing + 1);  // one more row for linearised samples
  const uint64_t before = buffer_.capacity();
  if (!buffer_.Reserve(values) || !gainRows_.Reserve(width)) return false;
  // The slack only has to be readable; what stands there reaches no result.
  if (buffer_.capacity() != before) std::memset(buffer_.data(), 0, values * sizeof(uint16_t));
  return true;
}

void SensorMosaicRows::Begin(const MosaicSetup& setup) {
  setup_ = &setup;
  madeRow_.fill(-1);
  if (setup.gains != nullptr) gainRows_.Begin(*setup.gains, setup.width, setup.height);
}

const uint16_t* SensorMosaicRows::Row(int y) {
  const int row = MirrorFar(y, setup_->height);
  const size_t place = size_t(row) % kMosaicRing;
  uint16_t* values = buffer_.data() + place * rowPitch_ + kRowSlack;
  if (madeRow_[place] != row) {
    Make(row, values);
    madeRow_[place] = row;
  }
  return values;
}

void SensorMosaicRows::Make(int y, uint16_t* row) {
  const size_t phase = size_t(y & 1) * 2;
  const UnpackLevels levels = {{setup_->black[phase], setup_->black[phase + 1]},
                               {setup_->range[phase], setup_->range[phase + 1]},
                               {setup_->whiteBalance[phase], setup_->whiteBalance[phase + 1]}};
  const uint16_t* samples = Linearized(setup_->samples + size_t(y) * setup_->stride);
  kernels_.unpack(samples, levels, setup_->gains != nullptr ? gainRows_.Row(y) : nullptr, row, setup_->width);
  for (int i = 1; i <= kMosaicPad; ++i) {
    row[-i] = row[MirrorFar(-i, setup_->width)];
    row[setup_->width - 1 + i] = row[MirrorFar(setup_->width - 1 + i, setup_->width)];
  }
}

const uint16_t* SensorMosaicRows::Linearized(const uint16_t* samples) {
  const auto table = setup_->linearization;
  if (table.empty()) return samples;
  uint16_t* out = buffer_.data() + size_t(kMosaicRing) * rowPitch_;
  for (int x = 0; x < setup_->width; ++x) out[x] = table[std::min<size_t>(samples[x], table.size() - 1)];
  return out;
}

}  // namespace qx
