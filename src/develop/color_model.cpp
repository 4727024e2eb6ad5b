#include "develop/color_model.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "develop/matrix_math.h"

namespace qx {

namespace {

using Chromaticity = std::array<double, 2>;  // CIE 1931 x, y

constexpr Chromaticity kD50 = {0.34567, 0.3585};
constexpr Vector3 kD50Xyz = {0.9642119944211994, 1, 0.8251882845188288};
constexpr Matrix3 kBradford = {{{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
constexpr Matrix3 kBradfordInverse = {
    {{0.9869929, -0.1470543, 0.1599627}, {0.4323053, 0.5183603, 0.0492912}, {-0.0085287, 0.0400428, 0.9684867}}};
// kBradford · kD50Xyz.
constexpr Vector3 kD50Cone = {0.9962807670850767, 1.0204325718270573, 0.8186217043235708};
// XYZ under D50 to linear Rec.709 under D65, Bradford adaptation included.
constexpr Matrix3 kXyzD50ToRec709 = {
    {{3.1338561, -1.6168667, -0.4906146}, {-0.9787684, 1.9161415, 0.0334540}, {0.0719453, -0.2289914, 1.4052427}}};
// Linear Rec.709 to XYZ under D65, and that white, for the Lab values of AHD.
constexpr Matrix3 kRec709ToXyz = {
    {{0.4124564, 0.3575761, 0.1804375}, {0.2126729, 0.7151522, 0.0721750}, {0.0193339, 0.1191920, 0.9503041}}};
constexpr Vector3 kLabWhite = {0.95047, 1.0, 1.08883};

constexpr double kIdentityTolerance = 1e-6;
// Bounds that no real camera reaches: they keep damaged tags from turning into infinities in the pixel arithmetic.
constexpr double kLargestMultiplier = 65536;
constexpr double kLargestElement = 1e9;
constexpr double kLargestExponent = 60;

struct Illuminant {
  uint32_t lightSource;  // EXIF code
  double kelvin;
};
// DNG 1.7, CalibrationIlluminant1.
constexpr Illuminant kIlluminants[] = {
    {1, 5500},   // daylight
    {2, 3500},   // fluorescent
    {3, 2850},   // tungsten
    {4, 5500},   // flash
    {9, 5500},   // fine weather
    {10, 6500},  // cloudy
    {11, 7500},  // shade
    {12, 6430},  // daylight fluorescent
    {13, 5000},  // day white fluorescent
    {14, 4150},  // cool white fluorescent
    {15, 3450},  // white fluorescent
    {17, 2856},  // standard light A
    {18, 4874},  // standard light B
    {19, 6774},  // standard light C
    {20, 5503},  // D55
    {21, 6504},  // D65
    {22, 7504},  // D75
    {23, 5003},  // D50
    {24, 3200},  // ISO studio tungsten
};

// Kelvin; 0 for unknown codes.
double IlluminantTemperature(uint32_t lightSource) {
  for (const Illuminant& illuminant : kIlluminants) {
    if (illuminant.lightSource == lightSource) return illuminant.kelvin;
  }
  return 0;
}

// Correlated colour temperature (McCamy, 1992).
double TemperatureOf(Chromaticity white) {
  const double n = (white[0] - 0.332) / (0.1858 - white[1]);
  return 449 * n * n * n + 3525 * n * n + 6823.3 * n + 5520.33;
}

bool IsIdentity(const Matrix3& a) {
  const Matrix3 identity;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) {
      if (!(std::fabs(a.m[row][col] - identity.m[row][col]) <= kIdentityTolerance)) return false;
    }
  }
  return true;
}

bool IsModerate(const Matrix3& a) {
  for (const auto& row : a.m) {
    for (double element : row) {
      if (!(std::fabs(element) <= kLargestElement)) return false;
    }
  }
  return true;
}

bool AllPositive(const Vector3& v) {
  return std::all_of(v.begin(), v.end(), [](double component) { return component > 0 && std::isfinite(component); });
}

Vector3 DividedByLargest(const Vector3& v) {
  const double largest = std::max({v[0], v[1], v[2]});
  return {v[0] / largest, v[1] / largest, v[2] / largest};
}

Vector3 ToXyz(Chromaticity white) {
  return {white[0] / white[1], 1, (1 - white[0] - white[1]) / white[1]};
}

// The camera's matrices at the white points of interest. Refers to `camera`, which must outlive it.
class CameraMatrices {
 public:
  explicit CameraMatrices(const DngInfo& camera)
      : camera_(camera),
        temperature1_(IlluminantTemperature(camera.calibrationIlluminant1)),
        temperature2_(IlluminantTemperature(camera.calibrationIlluminant2)) {
    if (camera.hasAnalogBalance) analogBalance_ = Diagonal(camera.analogBalance);
  }

  bool usable() const { return camera_.hasColorMatrix1 && !IsIdentity(camera_.colorMatrix1); }
  bool hasForward() const { return camera_.hasForwardMatrix1 && !IsIdentity(camera_.forwardMatrix1); }

  // Share of the first illuminant's matrices at `white`, linear in the reciprocal temperature.
  double FirstWeight(Chromaticity white) const {
    if (!camera_.hasColorMatrix2 || temperature1_ == 0 || temperature2_ == 0 || temperature1_ == temperature2_) return 1;
    const double weight = (1 / TemperatureOf(white) - 1 / temperature2_) / (1 / temperature1_ - 1 / temperature2_);
    return std::isnan(weight) ? 1 : std::clamp(weight, 0.0, 1.0);
  }

  Matrix3 Calibration(double weight) const {
    if (!camera_.hasCameraCalibration1) return {};
    const Matrix3& second = camera_.hasCameraCalibration2 ? camera_.cameraCalibration2 : camera_.cameraCalibration1;
    return Mix(camera_.cameraCalibration1, second, weight);
  }

  // From the reference camera of the forward matrices to this one: AnalogBalance · CameraCalibration.
  Matrix3 ReferenceToCamera(double weight) const { return analogBalance_ * Calibration(weight); }

  Matrix3 XyzToCamera(Chromaticity white) const {
    const double weight = FirstWeight(white);
    const Matrix3& second = camera_.hasColorMatrix2 ? camera_.colorMatrix2 : camera_.colorMatrix1;
    return ReferenceToCamera(weight) * Mix(camera_.colorMatrix1, second, weight);
  }

  Matrix3 Forward(double weight) const {
    const Matrix3& second = camera_.hasForwardMatrix2 ? camera_.forwardMatrix2 : camera_.forwardMatrix1;
    return Mix(camera_.forwardMatrix1, second, weight);
  }

 private:
  const DngInfo& camera_;
  double temperature1_, temperature2_;
  Matrix3 analogBalance_;
};

// What the camera sees as grey (largest component 1), and under which light.
struct WhiteBalance {
  Vector3 neutral = {1, 1, 1};
  Chromaticity white = kD50;
};

// The light under which `neutral` is grey: the fixed point of neutral → XYZ with the matrices interpolated for that XYZ.
Chromaticity WhiteOfNeutral(const CameraMatrices& matrices, const Vector3& neutral) {
  constexpr int kSteps = 30, kFirstDampedStep = 12;
  Chromaticity white = kD50;
  for (int step = 1; step <= kSteps; ++step) {
    const auto cameraToXyz = Inverse(matrices.XyzToCamera(white));
    if (!cameraToXyz) break;
    const Vector3 xyz = *cameraToXyz * neutral;
    const double sum = xyz[0] + xyz[1] + xyz[2];
    if (!(sum > 0)) break;
    Chromaticity next = {xyz[0] / sum, xyz[1] / sum};
    // Two matrices can make the plain iteration swing between two points.
    if (step >= kFirstDampedStep) next = {(white[0] + next[0]) / 2, (white[1] + next[1]) / 2};
    const double change = std::fabs(next[0] - white[0]) + std::fabs(next[1] - white[1]);
    white = next;
    if (change < 1e-7) break;
  }
  return white;
}

std::optional<WhiteBalance> UserBalance(const CameraMatrices& matrices, Chromaticity white) {
  if (!(white[1] > 0)) return std::nullopt;
  const Vector3 seen = matrices.XyzToCamera(white) * ToXyz(white);
  if (!AllPositive(seen)) return std::nullopt;
  return WhiteBalance{DividedByLargest(seen), white};
}

Vector3 AsShotNeutral(const DngInfo& camera) {
  if (!camera.hasAsShotNeutral || !AllPositive(camera.asShotNeutral)) return {1, 1, 1};
  return DividedByLargest(camera.asShotNeutral);
}

// DNG 1.7, chapter 6: the forward matrix takes the white-balanced reference camera to XYZ under D50.
Matrix3 CameraToXyzByForwardMatrix(const CameraMatrices& matrices, const WhiteBalance& balance) {
  const double weight = matrices.FirstWeight(balance.white);
  const Matrix3 cameraToReference = Inverse(matrices.ReferenceToCamera(weight)).value_or(Matrix3{});
  const Vector3 neutral = cameraToReference * balance.neutral;
  return matrices.Forward(weight) * Diagonal({1 / neutral[0], 1 / neutral[1], 1 / neutral[2]}) * cameraToReference;
}

// Linear Bradford adaptation of colours under D50 to colours under `white`.
Matrix3 AdaptFromD50(Chromaticity white) {
  const Vector3 cone = kBradford * ToXyz(white);
  return kBradfordInverse * Diagonal({cone[0] / kD50Cone[0], cone[1] / kD50Cone[1], cone[2] / kD50Cone[2]}) * kBradford;
}

Matrix3 CameraToXyzByColorMatrix(const CameraMatrices& matrices, Chromaticity white) {
  Matrix3 xyzToCamera = matrices.XyzToCamera(white) * AdaptFromD50(white);
  const Vector3 neutral = xyzToCamera * kD50Xyz;
  const double largest = std::max({neutral[0], neutral[1], neutral[2]});
  if (largest > 0) xyzToCamera = (1 / largest) * xyzToCamera;
  return Inverse(xyzToCamera).value_or(Matrix3{});
}

Matrix3 CameraToXyz(const CameraMatrices& matrices, const WhiteBalance& balance) {
  const Matrix3 cameraToXyz =
      matrices.hasForward() ? CameraToXyzByForwardMatrix(matrices, balance) : CameraToXyzByColorMatrix(matrices, balance.white);
  return IsModerate(cameraToXyz) ? cameraToXyz : Matrix3{};
}

std::array<int32_t, 9> LabMatrix(const Matrix3& cameraToRec709) {
  const Matrix3 cameraToXyz = kRec709ToXyz * cameraToRec709;
  std::array<int32_t, 9> result;
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) {
      const double scaled = std::round(1024 * cameraToXyz.m[row][col] / kLabWhite[row]);
      result[row * 3 + col] = int32_t(std::clamp(scaled, -8191.0, 8191.0));
    }
  }
  return result;
}

float ExposureGain(double exposureEv, double baselineExposure) {
  // The extra stop belongs to the system's grey level: every frame gets it.
  const double exponent = exposureEv + 1 + baselineExposure;
  return float(std::exp2(std::isnan(exponent) ? 1 : std::clamp(exponent, -kLargestExponent, kLargestExponent)));
}

}  // namespace

