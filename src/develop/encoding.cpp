#include "develop/encoding.h"

#include <algorithm>

#include "develop/matrix_math.h"

namespace qx {

namespace {

struct Primary {
  double x, y;  // CIE 1931
};

// Red, green and blue of the target spaces; all of them have the D65 white.
constexpr std::array<Primary, 3> kDaVinciWideGamut = {{{0.8, 0.313}, {0.1682, 0.9877}, {0.079, -0.1155}}};
constexpr std::array<Primary, 3> kSGamut3Cine = {{{0.766, 0.275}, {0.225, 0.8}, {0.089, -0.087}}};
constexpr std::array<Primary, 3> kBt2020 = {{{0.708, 0.292}, {0.17, 0.797}, {0.131, 0.046}}};

constexpr Vector3 kD65Xyz = {0.9504559270516716, 1, 1.0890577507598784};
constexpr Matrix3 kRec709ToXyz = {{{0.4123907992659594, 0.3575843393838779, 0.1804807884018343},
                                   {0.2126390058715103, 0.7151686787677558, 0.07219231536073371},
                                   {0.019330818715591825, 0.11919477979462594, 0.9505321522496607}}};

// SMPTE RP 177: the primaries' directions, scaled so that equal amounts of them give the white.
Matrix3 RgbToXyz(const std::array<Primary, 3>& primaries) {
  Matrix3 directions;
  for (int col = 0; col < 3; ++col) {
    const Primary& p = primaries[col];
    directions.m[0][col] = p.x / p.y;
    directions.m[1][col] = 1;
    directions.m[2][col] = (1 - p.x - p.y) / p.y;
  }
  return directions * Diagonal(Inverse(directions).value_or(Matrix3{}) * kD65Xyz);
}

std::array<float, 9> FromRec709(const std::array<Primary, 3>& primaries) {
  const Matrix3 matrix = Inverse(RgbToXyz(primaries)).value_or(Matrix3{}) * kRec709ToXyz;
  std::array<float, 9> result;
  for (int i = 0; i < 9; ++i) result[i] = float(matrix.m[i / 3][i % 3]);
  return result;
}

// Also turns what is not a number into 0.
float NotNegative(float x) {
  return x > 0 ? x : 0.0f;
}

void EncodeDisplayReferred(const EncodingState& state, float rgb[3]) {
  for (int c = 0; c < 3; ++c) rgb[c] = Encode709(rgb[c], state.white);
  if (state.lut != nullptr) ApplyLut(*state.lut, rgb);
}

void ApplyGamut(const std::array<float, 9>& m, float rgb[3]) {
  const float r = NotNegative(rgb[0]), g = NotNegative(rgb[1]), b = NotNegative(rgb[2]);
  for (int c = 0; c < 3; ++c) rgb[c] = m[3 * c] * r + m[3 * c + 1] * g + m[3 * c + 2] * b;
}

}  // namespace

bool MakeEncoding(OutputKind kind, const CubeLut* lut, EncodingState* state) {
  *state = {};
  if (lut != nullptr || kind == OutputKind::kRec709) {
    state->lut = lut;
    return true;
  }
  if (kind != OutputKind::kDaVinciIntermediate && kind != OutputKind::kSLog3 && kind != OutputKind::kLinear) return false;
  state->profile = 3;
  state->kind = kind;
  state->gamut = GamutMatrix(kind);
  return true;
}

std::array<float, 9> GamutMatrix(OutputKind kind) {
  switch (kind) {
    case OutputKind::kDaVinciIntermediate:
      return FromRec709(kDaVinciWideGamut);
    case OutputKind::kSLog3:
      return FromRec709(kSGamut3Cine);
    case OutputKind::kLinear:
      return FromRec709(kBt2020);
    case OutputKind::kLut:
    case OutputKind::kRec709:
      break;
  }
  return {1, 0, 0, 0, 1, 0, 0, 0, 1};
}

void EncodePixel(const EncodingState& state, float rgb[3]) {
  if (state.profile == 0) return EncodeDisplayReferred(state, rgb);
  ApplyGamut(state.gamut, rgb);
  if (state.kind == OutputKind::kLinear) return;
  const auto curve = state.kind == OutputKind::kDaVinciIntermediate ? EncodeDaVinciIntermediate : EncodeSLog3;
  for (int c = 0; c < 3; ++c) rgb[c] = std::clamp(curve(rgb[c]), 0.0f, 1.0f);
}

}  // namespace qx
