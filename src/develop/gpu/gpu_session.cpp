#include "develop/gpu/gpu_session.h"

#include <new>

namespace qx {

namespace {

constexpr int kKneeOn = 1;

bool IsUsable(const RawFrame& raw) {
  return raw.described != nullptr && IsBayer(*raw.described);
}

uint64_t SampleBytes(const RawFrame& raw, const UploadedSamples* uploaded) {
  Bytes bytes;
  SampleLayout layout;
  if (uploaded != nullptr) return uploaded->bytes;
  return FindStoredSamples(raw, &bytes, &layout) ? bytes.size() : 0;
}

}  // namespace

std::unique_ptr<GpuSession> GpuSession::Create(const DngInfo& camera, const DevelopParams& params, Message message) {
  if (!IsBayer(camera)) {
    message.Fail("CFA is not Bayer: the full frame cannot be developed");
    return nullptr;
  }
  EncodingState encoding;
  if (!MakeEncoding(params.outputKind, params.lut, &encoding)) {
    message.Fail("unknown curve %d", int(params.outputKind));
    return nullptr;
  }
  const bool floatSlots = encoding.profile != 0 && encoding.kind == OutputKind::kLinear;
  GpuDeveloperPtr developer = CreateGpuDeveloper(params.slots, floatSlots, message);
  if (developer == nullptr) return nullptr;
  if (SetGpuEncoding(developer.get(), encoding) != 0 || !NoGlError()) {
    message.Fail("out of memory");
    return nullptr;
  }
  std::unique_ptr<GpuSession> session(new (std::nothrow) GpuSession(params, encoding, std::move(developer)));
  if (session == nullptr) message.Fail("out of memory");
  return session;
}

int GpuSession::Develop(const RawFrame& raw, int32_t frame, int slot, const UploadedSamples* uploaded, Message message) {
  const RectilinearWarp& warp = raw.warpDecided || raw.described == nullptr ? raw.warp : raw.described->warp;
  if (!IsUsable(raw) || !ComputeGeometry(*raw.described, warp, params_, &geometry_)) {
    return message.Fail("frame %d: GPU development failed", frame);
  }
  if (CheckGpuLimits(*developer_, geometry_.activeWidth, geometry_.activeHeight, geometry_.output.width, geometry_.output.height,
                     SampleBytes(raw, uploaded), message) != 0) {
    return -1;
  }
  if (DevelopLinear(raw, uploaded) != 0) return message.Fail("frame %d: GPU development failed", frame);
  if (RenderToSlot(developer_.get(), slot, geometry_, encoding_.profile, kKneeOn, color_.gain) != 0) {
    return message.Fail("frame %d: GPU output failed", frame);
  }
  return 0;
}

int GpuSession::DevelopLinear(const RawFrame& raw, const UploadedSamples* uploaded) {
  const DngInfo& camera = *raw.described;
  if (gainMaps_ != camera.gainMaps) {
    gainMaps_.reset();
    gains_ = BuildGainTable(camera, params_.vignetteStrength);
    ForgetGpuGains(developer_.get());
    gainMaps_ = camera.gainMaps;
  }
  color_ = ComputeColorState(camera, params_);
  if (UploadRaw(developer_.get(), raw, uploaded) != 0) return -1;
  return DevelopToLinear(developer_.get(), {camera, geometry_, color_, gains_}, params_.demosaic);
}

}  // namespace qx