ColorState ComputeColorState(const DngInfo& camera, const DevelopParams& params) {
  const CameraMatrices matrices(camera);
  WhiteBalance balance{AsShotNeutral(camera), kD50};
  Matrix3 cameraToXyz;
  if (matrices.usable()) {
    const auto wanted = params.whiteBalanceOn != 0 ? UserBalance(matrices, params.whitePoint) : std::nullopt;
    balance = wanted ? *wanted : WhiteBalance{balance.neutral, WhiteOfNeutral(matrices, balance.neutral)};
    cameraToXyz = CameraToXyz(matrices, balance);
  }

  Vector3 multipliers;
  for (int i = 0; i < 3; ++i) multipliers[i] = std::min(1 / balance.neutral[i], kLargestMultiplier);
  // The samples are white-balanced before the matrix, so it takes the multipliers back out.
  const Matrix3 cameraToRec709 = kXyzD50ToRec709 * cameraToXyz * Diagonal({1 / multipliers[0], 1 / multipliers[1], 1 / multipliers[2]});

  ColorState state;
  for (int i = 0; i < 3; ++i) state.whiteBalance[i] = float(multipliers[i]);
  for (int i = 0; i < 9; ++i) state.cameraToRec709[i] = float(cameraToRec709.m[i / 3][i % 3]);
  state.gain = ExposureGain(params.exposureEv, camera.baselineExposure);
  state.labMatrix = LabMatrix(cameraToRec709);
  return state;
}

}  // namespace qx
