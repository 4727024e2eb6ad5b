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

}  // namespace qx
