// Last stage of the processor path: the output encoding of finished rows.
#pragma once

#include <optional>

#include "base/grow_buffer.h"
#include "develop/cpu/row_kernels.h"
#include "develop/encoding.h"

namespace qx {

/// Encodes rows of linear Rec.709. The log curves come from the tables of encoding.h; the Rec.709 curve with its knee from a table of the
/// same kind with finer pieces, which stays within one 16-bit code of the formula.
class RowEncoder {
 public:
  /// Takes over `state`; its LUT must outlive the encoder. Builds the Rec.709 table when the knee's white changed. False when memory is
  /// short. Not while rows are being encoded.
  [[nodiscard]] bool Update(const EncodingState& state);
  /// `n` pixels to interleaved 16-bit RGB. Any thread; several at a time.
  void Encode(const LinearRow& in, uint16_t* rgb, int n) const;

 private:
  [[nodiscard]] bool BuildRec709(float white);
  [[nodiscard]] bool WidenLut(const CubeLut& lut);
  void EncodeLut(const LinearRow& in, uint16_t* rgb, int n) const;

  const RowKernels& kernels_ = GetRowKernels();
  EncodingState state_;
  CurveView curve_ = {};
  CurveView rec709_ = {};
  std::optional<float> rec709White_;  // what rec709_ was built for
  GrowBuffer<CurveBucket> pieces_;    // of rec709_
  WideLut wide_ = {};                 // the 3-D table of a LUT that has no 1-D table
  const CubeLut* widened_ = nullptr;  // which LUT that is
  GrowBuffer<float> entries_;         // of wide_
};

}  // namespace qx
