#include "qorix/decoding_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <random>

#include "base/byte_source.h"
#include "qorix/mean_kernels.h"
#include "samples/qorix_writer.h"

namespace qx {
namespace {

using Starts = std::vector<uint32_t>;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();

TableParameters Noise(float k, float black, float slope, float readVariance, uint16_t white, uint16_t clip = 0) {
  return {.p72 = black, .p76 = slope, .p80 = readVariance, .p84 = k, .p88 = clip, .p90 = white};
}
TableParameters BitDepth(float bits, bool logarithmic, float white) {
  return {.p76 = logarithmic ? 1.0f : 0.0f, .p80 = white, .p84 = -bits};
}

std::optional<Starts> BinStartsOf(const TableParameters& parameters) {
  Starts starts;
  if (!ComputeBinStarts(parameters, &starts, {})) return std::nullopt;
  return starts;
}

TEST(BinStarts, OfTheNoiseFamilyByHand) {
  struct Row {
    const char* why;
    TableParameters parameters;
    Starts expected;
  };
  for (const Row& row : {
           // 2·(√(i + 1) − 1) = 0, 0.83, 1.46, 2, 2.47, 2.90, 3.29, 3.66, 4 for i = 0 … 8
           Row{"plain", Noise(1, 0, 1, 1, 8), {0, 1, 3, 5, 7}},
           Row{"clipping value shares a code: one more", Noise(1, 0, 1, 1, 8, 8), {0, 1, 3, 5, 7, 8}},
           Row{"clipping value ends the table", Noise(1, 0, 1, 1, 8, 5), {0, 1, 3, 5}},
           Row{"clipping value with its own code", Noise(1, 0, 1, 1, 8, 7), {0, 1, 3, 5, 7}},
           Row{"clipping value above white: none", Noise(1, 0, 1, 1, 8, 9), {0, 1, 3, 5, 7}},
           Row{"equal steps below black", Noise(1, 2, 1, 1, 4), {0, 1, 2, 3}},        // −2, −1, 0, 0.83, 1.46
           Row{"halves away from zero", Noise(1, 0.5, 1, 1, 2), {0, 1, 2}},           // −0.5, 0.45, 1.16
           Row{"variance at least 1 / k²", Noise(0.5, 0, 1, 1, 5), {0, 1, 2, 3, 5}},  // 4·(√(i + 4) − 2)
           Row{"negative variance likewise", Noise(1, 0, 1, -7, 8), {0, 1, 3, 5, 7}},
           Row{"larger variance", Noise(1, 0, 1, 4, 8), {0, 2, 4, 7}},  // 2·(√(i + 4) − 2): code 3 from 7 on, 2.63
           Row{"white 0", Noise(1, 0, 1, 1, 0), {0}},
       }) {
    EXPECT_EQ(BinStartsOf(row.parameters), row.expected) << row.why;
  }
}

TEST(BinStarts, OfTheBitDepthFamilyByHand) {
  struct Row {
    const char* why;
    TableParameters parameters;
    Starts expected;
  };
  for (const Row& row : {
           Row{"depth holds all values", BitDepth(3, false, 5), {0, 1, 2, 3, 4, 5}},
           Row{"exactly", BitDepth(2, true, 3), {0, 1, 2, 3}},
           Row{"even: 3/7 of a code each, 7 shares code 3", BitDepth(2, false, 7), {0, 2, 4, 6, 7}},
           Row{"even: 3/5 of a code each, 5 has its own", BitDepth(2, false, 5), {0, 1, 3, 5}},  // 0.6, 1.2, 1.8, 2.4, 3
           Row{"logarithmic: log2(j + 1)", BitDepth(2, true, 7), {0, 1, 2, 5, 7}},
           Row{"no values", BitDepth(8, false, 0), {0}},
           Row{"numbers are rounded", BitDepth(2.4f, false, 6.6f), {0, 2, 4, 6, 7}},
       }) {
    EXPECT_EQ(BinStartsOf(row.parameters), row.expected) << row.why;
  }
  // All 16,383 codes of 14 bits are taken, so the largest value shares its bin; 13 bits have room for one more.
  const Starts bits14 = BinStartsOf(BitDepth(14, false, 65535)).value(), bits13 = BinStartsOf(BitDepth(13, false, 65535)).value();
  EXPECT_EQ(bits14.size(), 16384u);
  EXPECT_LT(bits14.back(), 65535u);
  EXPECT_EQ(bits13.size(), 8193u);
  EXPECT_EQ(bits13.back(), 65535u);
}

// The formula value by value, and the search for each code from the beginning.
Starts SlowNoiseStarts(const TableParameters& p) {
  const double b = p.p72, S = p.p76, k = p.p84, v = std::max(1 / (k * k), double(p.p80)), s0 = std::sqrt(v);
  const bool clips = p.p88 >= 1 && p.p88 <= p.p90;
  std::vector<double> codes;
  for (int i = 0; i <= (clips ? p.p88 : p.p90); ++i) {
    const double d = i - b;
    codes.push_back(std::round(d >= 0 ? (std::sqrt(d * S + v) - s0) * 2 / (k * S) : d / (s0 * k)));
  }
  const double smallest = *std::min_element(codes.begin(), codes.end());
  for (double& code : codes) code -= smallest;
  if (clips && codes[p.p88 - 1] == codes[p.p88]) codes[p.p88] += 1;
  Starts starts;
  for (double c = 0; c <= codes.back(); ++c) {
    starts.push_back(uint32_t(std::find_if(codes.begin(), codes.end(), [c](double code) { return code >= c; }) - codes.begin()));
  }
  return starts;
}

TEST(BinStarts, OfTheNoiseFamilyEqualTheSlowFormula) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> unit(0, 1);
  for (int round = 0; round < 200; ++round) {
    const uint16_t white = uint16_t(1 + random() % 2000);
    const TableParameters p = Noise(0.2f + 3 * unit(random), 80 * unit(random) - 8, std::exp(8 * unit(random) - 5), 60 * unit(random),
                                    white, uint16_t(random() % (2 * white)));
    EXPECT_EQ(BinStartsOf(p), SlowNoiseStarts(p)) << round;
  }
}

TEST(BinStarts, RefusesParametersThatDefineNoTable) {
  struct Row {
    TableParameters parameters;
    const char* message;
  };
  TableParameters noNumber = Noise(1, 0, 1, 1, 100);
  noNumber.p72 = -kInf;
  for (const Row& row : {
           Row{noNumber, ""},
           Row{Noise(1, 0, kNan, 1, 100), ""},
           Row{Noise(1, 0, 1, kInf, 100), ""},
           Row{Noise(kNan, 0, 1, 1, 100), ""},
           Row{Noise(0, 0, 1, 1, 100), ""},
           Row{Noise(1, 0, 0, 1, 100), ""},
           Row{Noise(1, 0, -1, 1, 100), ""},
           Row{Noise(1e-5f, 0, 3e-11f, 0, 65535), ""},  // one rounding step of the root is 97,013 codes
           Row{BitDepth(0.4f, false, 100), "bit depth table: bits 0, white 100"},
           Row{BitDepth(17, false, 100), "bit depth table: bits 17, white 100"},
           Row{BitDepth(8, false, 65536), "bit depth table: bits 8, white 65536"},
           Row{BitDepth(8, false, -1), "bit depth table: bits 8, white -1"},
           Row{BitDepth(3e38f, false, -3e38f), "bit depth table: bits 2147483647, white -2147483648"},
           Row{BitDepth(8, false, kNan), ""},
       }) {
    Starts starts;
    MessageBuffer<200> message;
    EXPECT_FALSE(ComputeBinStarts(row.parameters, &starts, message));
    EXPECT_STREQ(message.text(), row.message);
  }
}

double SlowErf(double z) {
  const double a = std::fabs(z), t = 1 / (1 + 0.3275911 * a);
  const double erf =
      1 - t * (0.254829592 + t * (-0.284496736 + t * (1.421413741 + t * (-1.453152027 + t * 1.061405429)))) * std::exp(-a * a);
  return z < 0 ? -erf : erf;
}

// As the sums are defined: for each true value the codes that meet ± 10 σ, the outer edges of these taken as certain.
std::vector<double> SlowMeans(const TableParameters& p, const Starts& starts, uint32_t white) {
  const double b = p.p72, S = p.p76, O = p.p80;
  const size_t codes = starts.size();
  std::vector<double> numerators(codes), denominators(codes), means(codes);
  const double top = white + 6 * std::sqrt(std::max(white - b, 0.0) * S + O);
  for (int g = 0; 0.05 * g <= top; ++g) {
    const double x = 0.05 * g, variance = std::max(x - b, 0.0) * S + O, sigma = std::sqrt(variance);
    std::vector<size_t> part;
    for (size_t c = 0; c < codes; ++c) {
      if (starts[c] - 0.5 <= x + 10 * sigma && (c + 1 == codes || starts[c + 1] - 0.5 >= x - 10 * sigma)) part.push_back(c);
    }
    for (const size_t c : part) {
      const auto phi = [&](double edge) { return 0.5 * (1 + SlowErf((edge - x) / (sigma * std::sqrt(2.0)))); };
      const double lower = c == part.front() ? 0 : phi(starts[c] - 0.5), upper = c == part.back() ? 1 : phi(starts[c + 1] - 0.5);
      const double probability = std::max(upper - lower, 0.0);
      numerators[c] += x / variance * probability;
      denominators[c] += 1 / variance * probability;
    }
  }
  for (size_t c = 0; c < codes; ++c) {
    const double last = c + 1 < codes ? starts[c + 1] - 1.0 : white;
    means[c] = denominators[c] > 1e-200 ? numerators[c] / denominators[c] : (starts[c] + last) / 2;
    if (last >= white) means[c] = white;
  }
  for (size_t c = codes; p.p88 >= 1 && p.p88 <= white && c-- > 0;) {
    if (starts[c] <= p.p88) {
      means[c] = p.p88;
      break;
    }
  }
  return means;
}

TEST(ConditionalMeans, EqualTheSlowFormula) {
  Starts sparse, identity;
  for (uint32_t start = 700; start < 1000; start += 3) sparse.push_back(start);
  for (uint32_t start = 0; start < 300; ++start) identity.push_back(start);
  struct Row {
    const char* why;
    TableParameters parameters;
    Starts starts;  // empty: the computed ones
  };
  for (const Row& row : {
           Row{"usual", Noise(0.5f, 16, 0.3f, 2, 500), {}},
           Row{"coarse steps", Noise(2, 64, 1, 9, 1023), {}},
           Row{"with a clipping value", Noise(1, 16, 0.3f, 2, 500, 420), {}},
           Row{"noise far below a value", Noise(1, 0, 1e-6f, 1e-4f, 200), {}},
           Row{"noise that rises steeply from black", Noise(1, 100, 50, 0.01f, 400), {}},
           Row{"black below 0, no read noise", Noise(1, -3, 0.5f, 0, 300), {}},
           Row{"constant noise, recorded table", Noise(0, 0, 0, 4, 299), identity},
           Row{"many parts in one reach", Noise(0, 0, 20, 100, 299), identity},
           Row{"table that begins far above 0", Noise(0, 10, 0.5f, 4, 1000), sparse},
           Row{"table beyond its white level", Noise(0, 10, 0.5f, 4, 800, 790), sparse},
           Row{"one code", Noise(1, 0, 1, 1, 50), {0}},
           Row{"white 0", Noise(1, 0, 1, 1, 0), {0}},
       }) {
    SCOPED_TRACE(row.why);
    const TableParameters& p = row.parameters;
    const Starts starts = row.starts.empty() ? BinStartsOf(p).value() : row.starts;
    std::vector<double> means;
    ASSERT_TRUE(ComputeConditionalMeans(p, starts, p.p90, nullptr, &means));
    const std::vector<double> expected = SlowMeans(p, starts, p.p90);
    ASSERT_EQ(means.size(), expected.size());
    for (size_t c = 0; c < means.size(); ++c) EXPECT_NEAR(means[c], expected[c], 1e-9 * std::max(1.0, expected[c])) << c;
  }
}

TEST(ConditionalMeans, RiseAndAreThoseOfTheBinsWhereNoiseIsLow) {
  const TableParameters p = Noise(1, 64, 0.02f, 1, 4095);
  const Starts starts = BinStartsOf(p).value();
  std::vector<double> means;
  ASSERT_TRUE(ComputeConditionalMeans(p, starts, 4095, nullptr, &means));
  EXPECT_EQ(means.back(), 4095);
  // Weights 1/σ² draw a mean down by about 2·S, 0.04.
  for (size_t c = 100; c + 1 < means.size(); ++c) {
    EXPECT_LT(means[c], means[c + 1]) << c;
    EXPECT_GT(means[c], starts[c] - 0.6) << c;
    EXPECT_LT(means[c], starts[c + 1] - 0.4) << c;
  }
}

TEST(ConditionalMeans, DoNotDependOnTheNumberOfThreads) {
  const TableParameters p = Noise(0.5f, 64, 0.25f, 4, 16383);
  const Starts starts = BinStartsOf(p).value();
  std::vector<double> alone, shared;
  ASSERT_TRUE(ComputeConditionalMeans(p, starts, p.p90, nullptr, &alone));
  for (const int threads : {1, 3}) {
    const WorkerPoolPtr pool = worker_pool_create(threads);
    ASSERT_TRUE(ComputeConditionalMeans(p, starts, p.p90, pool.get(), &shared));
    EXPECT_EQ(shared, alone);
  }
}

TEST(ConditionalMeans, AreRefusedWithoutNoiseOrWithTooMuch) {
  Starts identity;
  for (uint32_t start = 0; start < 65535; ++start) identity.push_back(start);
  struct Row {
    const char* why;
    TableParameters parameters;
  };
  for (const Row& row : {
           Row{"negative slope", Noise(1, 0, -1, 1, 65535)},
           Row{"negative read noise", Noise(1, 0, 1, -1, 65535)},
           Row{"no number", Noise(1, 0, kNan, 1, 65535)},
           Row{"no number", Noise(1, 0, 1, kNan, 65535)},
           Row{"no number", Noise(1, kNan, 1, 1, 65535)},
           Row{"infinite", Noise(1, -kInf, 1, 1, 65535)},
           Row{"infinite", Noise(1, 0, kInf, 1, 65535)},
           Row{"infinite", Noise(1, 0, 1, kInf, 65535)},
           Row{"no noise at black", Noise(1, 0, 1, 0, 65535)},
           Row{"sensor full with one electron", Noise(1, 0, 65535, 1, 65535)},
           Row{"huge", Noise(1, 0, 3e38f, 1, 65535)},
           Row{"codes far finer than the noise", Noise(1, 0, 1, 1, 65535)},
       }) {
    std::vector<double> means;
    EXPECT_FALSE(ComputeConditionalMeans(row.parameters, identity, 65535, nullptr, &means)) << row.why;
  }
  std::vector<double> means;
  EXPECT_TRUE(ComputeConditionalMeans(Noise(1, 0, 0, 1e-45f, 65535), identity, 65535, nullptr, &means));
  EXPECT_NEAR(means[1000], 1000, 0.026) << "half a step of the grid";
  EXPECT_TRUE(ComputeConditionalMeans(Noise(1, kInf, 3e38f, 1, 100), {0, 70, 30, 99}, 100, nullptr, &means)) << "falling starts";
  EXPECT_EQ(means.size(), 4u);
}

TEST(MeanKernels, GiveIdenticalSums) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> unit(0, 1);
  const auto variants = mean_kernel_variants();
  for (size_t count = kMeanLanes; count <= 128; count += kMeanLanes) {
    std::vector<double> edges(count);
    for (double& edge : edges) edge = unit(random) * 12 - 6;
    edges.front() = -std::numeric_limits<double>::infinity();
    edges.back() = std::numeric_limits<double>::infinity();
    std::ranges::sort(edges);
    std::vector<std::vector<double>> sums;
    for (const MeanKernelVariant& variant : variants) {
      if (!variant.usable) continue;
      std::vector<double> cdf(count + 1), result(2 * count, 0.25);
      for (const double x : {0.5, -2.0, 5.99}) variant.add(edges.data(), count, {x, 0.7, 3}, cdf.data(), &result[0], &result[count]);
      sums.push_back(result);
      EXPECT_EQ(sums.back(), sums.front()) << variant.name;
    }
  }
}

