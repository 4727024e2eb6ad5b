// Development of one clip at one size class on the graphics card: the counterpart of CpuSession. GPU thread only.
#pragma once

#include <memory>
#include <optional>

#include "develop/gpu/gpu_developer.h"

namespace qx {

class GpuSession {
 public:
  /// `camera`: the clip's camera data. `params` is copied; its LUT must outlive the session. Null with "CFA is not Bayer: the full frame
  /// cannot be developed", "unknown curve %d" or a message of CreateGpuDeveloper.
  static std::unique_ptr<GpuSession> Create(const DngInfo& camera, const DevelopParams& params, Message message);

  /// Develops `raw`, source frame or display frame `frame` as messages shall name it, into render slot `slot`. `uploaded`: the samples,
  /// when they are on the graphics card already. 0, or -1 with "frame %d: GPU development failed", "frame %d: GPU output failed" or a
  /// message of CheckGpuLimits.
  [[nodiscard]] int Develop(const RawFrame& raw, int32_t frame, int slot, const UploadedSamples* uploaded, Message message);

  /// Size of the frame developed last.
  Size outputSize() const { return geometry_.output; }
  GpuDeveloper* developer() { return developer_.get(); }

 private:
  GpuSession(const DevelopParams& params, const EncodingState& encoding, GpuDeveloperPtr developer)
      : params_(params), encoding_(encoding), developer_(std::move(developer)) {}
  [[nodiscard]] int DevelopLinear(const RawFrame& raw, const UploadedSamples* uploaded);

  const DevelopParams params_;
  EncodingState encoding_;
  GpuDeveloperPtr developer_;
  DevelopGeometry geometry_;
  ColorState color_;
  GainTable gains_;
  std::optional<std::vector<GainMap>> gainMaps_;  // what gains_ was built from
};

}  // namespace qx
