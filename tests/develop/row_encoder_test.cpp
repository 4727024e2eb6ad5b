#include "develop/cpu/row_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

namespace qx {

namespace {

// ITU-R BT.709 with the knee, in double precision.
double Rec709Code(double x, double white) {
  const double k = 0.8;
  double v = x;
  if (x > k && white <= 1) v = std::min(x, 1.0);
  if (x > k && white > 1) {
    const double t = (x - k) / (white - k);
    v = t >= 1 ? 1 : k + (1 - k) * (1 - std::pow(1 - t, (white - k) / (1 - k)));
  }
  v = std::clamp(v, 0.0, 1.0);
  // The branch is decided on the single-precision value, as everywhere.
  return 65535 * (float(v) < 0.018f ? 4.5 * v : 1.099 * std::pow(v, 0.45) - 0.099);
}

std::vector<uint16_t> EncodeGrey(const EncodingState& state, const std::vector<float>& x) {
  RowEncoder encoder;
  EXPECT_TRUE(encoder.Update(state));
  std::vector<uint16_t> rgb(3 * x.size()), grey;
  encoder.Encode({x.data(), x.data(), x.data()}, rgb.data(), int(x.size()));
  for (size_t i = 0; i < rgb.size(); i += 3) grey.push_back(rgb[i]);
  return grey;
}

}  // namespace

// Every 97th float between 2^-12 and 2^5, for exposures from −2 to +4 stops and whites around 1, where the knee's exponent is smallest.
TEST(RowEncoder, Rec709StaysWithinOneCodeOfTheFormula) {
  std::vector<float> x = {0, 1e-30f, 0.0179999f, 0.018f, 0.8f, 1, 1e30f, -1};
  for (int32_t bits = std::bit_cast<int32_t>(0x1p-12f); bits < std::bit_cast<int32_t>(32.0f); bits += 997)
    x.push_back(std::bit_cast<float>(bits));
  for (float white : {0.25f, 1.0f, 1.0001f, 1.2f, 2.0f, 2.3f, 4.0f, 16.0f}) {
    SCOPED_TRACE(white);
    EncodingState state;
    state.white = white;
    const auto codes = EncodeGrey(state, x);
    int different = 0;
    double worst = 0;
    for (size_t i = 0; i < x.size(); ++i) {
      const double exact = Rec709Code(double(x[i]), double(white));
      worst = std::max(worst, std::abs(codes[i] - exact));
      different += codes[i] != uint16_t(std::floor(exact + 0.5));
    }
    EXPECT_LT(worst, 0.55);  // 0.5 is the rounding itself
    EXPECT_LT(double(different) / double(x.size()), 0.01);
  }
}

TEST(RowEncoder, Rec709FollowsTheExposure) {
  const std::vector<float> x = {0.5f, 1, 1.5f, 2, 4};
  RowEncoder encoder;
  for (float white : {4.0f, 2.0f, 4.0f}) {
    EncodingState state;
    state.white = white;
    ASSERT_TRUE(encoder.Update(state));
    std::vector<uint16_t> rgb(15);
    encoder.Encode({x.data(), x.data(), x.data()}, rgb.data(), 5);
    for (size_t i = 0; i < 5; ++i) EXPECT_NEAR(rgb[3 * i], Rec709Code(double(x[i]), double(white)), 1) << white << " " << i;
  }
}

TEST(RowEncoder, LogCurvesAreTheTables) {
  std::mt19937 random(1);
  for (OutputKind kind : {OutputKind::kDaVinciIntermediate, OutputKind::kSLog3}) {
    EncodingState state;
    ASSERT_TRUE(MakeEncoding(kind, nullptr, &state));
    state.gamut = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::vector<float> x = {0, 1e-40f, 0.01125f, 0.00262409f, 1, 100, 999999, 1000001, 1e30f};
    for (int i = 0; i < 20000; ++i) x.push_back(std::bit_cast<float>(uint32_t(random() % std::bit_cast<uint32_t>(64.0f))));
    const auto codes = EncodeGrey(state, x);
    for (size_t i = 0; i < x.size(); ++i) {
      ASSERT_EQ(codes[i], RoundTo16(CurveLookup(GetCurveTable(kind), kind, x[i]))) << x[i];
    }
  }
}

TEST(RowEncoder, LutTakesRec709Codes) {
  CubeLut lut;
  lut.size3D = 2;
  ASSERT_TRUE(lut.table3D.Reserve(24));
  for (int i = 0; i < 8; ++i) {
    for (int c = 0; c < 3; ++c) lut.table3D[size_t(3 * i + c)] = float(i >> c & 1);
  }
  std::vector<float> r, g, b;
  std::mt19937 random(2);
  for (int i = 0; i < 1000; ++i) {
    r.push_back(float(random() % 3000) / 1000);
    g.push_back(float(random() % 1000) / 1000);
    b.push_back(float(random() % 20) / 1000);
  }
  EncodingState plain, withLut;
  plain.white = withLut.white = 2.5f;
  withLut.lut = &lut;
  std::vector<uint16_t> expected(3000), actual(3000);
  RowEncoder encoder;
  ASSERT_TRUE(encoder.Update(plain));
  encoder.Encode({r.data(), g.data(), b.data()}, expected.data(), 1000);
  ASSERT_TRUE(encoder.Update(withLut));
  encoder.Encode({r.data(), g.data(), b.data()}, actual.data(), 1000);
  for (size_t i = 0; i < 3000; ++i) EXPECT_NEAR(actual[i], expected[i], 1) << i;  // an identity LUT
}

}  // namespace qx