/// A recording with table chunks, scanned.
class Tables {
 public:
  Tables() : writer_(QorixSinkTo(&file_)) { writer_.Begin({.header = {.sensorWidth = 8, .sensorHeight = 8}}); }
  QorixWriter& writer() { return writer_; }
  DecodingTablePtr Get(const TableParameters& parameters) {
    if (!source_) {
      writer_.Finish();
      source_.emplace(file_);
      EXPECT_EQ(recording_scan(&scan_, *source_, {}), 0);
    }
    return cache_.Get(&scan_, parameters, nullptr, message_);
  }
  std::string message() const { return message_.text(); }

 private:
  std::vector<uint8_t> file_;
  QorixWriter writer_;
  std::optional<MemorySource> source_;
  RecordingScan scan_;
  TableCache cache_;
  MessageBuffer<200> message_;
};

TableParameters Numbered(uint32_t number, TableParameters parameters) {
  parameters.tableNumber = number;
  return parameters;
}

TEST(TableCache, ScalesMeansToSixteenBits) {
  struct Row {
    uint16_t white, clip;
    int32_t shift;
    uint16_t last;  // of the table
  };
  for (const Row& row :
       {Row{1023, 0, 6, 65472}, Row{1024, 0, 5, 32768}, Row{1023, 1000, 6, 64000}, Row{32768, 0, 0, 32768}, Row{1, 0, 15, 32768}}) {
    const DecodingTablePtr table = Tables().Get(Noise(2, 0, 0.5f, 4, row.white, row.clip));
    ASSERT_NE(table, nullptr) << row.white;
    EXPECT_EQ(table->mode, 1);
    EXPECT_EQ(table->white, row.white);
    EXPECT_EQ(table->shift, row.shift);
    ASSERT_EQ(table->lut.size(), table->binStarts.size());
    EXPECT_EQ(table->lut.back(), row.last);
  }
}

