// Every usable vector kernel of AHD and its refinement against the scalar one: same integers, nothing touched outside the range.
#include "develop/cpu/ahd_kernels.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "develop/cpu/ahd.h"
#include "develop/cpu/lab_tables.h"
#include "develop/cpu/median_kernels.h"

namespace qx {
namespace {

constexpr int kBegin = -3;  // ranges begin left of the image, at an odd column

/// Columns first … last of an own block of memory, so that sanitizers see any step outside. Addressed by column.
template <typename T>
class Plane {
 public:
  Plane(int first, int last) : first_(first), values_(size_t(last - first + 1)) {}
  /// Random values with many of the extremes `low` and `high` and some equal neighbours.
  Plane& Fill(std::mt19937& random, int64_t low, int64_t high) {
    for (size_t i = 0; i < values_.size(); ++i) {
      const uint32_t kind = random() % 6;
      const int64_t any = low + int64_t(random()) % (high - low + 1);
      values_[i] = T(kind == 0 ? low : kind == 1 ? high : kind == 2 && i > 0 ? int64_t(values_[i - 1]) : any);
    }
    return *this;
  }
  T* at() { return values_.data() - first_; }
  const std::vector<T>& values() const { return values_; }

 private:
  int first_;
  std::vector<T> values_;
};

/// All planes of a case, kept alive until it ends.
class Planes {
 public:
  Planes(int end, uint32_t seed) : end_(end), random_(seed) {}
  /// An input of columns kBegin − before … end − 1 + after.
  template <typename T>
  T* In(int64_t low, int64_t high, int before = 0, int after = 0) {
    auto plane = std::make_shared<Plane<T>>(kBegin - before, end_ - 1 + after);
    inputs_.push_back(plane);
    return plane->Fill(random_, low, high).at();
  }
  uint16_t* Samples(int before = 0, int after = 0) { return In<uint16_t>(0, 65535, before, after); }
  RgbRow Rgb() { return {Samples(), Samples(), Samples()}; }

  /// An output with one column more on either side, which must stay as it is. The variant under test gets the same calls again.
  template <typename T>
  T* Out() {
    auto plane = std::make_shared<Plane<T>>(kBegin - 1, end_);
    inputs_.push_back(plane);
    T* at = plane->at();
    const size_t bytes = plane->values().size() * sizeof(T);
    const auto* raw = reinterpret_cast<const uint8_t*>(plane->values().data());
    outputs_.push_back({raw, bytes});
    return at;
  }
  std::vector<uint8_t> Written() const {
    std::vector<uint8_t> all;
    for (const auto& [raw, bytes] : outputs_) all.insert(all.end(), raw, raw + bytes);
    return all;
  }

