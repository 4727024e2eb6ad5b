// The inner loops of the processor path, each over one row. The plain version of a loop is its meaning; vector versions give the same bits.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "develop/cpu/row_stages.h"
#include "develop/encoding.h"
#include "develop/geometry.h"

namespace qx {

/// Levels of the two CFA phases of one row: those of even columns at index 0, of odd columns at 1.
struct UnpackLevels {
  float black[2];
  float range[2];  // white − black; infinity turns every sample into 0
  float whiteBalance[2];
};

/// One row of linear RGB, planar.
struct LinearRow {
  const float* r;
  const float* g;
  const float* b;
};

/// White-balanced camera RGB to linear Rec.709, with the exposure.
struct ColorStep {
  std::array<float, 9> matrix;  // row-major
  float gain;
};

/// A curve made of linear pieces: piece i covers the floats with bit patterns firstBits + (i << shift) up to the next piece, piece −1 all
/// non-negative floats below `firstBits`. Code value ×65535 = base + slope · (x − first float of the piece).
struct CurveView {
  const CurveBucket* pieces;
  int32_t firstBits;
  int32_t shift;
  float largest;  // inputs above are taken as this
};

/// Where an output pixel looks along one axis, for a row of pixels: low[i] … high[i] in texel positions.
struct FootprintAxis {
  const double* low;
  const double* high;
};

/// Rows of texels (r, g, b and one unused float), with the edge texels repeated far enough on both sides. `rows[j − firstRow]` is column 0
/// of row j; every row that a footprint touches is there.
struct TexelRows {
  const float* const* rows;
  int firstRow;
};
constexpr int kTexelFloats = 4;

/// A 3-D LUT with its entries widened to four floats, so that one load fetches a colour.
struct WideLut {
  const float* entries;  // size³ × (r, g, b, 0), red fastest
  int32_t size;
  std::array<float, 3> domainMin, domainMax;
};

/// Columns that the debayer loops may read beyond either side of a row, and write beyond its right side.
constexpr int kRowSlack = 32;

/// `n` is the number of columns. Inputs and outputs do not overlap.
struct RowKernels {
  const char* name;
  bool usable;  // on this processor

  /// max((s − black) / range, 0) · gain · white balance, limited to 0 … 1, ×65535 rounded half up. `gains` is null for gain 1; a result
  /// that is not a number becomes 0.
  void (*unpack)(const uint16_t* samples, const UnpackLevels& levels, const float* gains, uint16_t* out, int n);

  /// 5 × 5 gradient-corrected interpolation (Malvar, He and Cutler, 2004, with integer weights). `rows` are the rows y − 2 … y + 2. Column
  /// 0 is a red or blue site; `own` receives that colour, `opposite` the other one. Reads and writes within kRowSlack.
  void (*gradient)(const uint16_t* const rows[5], uint16_t* own, uint16_t* green, uint16_t* opposite, int n);
  /// Bilinear interpolation from the rows y − 1 … y + 1; otherwise as `gradient`.
  void (*bilinear)(const uint16_t* const rows[3], uint16_t* own, uint16_t* green, uint16_t* opposite, int n);

  /// max(matrix · (rgb / 65535) · gain, 0).
  void (*color)(const RgbRow& in, const ColorStep& step, float* const out[3], int n);

  /// Mean of 2 × 2: `n` values from 2n columns of two rows.
  void (*halve)(const float* above, const float* below, float* out, int n);

  /// ApplyLensWarp at (x[i], y). `outX` or `outY` may be null.
  void (*warpPoints)(const LensWarp& warp, const double* x, double y, double* outX, double* outY, int n);

  /// One axis of the footprints: the span of `centre` ± 0.5, `one` and `other`, but at most `reach` to either side of the centre, which is
  /// taken as at most `reach` outside 0 … texels. A centre that is not a number counts as far left.
  void (*footprints)(const double* centre, const double* one, const double* other, double reach, int texels, double* low, double* high,
                     int n);
  /// A row of texels from its planes.
  void (*toTexels)(const LinearRow& in, float* texels, int n);
  /// Area-weighted mean of the texels under each footprint, planar.
  void (*averageTexels)(const FootprintAxis& x, const FootprintAxis& y, const TexelRows& texels, float* const out[3], int n);