TEST(TableCache, BitDepthTablesGiveTheBinsOnTheirOwnScale) {
  const DecodingTablePtr table = Tables().Get(BitDepth(2, false, 7));  // bins 0, 2, 4, 6, 7 times 3/7
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->mode, 2);
  EXPECT_EQ(table->bitDepth, 2);
  EXPECT_EQ(table->white, 7u);
  EXPECT_EQ(table->lut, std::vector<uint16_t>({0, 1, 2, 3, 3}));
  EXPECT_EQ(Tables().Get(BitDepth(8, false, 3))->lut, std::vector<uint16_t>({0, 1, 2, 3}));
}

TEST(TableCache, RecordedTableGoesBeforeParameters) {
  Tables tables;
  tables.writer().WriteTable(5, Starts{0, 10, 20, 40}, 63);
  tables.writer().WriteTable(6, Starts{}, 63);
  QorixChunk overlong = {.tag = QorixTag("QXRL"), .seq = 7};  // promises nine entries, has two
  overlong.head = QorixFields().U16(0).U16(9).Zeros(18).U16(15).bytes();
  overlong.body = QorixFields().U16(0).U16(8).bytes();
  tables.writer().WriteChunk(overlong);

  const TableParameters noise = Noise(1, 0, 1, 1, 8);
  const DecodingTablePtr recorded = tables.Get(Numbered(5, noise));
  ASSERT_NE(recorded, nullptr);
  EXPECT_EQ(recorded->binStarts, Starts({0, 10, 20, 40}));
  EXPECT_EQ(recorded->white, 63u);
  EXPECT_EQ(recorded->shift, 10);
  EXPECT_EQ(recorded->lut.back(), 63 << 10);
  EXPECT_EQ(tables.Get(Numbered(6, noise))->binStarts, Starts({0, 1, 3, 5, 7})) << "recorded, but empty";
  EXPECT_EQ(tables.Get(Numbered(7, noise))->binStarts, Starts({0, 8}));
  EXPECT_EQ(tables.Get(Numbered(8, noise))->binStarts, Starts({0, 1, 3, 5, 7})) << "not recorded";

  // Parameters that define no table do not matter to a recorded one; those that describe the noise do.
  EXPECT_NE(tables.Get(Numbered(5, Noise(0, 0, 1, 1, 8))), nullptr);
  EXPECT_EQ(tables.Get(Numbered(5, BitDepth(5, false, -9)))->lut, std::vector<uint16_t>({0, 5, 10, 20}));  // times 31/63
  EXPECT_EQ(tables.Get(Numbered(5, BitDepth(17, false, 8))), nullptr);
  EXPECT_EQ(tables.message(), "bit depth table: bits 17, white 63");
}