 private:
  int end_;
  std::mt19937 random_;
  std::vector<std::shared_ptr<void>> inputs_;
  std::vector<std::pair<const uint8_t*, size_t>> outputs_;
};

/// Runs `run(kernels, end, planes)` with every usable variant over ranges of many lengths; equal seeds make equal inputs.
template <typename Kernels, typename Run>
void ExpectScalarResults(std::span<const Kernels> variants, Run run) {
  for (const Kernels& variant : variants.subspan(1)) {
    if (!variant.usable) continue;
    for (int columns = variant.minColumns; columns < 100; ++columns) {
      const uint32_t seed = uint32_t(columns);
      Planes expected(kBegin + columns, seed), got(kBegin + columns, seed);
      run(variants[0], kBegin + columns, seed, expected);
      run(variant, kBegin + columns, seed, got);
      ASSERT_EQ(got.Written(), expected.Written()) << variant.name << " " << columns;
    }
  }
}

template <typename Run>
void ExpectAhd(Run run) {
  ExpectScalarResults(AhdKernelVariants(), run);
}
template <typename Run>
void ExpectMedian(Run run) {
  ExpectScalarResults(MedianKernelVariants(), run);
}

/// All four kinds of row in turn.
BayerRow RowKind(uint32_t seed) {
  return {int(seed & 1), (seed & 2) != 0};
}

Surroundings RandomSurroundings(Planes& planes) {
  const auto distances = [&planes](int before) {
    return DistancePlanes{planes.In<uint16_t>(0, 6400, before), planes.In<uint32_t>(0, 3530946208, before)};
  };
  return {distances(1), distances(0), distances(0)};
}

TEST(AhdKernels, GreenEqualsScalar) {
  ExpectAhd([](const AhdKernels& kernels, int end, uint32_t seed, Planes& planes) {
    const uint16_t* row = planes.Samples(2, 2);
    kernels.green({row, row - 1, row + 1, row - 2, row + 2}, int(seed & 1), kBegin, end, planes.Out<uint16_t>());
    kernels.green({row, planes.Samples(), planes.Samples(), planes.Samples(), planes.Samples()}, int(seed & 1), kBegin, end,
                  planes.Out<uint16_t>());
  });
}

TEST(AhdKernels, ChromaAndColorEqualScalar) {
  ExpectAhd([](const AhdKernels& kernels, int end, uint32_t seed, Planes& planes) {
    kernels.chroma({planes.Samples(), planes.Samples(), planes.Samples()}, {planes.Samples(), planes.Samples(), planes.Samples()}, kBegin,
                   end, planes.Out<int32_t>());
    const RgbPlanes out = {planes.Out<uint16_t>(), planes.Out<uint16_t>(), planes.Out<uint16_t>()};
    kernels.color(planes.Samples(), planes.In<int32_t>(-131070, 131070, 1, 1), RowKind(seed), kBegin, end, out);
  });
}

TEST(AhdKernels, LabEqualsScalar) {
  ExpectAhd([](const AhdKernels& kernels, int end, uint32_t seed, Planes& planes) {
    LabConversion conversion = {{}, GetLabTables(), GetPackedLabTable()};
    std::mt19937 random(seed);
    for (int32_t& value : conversion.matrix) value = int32_t(random() % 16383) - 8191;
    if (seed % 3 == 0) conversion.matrix = {8191, 8191, 8191, -8191, -8191, -8191, 700, -8191, 300};
    if (seed % 3 == 1) conversion.matrix = {444, 385, 194, 218, 732, 74, 18, 112, 894};
    const LabPlanes out = {planes.Out<int16_t>(), planes.Out<int16_t>(), planes.Out<int16_t>()};
    kernels.lab(planes.Rgb(), conversion, kBegin, end, out);
  });
}

TEST(AhdKernels, DistancesEqualScalar) {
  ExpectAhd([](const AhdKernels& kernels, int end, uint32_t, Planes& planes) {
    const auto lab = [&planes] {
      return LabPlanes{planes.In<int16_t>(0, 6400), planes.In<int16_t>(-27586, 27586), planes.In<int16_t>(-11034, 11034)};
    };
    const LabPlanes one = lab(), other = lab();
    kernels.distances(one, other, kBegin, end, {planes.Out<uint16_t>(), planes.Out<uint32_t>()});
  });
}

// The farthest colours that the tables allow: 55172² + 22068² passes 2^31.
TEST(AhdKernels, DistancesHoldTheFarthestColors) {
  for (const AhdKernels& kernels : AhdKernelVariants()) {
    if (!kernels.usable) continue;
    std::vector<int16_t> l0(16, 0), l1(16, 6400), a0(16, -27586), a1(16, 27586), b0(16, 11034), b1(16, -11034);
    std::vector<uint16_t> dl(16);
    std::vector<uint32_t> dab(16);
    kernels.distances({l0.data(), a0.data(), b0.data()}, {l1.data(), a1.data(), b1.data()}, 0, 16, {dl.data(), dab.data()});
    EXPECT_EQ(dl, std::vector<uint16_t>(16, 6400)) << kernels.name;
    EXPECT_EQ(dab, std::vector<uint32_t>(16, 3530946208u)) << kernels.name;
  }
}

TEST(AhdKernels, HomogeneityEqualsScalar) {
  ExpectAhd([](const AhdKernels& kernels, int end, uint32_t, Planes& planes) {
    const Surroundings horizontal = RandomSurroundings(planes), vertical = RandomSurroundings(planes);
    kernels.homogeneity(horizontal, vertical, kBegin, end, planes.Out<int8_t>());
  });
}

TEST(AhdKernels, SelectEqualsScalar) {
  ExpectAhd([](const AhdKernels& kernels, int end, uint32_t seed, Planes& planes) {
    const int most = seed % 2 == 0 ? 4 : 1;  // small leads tie often
    const auto lead = [&] { return planes.In<int8_t>(-most, most, 1, 1); };
    const RowTriple<int8_t> leads = {lead(), lead(), lead()};
    const RgbRow horizontal = planes.Rgb(), vertical = planes.Rgb();
    kernels.select(leads, horizontal, vertical, kBegin, end, {planes.Out<uint16_t>(), planes.Out<uint16_t>(), planes.Out<uint16_t>()});
  });
}

ChromaColumns RandomColumns(Planes& planes) {
  const auto plane = [&planes](int low, int high) { return planes.In<int32_t>(low, high, 1, 1); };
  // Any values do: the kernels compare across columns, not within one.
  return {{plane(-65535, 0), plane(-20000, 20000), plane(0, 65535)}, {plane(-65535, 65535), plane(-65535, 65535), plane(-65535, 65535)}};
}

TEST(MedianKernels, SortedChromaEqualsScalar) {
  ExpectMedian([](const MedianKernels& kernels, int end, uint32_t, Planes& planes) {
    const RgbNeighbors rows = {planes.Rgb(), planes.Rgb(), planes.Rgb()};
    const auto out = [&planes] { return SortedColumns{planes.Out<int32_t>(), planes.Out<int32_t>(), planes.Out<int32_t>()}; };
    kernels.sortChroma(rows, kBegin, end, {out(), out()});
  });
}

TEST(MedianKernels, FiltersEqualScalar) {
  ExpectMedian([](const MedianKernels& kernels, int end, uint32_t seed, Planes& planes) {
    const RgbRow rgb = planes.Rgb();
    const ChromaColumns columns = RandomColumns(planes);
    kernels.filterChroma(rgb, columns, RowKind(seed), kBegin, end, planes.Out<uint16_t>(), planes.Out<uint16_t>());
    kernels.filterGreen(rgb, columns, RowKind(seed), kBegin, end, planes.Out<uint16_t>());
  });
}

}  // namespace
}  // namespace qx
