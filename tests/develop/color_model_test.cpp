#include "develop/color_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qx {
namespace {

using Rgb = std::array<double, 3>;
constexpr std::array<double, 2> kWhiteA = {0.44757, 0.40745}, kWhiteD50 = {0.34567, 0.35850}, kWhiteD65 = {0.31271, 0.32902};

// IEC 61966-2-1: XYZ under D65 to linear Rec.709.
constexpr Matrix3 kXyzToRec709 = {{{3.2406, -1.5372, -0.4986}, {-0.9689, 1.8758, 0.0415}, {0.0557, -0.2040, 1.0570}}};
// Linear Rec.709 to XYZ under D50, Bradford-adapted (the published ICC sRGB primaries).
constexpr Matrix3 kRec709ToXyzD50 = {
    {{0.4360747, 0.3850649, 0.1430804}, {0.2225045, 0.7168786, 0.0606169}, {0.0139322, 0.0971045, 0.7141733}}};
// A phone sensor, after its DNG tags (illuminants A and D65).
constexpr Matrix3 kPhoneA = {{{1.0078, -0.3930, -0.0764}, {-0.3713, 1.2203, 0.1667}, {-0.0462, 0.1671, 0.4927}}};
constexpr Matrix3 kPhoneD65 = {{{0.8512, -0.3034, -0.0787}, {-0.4123, 1.2441, 0.1830}, {-0.0651, 0.1802, 0.5310}}};

Rgb Apply(const Matrix3& m, const Rgb& v) {
  Rgb result = {};
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) result[row] += m.m[row][col] * v[col];
  }
  return result;
}

Rgb XyzOf(const std::array<double, 2>& white) {
  return {white[0] / white[1], 1, (1 - white[0] - white[1]) / white[1]};
}

// What development makes of a camera colour: white-balance it, then the matrix.
Rgb Develop(const ColorState& state, const Rgb& camera) {
  Rgb result = {};
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) result[row] += double(state.cameraToRec709[row * 3 + col]) * state.whiteBalance[col] * camera[col];
  }
  return result;
}

void ExpectRgb(const Rgb& actual, const Rgb& expected, double tolerance) {
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(actual[c], expected[c], tolerance) << "component " << c;
}

DngInfo PhoneCamera() {
  DngInfo camera;
  camera.hasColorMatrix1 = camera.hasColorMatrix2 = true;
  camera.colorMatrix1 = kPhoneA;
  camera.colorMatrix2 = kPhoneD65;
  camera.calibrationIlluminant1 = 17;
  camera.calibrationIlluminant2 = 21;
  camera.hasAsShotNeutral = true;
  camera.asShotNeutral = {0.48, 1, 0.62};
  return camera;
}

DevelopParams WithWhite(std::array<double, 2> white) {
  DevelopParams params;
  params.whiteBalanceOn = 1;
  params.whitePoint = white;
  return params;
}

// A camera that sees exactly linear Rec.709 needs no matrix, whatever adaptation lies between.
TEST(ColorModel, Rec709CameraGetsIdentity) {
  DngInfo camera;
  camera.hasColorMatrix1 = true;
  camera.colorMatrix1 = kXyzToRec709;
  const ColorState state = ComputeColorState(camera, {});
  for (const Rgb& color : {Rgb{1, 1, 1}, Rgb{1, 0, 0}, Rgb{0, 1, 0}, Rgb{0, 0, 1}}) ExpectRgb(Develop(state, color), color, 1e-3);
  // 1024 · S / W with the sRGB matrix S and the D65 white W: 0.4124564 / 0.95047 · 1024 = 444.4 and so on.
  EXPECT_EQ(state.labMatrix, (std::array<int32_t, 9>{444, 385, 194, 218, 732, 74, 18, 112, 894}));
}

TEST(ColorModel, NeutralBecomesGrey) {
  DngInfo colorMatrices = PhoneCamera();
  DngInfo forward = colorMatrices;
  forward.hasForwardMatrix1 = true;
  forward.forwardMatrix1 = kRec709ToXyzD50;
  DngInfo calibrated = forward;
  calibrated.hasAnalogBalance = calibrated.hasCameraCalibration1 = true;
  calibrated.analogBalance = {1.1, 1, 0.9};
  calibrated.cameraCalibration1 = {{{0.98, 0.02, 0}, {0.01, 1.01, 0}, {0, 0.03, 0.97}}};
  for (const DngInfo& camera : {colorMatrices, forward, calibrated}) {
    for (const Rgb& neutral : {Rgb{0.48, 1, 0.62}, Rgb{1, 0.7, 0.3}, Rgb{0.6, 1, 0.9}}) {
      DngInfo shot = camera;
      shot.asShotNeutral = neutral;
      const Rgb grey = Develop(ComputeColorState(shot, {}), neutral);
      ExpectRgb(grey, {grey[1], grey[1], grey[1]}, 2e-4 * grey[1]);
      EXPECT_GT(grey[1], 0);
    }
  }
}

