#include "develop/cpu/median_kernels.h"

#include <algorithm>
#include <array>

#include "platform/cpu_features.h"

namespace qx {
namespace {

uint16_t Clamp16(int32_t v) {
  return uint16_t(std::clamp(v, 0, 65535));
}

int32_t Median3(int32_t a, int32_t b, int32_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

int32_t Median9(const SortedColumns& columns, int x) {
  const int32_t low = std::max({columns.low[x - 1], columns.low[x], columns.low[x + 1]});
  const int32_t middle = Median3(columns.middle[x - 1], columns.middle[x], columns.middle[x + 1]);
  const int32_t high = std::min({columns.high[x - 1], columns.high[x], columns.high[x + 1]});
  return Median3(low, middle, high);
}

void SortInto(const SortedColumns& out, int x, std::array<int32_t, 3> column) {
  std::sort(column.begin(), column.end());
  out.low[x] = column[0];
  out.middle[x] = column[1];
  out.high[x] = column[2];
}

void SortChroma(const RgbNeighbors& rows, int begin, int end, const ChromaColumns& out) {
  const auto& [above, center, below] = rows;
  for (int x = begin; x < end; ++x) {
    SortInto(out.red, x, {above.r[x] - above.g[x], center.r[x] - center.g[x], below.r[x] - below.g[x]});
    SortInto(out.blue, x, {above.b[x] - above.g[x], center.b[x] - center.g[x], below.b[x] - below.g[x]});
  }
}

void FilterChroma(const RgbRow& center, const ChromaColumns& columns, BayerRow row, int begin, int end, uint16_t* red, uint16_t* blue) {
  for (int x = begin; x < end; ++x) {
    const bool measured = (x & 1) != row.greenParity;
    red[x] = measured && row.red ? center.r[x] : Clamp16(Median9(columns.red, x) + center.g[x]);
    blue[x] = measured && !row.red ? center.b[x] : Clamp16(Median9(columns.blue, x) + center.g[x]);
  }
}

void FilterGreen(const RgbRow& center, const ChromaColumns& columns, BayerRow row, int begin, int end, uint16_t* green) {
  for (int x = begin; x < end; ++x) {
    const bool measured = (x & 1) == row.greenParity;
    // The median of g − r is that of r − g with the sign changed.
    const int32_t twice = center.r[x] + center.b[x] - Median9(columns.red, x) - Median9(columns.blue, x);
    green[x] = measured ? center.g[x] : Clamp16(twice >> 1);
  }
}

constexpr MedianKernels kScalar = {"scalar", true, 1, SortChroma, FilterChroma, FilterGreen};

}  // namespace

std::span<const MedianKernels> MedianKernelVariants() {
  static const MedianKernels variants[] = {kScalar, Avx2MedianKernels()};
  return variants;
}

const MedianKernels& PickMedianKernels(int columns) {
  return FastestVariant(MedianKernelVariants(), [columns](const MedianKernels& kernels) { return kernels.minColumns <= columns; });
}

}  // namespace qx
