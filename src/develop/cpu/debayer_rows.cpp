#include "develop/cpu/debayer_rows.h"

#include <cstring>
#include <new>

#include "base/grow_buffer.h"
#include "develop/cpu/row_kernels.h"

namespace qx {

namespace {

constexpr uint8_t kGreen = 1;

class NeighbourhoodRows final : public RgbRows {
 public:
  NeighbourhoodRows(MosaicRows* mosaic, const DebayerSetup& setup, bool bilinear) : mosaic_(mosaic), setup_(setup), bilinear_(bilinear) {}

  [[nodiscard]] bool Reserve() {
    pitch_ = (size_t(2 * kRowSlack + setup_.width) + 31) & ~size_t(31);
    return buffer_.Reserve(3 * pitch_);
  }

  void Begin(int, const LabMatrix&) override {}

  RgbRow Row(int y) override {
    const uint8_t* colors = &setup_.cfa[size_t(y & 1) * 2];
    // The loops start at a red or blue site: one column further left when the row begins with green.
    const int start = colors[0] == kGreen ? -1 : 0;
    const uint8_t own = colors[-start];
    uint16_t* planes[3] = {Plane(0), Plane(1), Plane(2)};
    Interpolate(y, start, planes[own] + start, planes[1] + start, planes[2 - own] + start);
    return {planes[0], planes[1], planes[2]};
  }

 private:
  uint16_t* Plane(int color) { return buffer_.data() + size_t(color) * pitch_ + kRowSlack; }

  void Interpolate(int y, int start, uint16_t* own, uint16_t* green, uint16_t* opposite) {
    const int reach = bilinear_ ? 1 : 2;
    const uint16_t* rows[5];
    for (int i = 0; i <= 2 * reach; ++i) rows[i] = mosaic_->Row(y - reach + i) + start;
    const auto loop = bilinear_ ? kernels_.bilinear : kernels_.gradient;
    loop(rows, own, green, opposite, setup_.width - start);
  }

  const RowKernels& kernels_ = GetRowKernels();
  MosaicRows* mosaic_;
  DebayerSetup setup_;
  bool bilinear_;
  GrowBuffer<uint16_t> buffer_;
  size_t pitch_ = 0;
};

std::unique_ptr<RgbRows> Create(MosaicRows* mosaic, const DebayerSetup& setup, bool bilinear) {
  std::unique_ptr<NeighbourhoodRows> rows(new (std::nothrow) NeighbourhoodRows(mosaic, setup, bilinear));
  if (rows == nullptr || !rows->Reserve()) return nullptr;
  return rows;
}

}  // namespace

std::unique_ptr<RgbRows> CreateGradientRows(MosaicRows* mosaic, const DebayerSetup& setup) {
  return Create(mosaic, setup, false);
}
std::unique_ptr<RgbRows> CreateBilinearRows(MosaicRows* mosaic, const DebayerSetup& setup) {
  return Create(mosaic, setup, true);
}

}  // namespace qx