  /// Through the gamut matrix (null for none) and the curve to interleaved 16-bit RGB.
  void (*encodeCurve)(const LinearRow& in, const float* gamut, const CurveView& curve, uint16_t* rgb, int n);
  /// One channel through the curve; 1 is white.
  void (*applyCurve)(const float* in, const CurveView& curve, float* out, int n);
  /// Encoded planar RGB through a 3-D LUT to interleaved 16-bit RGB, as ApplyLut does.
  void (*encodeLut)(const LinearRow& in, const WideLut& lut, uint16_t* rgb, int n);
  /// Through the gamut matrix to interleaved 16-bit RGB, limited to 0 … 1.
  void (*encodeLinear)(const LinearRow& in, const float* gamut, uint16_t* rgb, int n);
};

/// All versions, the plain one first. Tests run the usable ones.
std::span<const RowKernels> RowKernelVariants();
/// The fastest usable version.
const RowKernels& GetRowKernels();

/// The plain versions, also used by the vector versions for what is left at the end of a row.
namespace plain {
void Unpack(const uint16_t* samples, const UnpackLevels& levels, const float* gains, uint16_t* out, int n);
void Gradient(const uint16_t* const rows[5], uint16_t* own, uint16_t* green, uint16_t* opposite, int n);
void Bilinear(const uint16_t* const rows[3], uint16_t* own, uint16_t* green, uint16_t* opposite, int n);
void Color(const RgbRow& in, const ColorStep& step, float* const out[3], int n);
void Halve(const float* above, const float* below, float* out, int n);
void WarpPoints(const LensWarp& warp, const double* x, double y, double* outX, double* outY, int n);
void Footprints(const double* centre, const double* one, const double* other, double reach, int texels, double* low, double* high, int n);
void ToTexels(const LinearRow& in, float* texels, int n);
void AverageTexels(const FootprintAxis& x, const FootprintAxis& y, const TexelRows& texels, float* const out[3], int n);
void EncodeCurve(const LinearRow& in, const float* gamut, const CurveView& curve, uint16_t* rgb, int n);
void ApplyCurve(const float* in, const CurveView& curve, float* out, int n);
void EncodeLut(const LinearRow& in, const WideLut& lut, uint16_t* rgb, int n);
void EncodeLinear(const LinearRow& in, const float* gamut, uint16_t* rgb, int n);
}  // namespace plain

#if defined(__x86_64__)
namespace avx2 {
void Unpack(const uint16_t* samples, const UnpackLevels& levels, const float* gains, uint16_t* out, int n);
void Gradient(const uint16_t* const rows[5], uint16_t* own, uint16_t* green, uint16_t* opposite, int n);
void Bilinear(const uint16_t* const rows[3], uint16_t* own, uint16_t* green, uint16_t* opposite, int n);
void Color(const RgbRow& in, const ColorStep& step, float* const out[3], int n);
void Halve(const float* above, const float* below, float* out, int n);
void WarpPoints(const LensWarp& warp, const double* x, double y, double* outX, double* outY, int n);
void Footprints(const double* centre, const double* one, const double* other, double reach, int texels, double* low, double* high, int n);
void ToTexels(const LinearRow& in, float* texels, int n);
void AverageTexels(const FootprintAxis& x, const FootprintAxis& y, const TexelRows& texels, float* const out[3], int n);
void EncodeCurve(const LinearRow& in, const float* gamut, const CurveView& curve, uint16_t* rgb, int n);
void ApplyCurve(const float* in, const CurveView& curve, float* out, int n);
void EncodeLut(const LinearRow& in, const WideLut& lut, uint16_t* rgb, int n);
void EncodeLinear(const LinearRow& in, const float* gamut, uint16_t* rgb, int n);
}  // namespace avx2
#endif

}  // namespace qx