TEST(ColorModel, MultipliersBringLargestChannelToOne) {
  struct Row {
    bool present;
    Rgb neutral, multipliers;
    const char* why;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Row& row :
       {Row{true, {0.5, 1, 0.25}, {2, 1, 4}, "usual"}, Row{true, {1, 2, 4}, {4, 2, 1}, "not normalised"},
        Row{false, {0.5, 1, 0.25}, {1, 1, 1}, "absent"}, Row{true, {0.5, 0, 0.25}, {1, 1, 1}, "a zero"},
        Row{true, {0.5, 1, nan}, {1, 1, 1}, "not a number"}, Row{true, {1e-300, 1, 1}, {65536, 1, 1}, "limited: a sample of 1 is white"}}) {
    DngInfo camera;
    camera.hasAsShotNeutral = row.present;
    camera.asShotNeutral = row.neutral;
    SCOPED_TRACE(row.why);
    const ColorState state = ComputeColorState(camera, {});
    for (int c = 0; c < 3; ++c) EXPECT_FLOAT_EQ(state.whiteBalance[c], float(row.multipliers[c]));
  }
}

// Two matrices that differ in the red row alone show the interpolation weight in the ratio of red to green.
TEST(ColorModel, MatrixWeightIsLinearInReciprocalTemperature) {
  struct Row {
    uint32_t illuminant1, illuminant2;
    bool second;
    std::array<double, 2> white;
    double weight;
    const char* why;
  };
  for (const Row& row :
       {Row{17, 21, true, kWhiteA, 1, "first illuminant"}, Row{17, 21, true, kWhiteD65, 0, "second illuminant"},
        Row{17, 21, true, kWhiteD50, (1 / 5003.0 - 1 / 6504.0) / (1 / 2856.0 - 1 / 6504.0), "between"},
        Row{21, 17, true, kWhiteD50, 1 - (1 / 5003.0 - 1 / 6504.0) / (1 / 2856.0 - 1 / 6504.0), "order of the illuminants swapped"},
        Row{3, 11, true, kWhiteD50, (1 / 5003.0 - 1 / 7500.0) / (1 / 2850.0 - 1 / 7500.0), "tungsten and shade"},
        Row{23, 21, true, kWhiteA, 1, "redder than both"}, Row{17, 23, true, kWhiteD65, 0, "bluer than both"},
        Row{17, 21, false, kWhiteD65, 1, "no second matrix"}, Row{17, 255, true, kWhiteD65, 1, "unknown illuminant"},
        Row{21, 21, true, kWhiteA, 1, "equal illuminants"}}) {
    DngInfo camera;
    camera.hasColorMatrix1 = true;
    camera.hasColorMatrix2 = row.second;
    camera.colorMatrix1 = {{{2, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    camera.colorMatrix2 = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    camera.calibrationIlluminant1 = row.illuminant1;
    camera.calibrationIlluminant2 = row.illuminant2;
    const ColorState state = ComputeColorState(camera, WithWhite(row.white));
    const double redPerGreen = double(state.whiteBalance[1]) / state.whiteBalance[0];
    // The temperature formula itself is good to a few kelvin.
    EXPECT_NEAR(redPerGreen / (row.white[0] / row.white[1]) - 1, row.weight, 2e-3) << row.why;
  }
}

// The as-shot white is the fixed point of the interpolation: a neutral made from a white must lead back to it.
TEST(ColorModel, AsShotWhiteIsFoundFromNeutral) {
  for (const auto& white : {kWhiteA, kWhiteD50, kWhiteD65, std::array<double, 2>{0.38, 0.36}}) {
    const DngInfo camera = PhoneCamera();
    const ColorState wanted = ComputeColorState(camera, WithWhite(white));
    DngInfo shot = camera;
    for (int c = 0; c < 3; ++c) shot.asShotNeutral[c] = 1 / double(wanted.whiteBalance[c]);
    const ColorState found = ComputeColorState(shot, {});
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(found.cameraToRec709[i], wanted.cameraToRec709[i], 2e-5) << white[0] << " element " << i;
  }
}

TEST(ColorModel, UserWhiteIsWhatTheCameraSeesOfIt) {
  DngInfo camera = PhoneCamera();
  camera.hasColorMatrix2 = false;
  const Rgb seen = Apply(kPhoneA, XyzOf(kWhiteD50));
  const ColorState state = ComputeColorState(camera, WithWhite(kWhiteD50));
  const double largest = std::max({seen[0], seen[1], seen[2]});
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(state.whiteBalance[c], largest / seen[c], 1e-6);

  const ColorState asShot = ComputeColorState(camera, {});
  for (const auto& bad : {std::array<double, 2>{0.3, 0}, std::array<double, 2>{0.3, -0.2}, std::array<double, 2>{0.0, 1.0},
                          std::array<double, 2>{std::nan(""), std::nan("")}}) {
    EXPECT_EQ(ComputeColorState(camera, WithWhite(bad)), asShot) << bad[0] << ", " << bad[1] << ": not a light that this camera can see";
  }
}

// The forward matrix speaks of the white-balanced reference camera: a colour given there must come out as the matrix says.
TEST(ColorModel, ForwardMatrixPathFollowsCalibration) {
  DngInfo camera = PhoneCamera();
  camera.hasForwardMatrix1 = camera.hasAnalogBalance = camera.hasCameraCalibration1 = true;
  camera.forwardMatrix1 = kRec709ToXyzD50;
  camera.analogBalance = {1.2, 1, 0.8};
  camera.cameraCalibration1 = {{{0.95, 0.05, 0}, {0, 1, 0}, {0.02, 0, 1.03}}};
  const auto toCamera = [&](const Rgb& reference) {
    Rgb seen = Apply(camera.cameraCalibration1, reference);
    for (int c = 0; c < 3; ++c) seen[c] *= camera.analogBalance[c];
    return seen;
  };
  const Rgb referenceNeutral = {0.5, 0.9, 0.7};
  const Rgb neutral = toCamera(referenceNeutral);
  camera.asShotNeutral = neutral;
  const double largest = std::max({neutral[0], neutral[1], neutral[2]});
  // kRec709ToXyzD50 undoes the last matrix, so balanced reference colours are Rec.709 colours.
  for (const Rgb& balanced : {Rgb{1, 1, 1}, Rgb{0.8, 0.1, 0.2}, Rgb{0.1, 0.5, 0.9}}) {
    const Rgb reference = {balanced[0] * referenceNeutral[0], balanced[1] * referenceNeutral[1], balanced[2] * referenceNeutral[2]};
    const Rgb seen = toCamera(reference);
    // The neutral's largest component counts as 1.
    const Rgb developed = Develop(ComputeColorState(camera, {}), {seen[0] / largest, seen[1] / largest, seen[2] / largest});
    ExpectRgb(developed, balanced, 1e-4);
  }
}

TEST(ColorModel, WithoutUsableMatrixCameraCountsAsXyz) {
  DngInfo absent = PhoneCamera();
  absent.hasColorMatrix1 = false;
  DngInfo identity = PhoneCamera();
  identity.colorMatrix1 = {{{1, 5e-7, 0}, {0, 1, 0}, {0, 0, 1 - 5e-7}}};
  for (const DngInfo& camera : {absent, identity}) {
    const ColorState state = ComputeColorState(camera, WithWhite(kWhiteA));
    EXPECT_NEAR(state.whiteBalance[0], 1 / 0.48, 1e-6) << "the user's white needs a matrix";
    ExpectRgb(Develop(state, {0.9642, 1, 0.8252}), {1, 1, 1}, 2e-4);
  }
}

TEST(ColorModel, GainAddsOneStopAndBaseline) {
  DngInfo camera;
  DevelopParams params;
  EXPECT_FLOAT_EQ(ComputeColorState(camera, params).gain, 2);
  params.exposureEv = 1.5f;
  camera.baselineExposure = -0.5;
  EXPECT_FLOAT_EQ(ComputeColorState(camera, params).gain, 4);
  camera.baselineExposure = std::nan("");
  EXPECT_FLOAT_EQ(ComputeColorState(camera, params).gain, 2);
}

TEST(ColorModel, DamagedTagsGiveFiniteState) {
  const double inf = std::numeric_limits<double>::infinity();
  const auto filled = [](double value) {
    Matrix3 m;
    for (auto& row : m.m) std::fill(std::begin(row), std::end(row), value);
    return m;
  };
  for (const double value : {0.0, 1.0, -1.0, 1e300, 1e-300, inf, std::nan("")}) {
    for (int tag = 0; tag < 5; ++tag) {
      DngInfo camera = PhoneCamera();
      camera.hasForwardMatrix1 = tag == 2;
      camera.hasCameraCalibration1 = tag == 3;
      camera.hasAnalogBalance = tag == 4;
      if (tag == 0) camera.colorMatrix1 = camera.colorMatrix2 = filled(value);
      if (tag == 1) camera.asShotNeutral = {value, 1e-9, 1};
      camera.forwardMatrix1 = filled(value);
      camera.cameraCalibration1 = filled(value);
      camera.analogBalance = {value, 1, 1};
      const ColorState state = ComputeColorState(camera, {});
      SCOPED_TRACE(testing::Message() << "value " << value << " in tag " << tag);
      for (const float m : state.whiteBalance) EXPECT_TRUE(m >= 1 && m <= 65536);
      for (const float m : state.cameraToRec709) EXPECT_TRUE(std::isfinite(m));
      for (const int32_t m : state.labMatrix) EXPECT_TRUE(m >= -8191 && m <= 8191);
    }
  }
}

}  // namespace
}  // namespace qx
