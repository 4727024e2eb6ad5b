// Conditional means: the linear value to expect behind each code, when all true values are equally likely up to their noise.
//
// The sum over true values x = 0, 0.05, 0.1 … is taken bin by bin in parts of 127 bins. Each part adds in rising order of x and owns its
// bins, so the result depends neither on the number of threads nor on the parts. A true value touches only the bins within 6·√2 standard
// deviations (see kErfSaturation), a few dozen in a table made for the noise.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "qorix/decoding_table.h"
#include "qorix/mean_kernels.h"

namespace qx {

namespace {

constexpr double kGridStep = 0.05;
constexpr double kDeviationsAboveWhite = 6;
constexpr double kDeviationsTakingPart = 10;
constexpr double kLeastDenominator = 1e-200;

// Parameters from a damaged or hostile file must not hold a frame up for more than about a second. True values up to 209,715: the noise at
// a white of 65,535 is then below 24,000, a sensor that nine electrons fill. And bins touched in all: a table with steps of half a standard
// deviation comes to 34 for each true value, which makes at most 143 million.
constexpr double kMaxGridPoints = 4194304;
constexpr double kMaxTouchedBins = 536870912;

constexpr size_t kPartEdges = 128, kPartBins = kPartEdges - 1;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The true values and their noise.
class Grid {
 public:
  Grid(const TableParameters& p, uint32_t white)
      : black_(p.p72), slope_(p.p76), readVariance_(p.p80), size_((white + kDeviationsAboveWhite * Deviation(white)) / kGridStep) {}

  bool Usable() const {
    // The variance never falls with x, so it is positive everywhere if it is at 0.
    return slope_ >= 0 && readVariance_ >= 0 && Variance(0) > 0 && size_ < kMaxGridPoints;
  }
  size_t size() const { return size_t(size_) + 1; }
  static double At(size_t index) { return kGridStep * double(index); }

  double Variance(double x) const { return std::max(x - black_, 0.0) * slope_ + readVariance_; }
  double Deviation(double x) const { return std::sqrt(Variance(x)); }
  /// An edge at least that far away has nothing of the distribution around x behind it.
  double Reach(double x) const { return kErfSaturation * std::numbers::sqrt2 * Deviation(x); }
  TrueValue ValueAt(double x) const {
    const double variance = Variance(x);
    return {x, 1 / (std::sqrt(variance) * std::numbers::sqrt2), 1 / variance};
  }

  /// The first index, or size(), from which on `reached(x)` holds; it must stay true once it is.
  template <typename Reached>
  size_t FirstWhere(Reached&& reached) const {
    size_t low = 0, high = size();
    while (low < high) {
      const size_t middle = low + (high - low) / 2;
      if (reached(At(middle))) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    return low;
  }

 private:
  double black_, slope_, readVariance_;
  double size_;
};

/// Bin c lies between edges c and c + 1; the outer edges are infinite. A falling start, which no writer makes, gives an empty bin.
std::vector<double> EdgesOf(const std::vector<uint32_t>& binStarts) {
  std::vector<double> edges = {-kInfinity};
  double highest = binStarts.front() - 0.5;
  for (size_t c = 1; c < binStarts.size(); ++c) {
    highest = std::max(highest, binStarts[c] - 0.5);
    edges.push_back(highest);
  }
  edges.push_back(kInfinity);
  return edges;
}

// How many bins all true values touch together, from 1,024 of them.
double EstimateTouchedBins(const Grid& grid, const std::vector<double>& edges) {
  constexpr size_t kSamples = 1024;
  double touched = 0;
  for (size_t i = 0; i < kSamples; ++i) {
    const double x = Grid::At(grid.size() * i / kSamples), reach = grid.Reach(x);
    touched += double(std::ranges::upper_bound(edges, x + reach) - std::ranges::lower_bound(edges, x - reach));
  }
  return touched * double(grid.size()) / kSamples;
}

/// Sums of a run of bins.
class PartSums {
 public:
  /// Bins first … first + count − 1.
  PartSums(const std::vector<double>& edges, size_t first, size_t count) : count_(count) {
    edges_.fill(kInfinity);
    std::copy_n(edges.begin() + ptrdiff_t(first), count + 1, edges_.begin());
  }

