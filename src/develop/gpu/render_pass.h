// The pass that draws the linear image into a slot: crop, resampling, lens warp and output encoding.
#pragma once

#include "develop/encoding.h"
#include "develop/geometry.h"
#include "develop/gpu/program.h"

namespace qx {

/// A `.cube` LUT as textures.
class LutTextures {
 public:
  /// Uploads the tables when `lut` (null: none) is another one than last time. False when the driver gives no textures.
  [[nodiscard]] bool Update(const CubeLut* lut);
  void Bind() const;
  /// Bit 0: the 1-D table is there, bit 1: the 3-D table.
  int mode() const { return (table1D_ ? 1 : 0) | (table3D_ ? 2 : 0); }

 private:
  void Upload1D(const CubeLut& lut);
  void Upload3D(const CubeLut& lut);

  GlTexture table1D_, table3D_;
  uint32_t contentHash_ = 0;
};

class RenderPass {
 public:
  /// 0, or -1 with a message.
  [[nodiscard]] int Build(Message message);
  /// As MakeEncoding gave it; the LUT must live as long as it is in use. False when the driver gives no memory for the LUT.
  [[nodiscard]] bool SetEncoding(const EncodingState& encoding);
  /// Draws `linear` (size of the geometry's active area) into the frame buffer that is bound, size of its output. `profile`: 0 Rec.709 or
  /// LUT, 3 the log and linear kinds; `tone` 1: highlight knee, which maps `white` to 1.
  void Draw(GLuint linear, const DevelopGeometry& geometry, int profile, int tone, float white) const;

 private:
  void SetGeometry(const DevelopGeometry& geometry) const;
  void SetEncodingUniforms(int profile, int tone, float white) const;

  GpuProgram program_;
  GlVertexArray quad_;
  GlBuffer corners_;
  EncodingState encoding_;
  LutTextures lut_;
};

}  // namespace qx