TEST(TableCache, SaysWhyThereIsNoTable) {
  struct Row {
    TableParameters parameters;
    const char* message;
  };
  Tables tables;
  for (const Row& row : {
           Row{Numbered(3, Noise(0, 0, 1, 1, 100)), "table #3: neither QXRL nor valid frame parameters"},
           Row{Numbered(0xFFFFFFFF, Noise(1, 0, 0, 1, 100)), "table #4294967295: neither QXRL nor valid frame parameters"},
           Row{Numbered(4, Noise(1, 0, 1.5f, -0.25f, 100)), "table #4: conditional mean not computed (S 1.5, O -0.25)"},
           Row{BitDepth(20, false, 100), "bit depth table: bits 20, white 100"},
       }) {
    EXPECT_EQ(tables.Get(row.parameters), nullptr);
    EXPECT_EQ(tables.message(), row.message);
  }
  EXPECT_NE(tables.Get(Noise(1, 0, 1, 1, 100)), nullptr);
  EXPECT_EQ(tables.message(), "") << "an old message is no longer true";
}

TEST(TableCache, KeepsTheEightUsedLast) {
  Tables tables;
  const auto table = [&](uint32_t number) { return tables.Get(Numbered(number, BitDepth(8, false, 300))); };
  std::vector<DecodingTablePtr> first;
  for (uint32_t number = 0; number < 8; ++number) first.push_back(table(number));
  EXPECT_EQ(table(0), first[0]);
  table(8);  // in place of 1
  EXPECT_EQ(table(0), first[0]);
  EXPECT_EQ(table(2), first[2]);
  EXPECT_NE(table(1), first[1]);
  TableParameters other = Numbered(0, BitDepth(8, false, 300));
  other.p90 = 1;
  EXPECT_NE(tables.Get(other), first[0]) << "all parameters belong to the key";
}

// A recorded table needs no step of the noise curve: whatever stands in its place, the means are computed once.
TEST(TableCache, FindsARecordedTableWhoseStepIsNoNumber) {
  Tables tables;
  tables.writer().WriteTable(5, Starts{0, 10, 20, 40}, 63);
  const DecodingTablePtr table = tables.Get(Numbered(5, Noise(kNan, 0, 1, 1, 8)));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(tables.Get(Numbered(5, Noise(kNan, 0, 1, 1, 8))), table);
}

}  // namespace
}  // namespace qx
