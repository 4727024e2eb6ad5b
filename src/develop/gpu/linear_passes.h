// The compute passes from RAW samples to the linear image. `develop/cpu` holds the same steps for the processor.
#pragma once

#include "develop/color_model.h"
#include "develop/gain_table.h"
#include "develop/geometry.h"
#include "develop/gpu/program.h"
#include "develop/gpu/raw_upload.h"

namespace qx {

/// What the passes read of one frame besides its samples.
struct LinearFrame {
  const DngInfo& camera;
  const DevelopGeometry& geometry;
  const ColorState& color;
  const GainTable& gains;
};

/// The gain maps as a texture: one texel a point, the four CFA phases in its four channels.
class GainTexture {
 public:
  /// False when the driver has no memory for it, clearing the error, or the maps have more points than any camera writes.
  [[nodiscard]] bool Upload(const GainTable& gains);
  GLuint name() const { return texture_.name(); }

 private:
  GlTexture texture_;
};

/// The programs and images of one developer.
class LinearPasses {
 public:
  /// Compiles all passes and uploads the Lab tables: 0, or -1 with a message.
  [[nodiscard]] int Build(Message message);
  /// Runs unpack, the debayer method and the colour step over the samples at storage buffer 0. False when the driver gives no memory.
  [[nodiscard]] bool Run(const LinearFrame& frame, const SampleLayout& samples, Demosaic method);
  /// Makes Run upload the gain maps anew.
  void ForgetGains() { gainsUploaded_ = false; }
  const GlImage2D& mosaic() const { return mosaic_; }
  const GlImage2D& linear() const { return linear_; }

 private:
  [[nodiscard]] bool Resize(int width, int height, Demosaic method);
  void Unpack(const LinearFrame& frame, const SampleLayout& samples);
  void Debayer(const GpuProgram& program, const LinearFrame& frame);
  void Ahd(const LinearFrame& frame, bool refined);
  void Refine(const LinearFrame& frame);
  void Dispatch() const;

  GpuProgram unpack_, debayer5x5_, debayerBilinear_, ahdGreen_, ahdHomogeneity_, ahdSelect_, ahdSelectIntegers_, medianChroma_,
      medianGreen_, merge_;
  GlGrowBuffer labTables_{GL_SHADER_STORAGE_BUFFER, GL_STATIC_DRAW};
  GainTexture gainTexture_;
  bool gainsUploaded_ = false;
  GlImage2D mosaic_{GL_R32UI}, linear_{GL_RGBA32F}, greens_{GL_R32UI}, homogeneity_{GL_R32UI};
  GlImage2D integers_{GL_RGBA16UI}, medianRg_{GL_R32UI}, medianB_{GL_R32UI};
};

}  // namespace qx