  /// The true values from index `from` on.
  void AddGrid(const Grid& grid, size_t from, MeanKernel add) {
    // Both conditions stay true: x + reach rises, and x − reach, once above an edge, too (it is convex, and below x).
    const size_t begin = grid.FirstWhere([&](double x) { return x + grid.Reach(x) > edges_[0]; });
    const size_t end = grid.FirstWhere([&](double x) { return x - grid.Reach(x) >= edges_[count_]; });
    for (size_t g = std::max(begin, from); g < end; ++g) {
      const double x = Grid::At(g);
      const size_t touched = MoveWindow(x, grid.Reach(x));
      add(&edges_[first_], touched, grid.ValueAt(x), cdf_.data(), &numerators_[first_], &denominators_[first_]);
    }
  }

  double numerator(size_t bin) const { return numerators_[bin]; }
  double denominator(size_t bin) const { return denominators_[bin]; }

 private:
  // Puts first_ on the first bin that x touches. The number of edges to look at: those of the touched bins, in whole vectors.
  size_t MoveWindow(double x, double reach) {
    while (first_ > 0 && edges_[first_] > x - reach) --first_;
    while (first_ + 1 < count_ && edges_[first_ + 1] <= x - reach) ++first_;
    last_ = std::max(last_, first_ + 1);
    while (last_ < count_ && edges_[last_] < x + reach) ++last_;
    const size_t edges = last_ - first_ + 1;
    return (edges + kMeanLanes - 1) / kMeanLanes * kMeanLanes;
  }

  // Whole vectors may begin at any bin of a part and reach beyond it: there edges are infinite and sums unused.
  using Values = std::array<double, kPartEdges + kMeanLanes>;

  size_t count_;
  size_t first_ = 0, last_ = 1;  // the edges around what the last true value touched
  Values edges_;
  Values numerators_ = {}, denominators_ = {};
  std::array<double, kPartEdges + kMeanLanes + 1> cdf_;
};

/// A part's sums turned into means. `bin` counts in the table, `partBin` in the part.
double MeanOfBin(const std::vector<uint32_t>& binStarts, uint32_t white, size_t bin, const PartSums& sums, size_t partBin) {
  const double first = binStarts[bin], last = bin + 1 < binStarts.size() ? binStarts[bin + 1] - 1.0 : white;
  if (last >= white) return white;
  const double denominator = sums.denominator(partBin);
  return denominator > kLeastDenominator ? sums.numerator(partBin) / denominator : (first + last) / 2;
}

// A clipped sample means the clipping value, whatever else its bin holds.
void SetClippingValue(const TableParameters& parameters, const std::vector<uint32_t>& binStarts, uint32_t white,
                      std::vector<double>* means) {
  const uint32_t clip = parameters.p88;
  if (clip < 1 || clip > white) return;
  for (size_t c = binStarts.size(); c-- > 0;) {
    if (binStarts[c] > clip) continue;
    (*means)[c] = clip;
    return;
  }
}

}  // namespace

bool ComputeConditionalMeans(const TableParameters& parameters, const std::vector<uint32_t>& binStarts, uint32_t white, WorkerPool* pool,
                             std::vector<double>* means) {
  const Grid grid(parameters, white);
  if (!grid.Usable() || binStarts.empty()) return false;
  const std::vector<double> edges = EdgesOf(binStarts);
  if (EstimateTouchedBins(grid, edges) > kMaxTouchedBins) return false;

  // A table that begins above 0 has no bin for the true values far below.
  const double lowest = binStarts.front() - 0.5;
  const size_t from = grid.FirstWhere([&](double x) { return x + kDeviationsTakingPart * grid.Deviation(x) >= lowest; });
  const MeanKernel add = mean_kernel_selected();
  means->resize(binStarts.size());
  RunParts(pool, int((binStarts.size() + kPartBins - 1) / kPartBins), [&](int part) {
    const size_t first = size_t(part) * kPartBins, count = std::min(kPartBins, binStarts.size() - first);
    PartSums sums(edges, first, count);
    sums.AddGrid(grid, from, add);
    for (size_t i = 0; i < count; ++i) (*means)[first + i] = MeanOfBin(binStarts, white, first + i, sums, i);
    return 0;
  });
  SetClippingValue(parameters, binStarts, white, means);
  return true;
}

}  // namespace qx
