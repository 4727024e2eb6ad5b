#include "develop/cpu/ahd_kernels.h"

#include <algorithm>
#include <cstdlib>

#include "platform/cpu_features.h"

namespace qx {
namespace {

uint16_t Clamp16(int32_t v) {
  return uint16_t(std::clamp(v, 0, 65535));
}

bool IsGreen(int x, int greenParity) {
  return (x & 1) == greenParity;
}

void Green(const GreenTaps& taps, int greenParity, int begin, int end, uint16_t* out) {
  for (int x = begin; x < end; ++x) {
    const int32_t c = taps.center[x], a = taps.before[x], b = taps.after[x];
    const int32_t v4 = 2 * (a + c + b) - taps.before2[x] - taps.after2[x];
    out[x] = uint16_t(IsGreen(x, greenParity) ? c : std::clamp(v4 >> 2, std::min(a, b), std::max(a, b)));
  }
}

void Chroma(const RowTriple<uint16_t>& mosaic, const RowTriple<uint16_t>& green, int begin, int end, int32_t* sum) {
  for (int x = begin; x < end; ++x) {
    sum[x] = mosaic.above[x] + mosaic.center[x] + mosaic.below[x] - green.above[x] - green.center[x] - green.below[x];
  }
}

void Color(const uint16_t* green, const int32_t* sum, BayerRow row, int begin, int end, const RgbPlanes& out) {
  for (int x = begin; x < end; ++x) {
    const int32_t g = green[x], sides = sum[x - 1] + sum[x + 1];
    int32_t own, other;  // the row's own chroma colour and that of the rows beside it
    if (IsGreen(x, row.greenParity)) {
      own = g + (sides >> 1);
      other = g + (sum[x] >> 1);
    } else {
      own = g + sum[x];
      other = g + ((sides + 1) >> 2);
    }
    out.r[x] = Clamp16(row.red ? own : other);
    out.g[x] = green[x];
    out.b[x] = Clamp16(row.red ? other : own);
  }
}

void Lab(const RgbRow& rgb, const LabConversion& conversion, int begin, int end, const LabPlanes& out) {
  const auto& m = conversion.matrix;
  const int32_t* t0 = conversion.tables;
  const int32_t* t1 = t0 + 65536;
  const int32_t* t2 = t1 + 65536;
  for (int x = begin; x < end; ++x) {
    uint16_t xyz[3];
    for (int i = 0; i < 3; ++i) xyz[i] = Clamp16((m[3 * i] * rgb.r[x] + m[3 * i + 1] * rgb.g[x] + m[3 * i + 2] * rgb.b[x] + 512) >> 10);
    out.l[x] = int16_t(t0[xyz[1]] - 1024);
    out.a[x] = int16_t(t1[xyz[0]] - t1[xyz[1]]);
    out.b[x] = int16_t(t2[xyz[1]] - t2[xyz[2]]);
  }
}

void Distances(const LabPlanes& one, const LabPlanes& other, int begin, int end, const DistancePlanes& out) {
  for (int x = begin; x < end; ++x) {
    const uint32_t da = uint32_t(std::abs(one.a[x] - other.a[x])), db = uint32_t(std::abs(one.b[x] - other.b[x]));
    out.l[x] = uint16_t(std::abs(one.l[x] - other.l[x]));
    out.ab[x] = da * da + db * db;
  }
}

/// The four neighbours' distances of one site: left, right, upper, lower.
struct SiteDistances {
  uint32_t l[4], ab[4];
  SiteDistances(const Surroundings& s, int x)
      : l{s.across.l[x - 1], s.across.l[x], s.above.l[x], s.below.l[x]},
        ab{s.across.ab[x - 1], s.across.ab[x], s.above.ab[x], s.below.ab[x]} {}
  int CountWithin(uint32_t lightness, uint32_t chroma) const {
    int count = 0;
    for (int i = 0; i < 4; ++i) count += l[i] <= lightness && ab[i] <= chroma;
    return count;
  }
};

void Homogeneity(const Surroundings& horizontal, const Surroundings& vertical, int begin, int end, int8_t* lead) {
  for (int x = begin; x < end; ++x) {
    const SiteDistances h(horizontal, x), v(vertical, x);
    const uint32_t lightness = std::min(std::max(h.l[0], h.l[1]), std::max(v.l[2], v.l[3]));
    const uint32_t chroma = std::min(std::max(h.ab[0], h.ab[1]), std::max(v.ab[2], v.ab[3]));
    lead[x] = int8_t(h.CountWithin(lightness, chroma) - v.CountWithin(lightness, chroma));
  }
}

void Select(const RowTriple<int8_t>& lead, const RgbRow& horizontal, const RgbRow& vertical, int begin, int end, const RgbPlanes& out) {
  for (int x = begin; x < end; ++x) {
    int vote = 0;
    for (int i = x - 1; i <= x + 1; ++i) vote += lead.above[i] + lead.center[i] + lead.below[i];
    const auto choose = [vote](int h, int v) { return uint16_t(vote > 0 ? h : vote < 0 ? v : (h + v) >> 1); };
    out.r[x] = choose(horizontal.r[x], vertical.r[x]);
    out.g[x] = choose(horizontal.g[x], vertical.g[x]);
    out.b[x] = choose(horizontal.b[x], vertical.b[x]);
  }
}

constexpr AhdKernels kScalar = {"scalar", true, 1, Green, Chroma, Color, Lab, Distances, Homogeneity, Select};

}  // namespace

BayerRow BayerRowAt(const std::array<uint8_t, 4>& cfa, int y) {
  const size_t first = size_t(y & 1) * 2;
  return {cfa[first] == 1 ? 0 : 1, cfa[first] == 0 || cfa[first + 1] == 0};
}

std::span<const AhdKernels> AhdKernelVariants() {
  static const AhdKernels variants[] = {kScalar, Avx2AhdKernels()};
  return variants;
}

const AhdKernels& PickAhdKernels(int columns) {
  return FastestVariant(AhdKernelVariants(), [columns](const AhdKernels& kernels) { return kernels.minColumns <= columns; });
}

}  // namespace qx
