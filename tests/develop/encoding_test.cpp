#include "develop/encoding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>

namespace qx {
namespace {

struct CurvePoint {
  float linear;
  double code;
};

TEST(Curves, PublishedValues) {
  // ITU-R BT.709: 4.5 L below 0.018; 0.18^0.45 = 0.46223, 0.5^0.45 = 0.73204.
  for (const CurvePoint& p : {CurvePoint{0, 0}, CurvePoint{0.01f, 0.045}, CurvePoint{0.18f, 0.40899}, CurvePoint{0.5f, 0.70551},
                              CurvePoint{1, 1}, CurvePoint{2, 1}, CurvePoint{-1, 0}}) {
    EXPECT_NEAR(Oetf709(p.linear), p.code, 2e-5) << p.linear;
  }
  // S-Log3 technical summary: 10-bit codes 95, 420 and 598 for 0 %, 18 % and 90 % reflection.
  for (const CurvePoint& p : {CurvePoint{0, 95}, CurvePoint{0.18f, 420}, CurvePoint{0.9f, 598}}) {
    EXPECT_NEAR(EncodeSLog3(p.linear) * 1023, p.code, p.code == 598 ? 0.5 : 1e-3) << p.linear;
  }
  // DaVinci Intermediate white paper.
  for (const CurvePoint& p : {CurvePoint{-0.01f, -0.104443}, CurvePoint{0, 0}, CurvePoint{0.18f, 0.336043}, CurvePoint{1, 0.513837},
                              CurvePoint{10, 0.756599}, CurvePoint{40, 0.903125}, CurvePoint{100, 0.999999}}) {
    EXPECT_NEAR(EncodeDaVinciIntermediate(p.linear), p.code, 2e-6) << p.linear;
  }
}

TEST(Curves, PartsMeet) {
  EXPECT_NEAR(EncodeDaVinciIntermediate(0.00262409f), 0.0274067, 1e-6);
  EXPECT_NEAR(EncodeDaVinciIntermediate(std::nextafter(0.00262409f, 1.0f)), 0.0274067, 1e-6);
  EXPECT_NEAR(EncodeSLog3(std::nextafter(0.01125f, 0.0f)) * 1023, 171.2103, 1e-3);
  EXPECT_NEAR(EncodeSLog3(0.01125f) * 1023, 171.2103, 1e-3);
  EXPECT_NEAR(Oetf709(0.018f), Oetf709(std::nextafter(0.018f, 0.0f)), 3e-4) << "BT.709 itself leaves a small step";
}

TEST(Knee, LeavesStraightPartSmoothlyAndReachesOneAtWhite) {
  EXPECT_EQ(Encode709(0.8f, 4), Oetf709(0.8f));
  EXPECT_EQ(Encode709(4, 4), 1);
  EXPECT_LT(Encode709(2, 4), 1);
  EXPECT_EQ(Knee(5, 0.8f, 4), 1);
  // Half way to white, w = 2: t = 0.5, exponent 6: 0.8 + 0.2 · (1 − 1/64).
  EXPECT_NEAR(Knee(1.4f, 0.8f, 2), 0.8 + 0.2 * (1 - 1 / 64.0), 1e-6);
  EXPECT_NEAR((Knee(0.81f, 0.8f, 4) - 0.8) / 0.01, 1, 0.03) << "slope 1 behind the knee";
  for (const float white : {1.0f, 0.5f, 0.0f}) {
    EXPECT_EQ(Knee(0.9f, 0.8f, white), 0.9f);
    EXPECT_EQ(Knee(1.1f, 0.8f, white), 1);
  }
}

TEST(Gamut, MatricesFollowFromThePrimaries) {
  struct Row {
    OutputKind kind;
    std::array<double, 9> expected;
  };
  // The last one is ITU-R BT.2087's matrix with more digits.
  for (const Row& row :
       {Row{OutputKind::kDaVinciIntermediate, {0.562767, 0.323517, 0.113716, 0.077755, 0.749577, 0.172668, 0.064669, 0.191999, 0.743332}},
        Row{OutputKind::kSLog3, {0.645679, 0.259115, 0.095206, 0.087530, 0.759700, 0.152770, 0.036957, 0.129281, 0.833762}},
        Row{OutputKind::kLinear, {0.627404, 0.329283, 0.043313, 0.069097, 0.919540, 0.011362, 0.016391, 0.088013, 0.895595}},
        Row{OutputKind::kRec709, {1, 0, 0, 0, 1, 0, 0, 0, 1}}, Row{OutputKind::kLut, {1, 0, 0, 0, 1, 0, 0, 0, 1}}}) {
    const auto matrix = GamutMatrix(row.kind);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(matrix[i], row.expected[i], 1e-6) << int(row.kind) << " element " << i;
  }
}

CubeLut MakeLut(uint32_t size1D, uint32_t size3D) {
  CubeLut lut;
  lut.size1D = size1D;
  lut.size3D = size3D;
  EXPECT_TRUE(lut.table1D.Reserve(uint64_t(size1D) * 3) && lut.table3D.Reserve(uint64_t(size3D) * size3D * size3D * 3));
  return lut;
}

CubeLut RandomLut3D(uint32_t size, unsigned seed) {
  CubeLut lut = MakeLut(0, size);
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> level(0, 1);
  for (size_t i = 0; i < size_t(size) * size * size * 3; ++i) lut.table3D[i] = level(random);
  return lut;
}

// The defining form of the interpolation: of the six tetrahedra along the cell's diagonal, take one that contains the point, and weigh its
// corners with the point's barycentric coordinates.
std::array<double, 3> Barycentric(const CubeLut& lut, const float rgb[3]) {
  const int n = int(lut.size3D);
  int cell[3];
  double fraction[3];
  for (int c = 0; c < 3; ++c) {
    const double position = std::clamp(double(rgb[c] - lut.domainMin3D[c]) / (lut.domainMax3D[c] - lut.domainMin3D[c]), 0.0, 1.0) * (n - 1);
    cell[c] = std::min(int(position), n - 2);
    fraction[c] = position - cell[c];
  }
  int axes[3] = {0, 1, 2};
  do {
    // Walking from corner 000 along these axes, the coordinates are 1 − f0, f0 − f1, f1 − f2, f2.
    const double f[3] = {fraction[axes[0]], fraction[axes[1]], fraction[axes[2]]};
    const double weights[4] = {1 - f[0], f[0] - f[1], f[1] - f[2], f[2]};
    if (*std::min_element(weights, weights + 4) < 0) continue;
    std::array<double, 3> sum = {};
    int corner[3] = {cell[0], cell[1], cell[2]};
    for (int step = 0; step < 4; ++step) {
      const size_t node = (size_t(corner[2]) * n + corner[1]) * n + corner[0];
      for (int c = 0; c < 3; ++c) sum[c] += weights[step] * lut.table3D[node * 3 + c];
      if (step < 3) ++corner[axes[step]];
    }
    return sum;
  } while (std::next_permutation(axes, axes + 3));
  ADD_FAILURE() << "no tetrahedron contains the point";
  return {};
}

TEST(Lut, TetrahedralMatchesBarycentricCoordinates) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> input(-0.2f, 1.4f);
  for (const uint32_t size : {2u, 3u, 17u}) {
    CubeLut lut = RandomLut3D(size, size);
    lut.domainMin3D = {0, -0.1f, 0.1f};
    lut.domainMax3D = {1, 1.2f, 1.1f};
    for (int i = 0; i < 3000; ++i) {
      float rgb[3] = {input(random), input(random), input(random)};
      if (i % 5 == 0) rgb[2] = rgb[1] = rgb[0];
      const auto expected = Barycentric(lut, rgb);
      const auto in = std::to_array(rgb);
      ApplyLut(lut, rgb);
      for (int c = 0; c < 3; ++c) ASSERT_NEAR(rgb[c], expected[c], 2e-5) << in[0] << " " << in[1] << " " << in[2];
    }
  }
}

TEST(Lut, OneDimensionalTableComesFirstAndKeepsItsDomain) {
  CubeLut lut = MakeLut(3, 0);
  const float rows[9] = {0, 0.1f, 0, 0.5f, 0.2f, 0.25f, 1, 0.9f, 4};
  std::copy(rows, rows + 9, lut.table1D.data());
  lut.domainMin1D = {0, -1, 0};
  lut.domainMax1D = {1, 1, 2};
  struct Row {
    std::array<float, 3> in, out;
    const char* why;
  };
  for (const Row& row : {Row{{0.25f, 0, 0.5f}, {0.25f, 0.2f, 0.125f}, "between and at entries"},
                         Row{{1, 1, 2}, {1, 0.9f, 1}, "the maximum is the last entry; the result is limited to 1"},
                         Row{{9, -9, std::nanf("")}, {1, 0.1f, 0}, "outside the domain; not a number"}}) {
    float rgb[3] = {row.in[0], row.in[1], row.in[2]};
    ApplyLut(lut, rgb);
    for (int c = 0; c < 3; ++c) EXPECT_FLOAT_EQ(rgb[c], row.out[c]) << row.why;
  }

  // A shaper that inverts, before a cube that keeps red alone.
  CubeLut both = MakeLut(2, 2);
  const float invert[6] = {1, 1, 1, 0, 0, 0};
  std::copy(invert, invert + 6, both.table1D.data());
  for (size_t i = 0; i < 8; ++i) {
    for (size_t c = 0; c < 3; ++c) both.table3D[i * 3 + c] = float(i & 1);
  }
  float rgb[3] = {0.25f, 0.5f, 1};
  ApplyLut(both, rgb);
  for (const float value : rgb) EXPECT_FLOAT_EQ(value, 0.75f);
}

TEST(Encoding, ProfileFollowsKindAndLut) {
  const CubeLut lut = RandomLut3D(2, 1);
  EncodingState state;
  for (const OutputKind kind : {OutputKind::kDaVinciIntermediate, OutputKind::kSLog3, OutputKind::kLinear}) {
    ASSERT_TRUE(MakeEncoding(kind, nullptr, &state));
    EXPECT_EQ(state.profile, 3);
    EXPECT_EQ(state.kind, kind);
    ASSERT_TRUE(MakeEncoding(kind, &lut, &state));
    EXPECT_EQ(state.profile, 0) << "the LUT takes Rec.709 values";
    EXPECT_EQ(state.lut, &lut);
  }
  ASSERT_TRUE(MakeEncoding(OutputKind::kRec709, nullptr, &state));
  EXPECT_EQ(state.profile, 0);
  EXPECT_FALSE(MakeEncoding(OutputKind::kLut, nullptr, &state));
  EXPECT_FALSE(MakeEncoding(OutputKind(7), nullptr, &state));
}

TEST(Encoding, PixelsOfEachKind) {
  const CubeLut lut = RandomLut3D(3, 9);
  EncodingState state;

  ASSERT_TRUE(MakeEncoding(OutputKind::kRec709, &lut, &state));
  state.white = 4;
  float through[3] = {0.1f, 0.5f, 2};
  float encoded[3] = {Encode709(0.1f, 4), Encode709(0.5f, 4), Encode709(2, 4)};
  const auto expected = Barycentric(lut, encoded);
  EncodePixel(state, through);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(through[c], expected[c], 2e-5) << "LUT of Rec.709 values";

  // Greys stay grey in every gamut, so they show the curve alone.
  ASSERT_TRUE(MakeEncoding(OutputKind::kSLog3, nullptr, &state));
  float grey[3] = {0.18f, 0.18f, 0.18f};
  EncodePixel(state, grey);
  for (const float value : grey) EXPECT_NEAR(value, 420 / 1023.0, 1e-6);
  float bright[3] = {1000, 1000, 1000};
  EncodePixel(state, bright);
  for (const float value : bright) EXPECT_EQ(value, 1) << "limited";
  float dark[3] = {-5, std::nanf(""), -0.0f};
  EncodePixel(state, dark);
  for (const float value : dark) EXPECT_NEAR(value, 95 / 1023.0, 1e-6) << "below black counts as black";

  ASSERT_TRUE(MakeEncoding(OutputKind::kLinear, nullptr, &state));
  float red[3] = {3, 0, -1};
  EncodePixel(state, red);
  EXPECT_NEAR(red[0], 3 * 0.627404, 1e-5) << "values above 1 stay";
  EXPECT_NEAR(red[1], 3 * 0.069097, 1e-5);
  EXPECT_NEAR(red[2], 3 * 0.016391, 1e-5);
}

// 128 buckets an octave: a chord departs from the curve by at most h² f'' / 8 < 0.06 codes of 65535, except in the one bucket that holds
// S-Log3's corner at 0.01125, where the slope drops from 6.6 to 5.2 (1.4 codes), and DaVinci Intermediate's, which is smoother.
TEST(CurveTable, StaysCloseToTheFormula) {
  struct Row {
    OutputKind kind;
    float (*curve)(float);
    double corner, cornerTolerance;
  };
  std::mt19937 random(3);
  std::uniform_real_distribution<float> octave(-40, 6.7f);  // up to 104: white is 38 and 100
  for (const Row& row : {Row{OutputKind::kSLog3, EncodeSLog3, 0.01125, 1.5},
                         Row{OutputKind::kDaVinciIntermediate, EncodeDaVinciIntermediate, 0.00262409, 0.1}}) {
    const CurveBucket* table = GetCurveTable(row.kind);
    ASSERT_NE(table, nullptr);
    for (int i = 0; i < 200000; ++i) {
      const float x = i % 2 == 0 ? std::exp2(octave(random)) : float(row.corner * (1 + 1e-6 * (i % 20000 - 10000)));
      const double tolerance = std::fabs(x / row.corner - 1) < 1 / 64.0 ? row.cornerTolerance : 0.07;
      ASSERT_NEAR(CurveLookup(table, row.kind, x), row.curve(x) * 65535, tolerance) << x;
    }
  }
  EXPECT_EQ(GetCurveTable(OutputKind::kRec709), nullptr);
  EXPECT_EQ(GetCurveTable(OutputKind::kLinear), nullptr);
}

TEST(CurveTable, EdgesOfTheFloatRange) {
  const CurveBucket* table = GetCurveTable(OutputKind::kSLog3);
  const float black = 95 / 1023.0f * 65535;
  struct Row {
    float x, expected;
    const char* why;
  };
  for (const Row& row : {Row{0, black, "zero"}, Row{-0.0f, black, "minus zero"}, Row{1e-42f, black, "subnormal"},
                         Row{1.5e6f, 65535, "above the table"}, Row{std::numeric_limits<float>::infinity(), 65535, "infinite"},
                         Row{-1, float((-76.2102946929 / 0.01125 + 95) / 1023 * 65535), "negative: the formula"}}) {
    EXPECT_FLOAT_EQ(CurveLookup(table, OutputKind::kSLog3, row.x), row.expected) << row.why;
  }
  for (const uint32_t bits : {0x49740000u, 0x7F800000u, 0x7FC00000u}) {  // the buckets of 1000000, infinity and a quiet NaN
    EXPECT_EQ(table[bits >> 16].base, 65535);
    EXPECT_EQ(table[bits >> 16].slope, 0);
  }
}

TEST(RoundTo16, HalvesGoUpAndTheRestIsLimited) {
  struct Row {
    float in;
    int expected;
  };
  for (const Row& row : {Row{-3, 0}, Row{0.49f, 0}, Row{0.5f, 1}, Row{32767.5f, 32768}, Row{65534.49f, 65534}, Row{65534.5f, 65535},
                         Row{1e9f, 65535}, Row{std::numeric_limits<float>::infinity(), 65535}, Row{std::nanf(""), 0}}) {
    EXPECT_EQ(RoundTo16(row.in), row.expected) << row.in;
  }
}

}  // namespace
}  // namespace qx
