// Output encodings: from scene-linear Rec.709 to delivered code values (ITU-R BT.709 with a highlight knee, `.cube` LUTs, log curves,
// linear).
#pragma once

#include <array>
#include <cstdint>

#include "develop/cube_lut.h"
#include "develop/develop_params.h"

namespace qx {

/// Encoding of one session and frame. `profile` 0: Rec.709 or LUT; 3: the log and linear kinds.
struct EncodingState {
  int32_t profile = 0;
  OutputKind kind = OutputKind::kRec709;                     // profile 3: kDaVinciIntermediate, kSLog3 or kLinear
  float white = 1;                                           // the linear value that the knee maps to 1: the frame's exposure gain
  std::array<float, 9> gamut = {1, 0, 0, 0, 1, 0, 0, 0, 1};  // row-major, linear Rec.709 to the target primaries
  const CubeLut* lut = nullptr;                              // profile 0 only
};

/// False for a kind that has no curve.
[[nodiscard]] bool MakeEncoding(OutputKind kind, const CubeLut* lut, EncodingState* state);

/// The gamut matrix of a kind, computed in double precision from the primaries; identity for Rec.709 and LUTs.
std::array<float, 9> GamutMatrix(OutputKind kind);

// The curves, as the formulas stand. `x` is linear; results are code values, 1 is white.
float Knee(float x, float k, float white);
float Oetf709(float x);
float Encode709(float x, float white);  // Oetf709(Knee(x, 0.8, white))
float EncodeDaVinciIntermediate(float x);
float EncodeSLog3(float x);

/// A LUT applied to one colour in place (1-D linear, then 3-D tetrahedral), clamped to 0 … 1.
void ApplyLut(const CubeLut& lut, float rgb[3]);

/// The whole per-pixel encoding by formula, in place: the reference for every faster way, and what the graphics card evaluates.
/// Linear kind: unclamped.
void EncodePixel(const EncodingState& state, float rgb[3]);

/// Piecewise-linear log curve of the processor path, ×65535: bucket = the upper 16 bits of a non-negative float.
struct CurveBucket {
  float base, slope;
};
constexpr int kCurveBuckets = 32768;
/// The table of a log kind, built at the first call for it and never freed; null for other kinds. Any thread.
const CurveBucket* GetCurveTable(OutputKind kind);

/// One curve value ×65535 through the table; negative input by the formula.
float CurveLookup(const CurveBucket* table, OutputKind kind, float x);

/// Code value ×65535 to 16 bits: below 0 → 0, above 65535 → 65535, else floor(v + 0.5); NaN → 0.
uint16_t RoundTo16(float v);

}  // namespace qx
