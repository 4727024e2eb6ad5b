#include "develop/cpu/cpu_session.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <optional>
#include <vector>

#include "develop/color_model.h"
#include "develop/cpu/ahd.h"
#include "develop/cpu/debayer_rows.h"
#include "develop/cpu/linear_rows.h"
#include "develop/cpu/mosaic_rows.h"
#include "develop/cpu/render_plan.h"
#include "develop/cpu/render_rows.h"
#include "develop/cpu/row_encoder.h"
#include "develop/cpu/stream_copy.h"
#include "develop/encoding.h"
#include "develop/gain_table.h"

namespace qx {

namespace {

// Bands thinner than this would mostly repeat their neighbours' work.
constexpr int kFewestBandRows = 4;

// Everything of a frame that its bands share; read only while they run.
struct FramePlan {
  MosaicSetup mosaic;
  GainTable gains;
  DebayerSetup debayer;
  Demosaic method = Demosaic::kGradient5x5;
  ColorStep color = {};
  LabMatrix labMatrix = {};
  RenderPlan render;
  RowEncoder encoder;
};

std::unique_ptr<RgbRows> CreateDebayer(MosaicRows* mosaic, const FramePlan& plan) {
  switch (plan.method) {
    case Demosaic::kGradient5x5:
      return CreateGradientRows(mosaic, plan.debayer);
    case Demosaic::kBilinear:
      return CreateBilinearRows(mosaic, plan.debayer);
    case Demosaic::kAhd:
      return CreateAhdRows(mosaic, plan.debayer, false);
    case Demosaic::kAhdRefined:
      return CreateAhdRows(mosaic, plan.debayer, true);
  }
  return nullptr;
}

// One chain of row stages, which makes a contiguous band of output rows.
class Band {
 public:
  // Makes room for the plan's geometry and starts over. False when memory is short.
  [[nodiscard]] bool Prepare(const FramePlan& plan, int firstRow, int endRow) {
    firstRow_ = firstRow;
    endRow_ = endRow;
    if (!mosaic_.Reserve(plan.debayer.width)) return false;
    mosaic_.Begin(plan.mosaic);
    if (rgb_ == nullptr || method_ != plan.method || setup_ != plan.debayer) {
      rgb_ = CreateDebayer(&mosaic_, plan);
      method_ = plan.method;
      setup_ = plan.debayer;
    }
    if (render_ == nullptr || mode_ != plan.render.mode) {
      render_ = CreateRenderRows(plan.render.mode);
      mode_ = plan.render.mode;
    }
    return rgb_ != nullptr && render_ != nullptr && render_->Begin(plan.render, &linear_, firstRow, endRow);
  }

  // Room for one row on its way into a host's format. False when memory is short.
  [[nodiscard]] bool ReservePacking(int width, uint64_t rowBytes) {
    return codes_.Reserve(uint64_t(width) * 3) && packed_.Reserve(rowBytes);
  }
  uint16_t* codes() { return codes_.data(); }
  uint8_t* packed() { return packed_.data(); }

  // `finish(y, row)` receives the linear output rows.
  template <typename Finish>
  void Run(const FramePlan& plan, Finish&& finish) {
    linear_.Begin(rgb_.get(), plan.color, plan.labMatrix, plan.debayer.width, plan.render.FirstSourceRow(firstRow_, endRow_));
    for (int y = firstRow_; y < endRow_; ++y) finish(y, render_->Row(y));
  }

 private:
  int firstRow_ = 0, endRow_ = 0;
  SensorMosaicRows mosaic_;
  std::unique_ptr<RgbRows> rgb_;
  Demosaic method_ = Demosaic::kGradient5x5;
  DebayerSetup setup_;
  LinearRows linear_;
  std::unique_ptr<RenderRows> render_;
  RenderMode mode_ = RenderMode::kCopy;
  GrowBuffer<uint16_t> codes_;
  GrowBuffer<uint8_t> packed_;
};

}  // namespace

class CpuSession {
 public:
  CpuSession(const DngInfo& camera, const DevelopParams& params, WorkerPool* pool) : camera_(camera), params_(params), pool_(pool) {}

  int Create(Message message) {
    if (!IsBayer(camera_)) return message.Fail("CFA is not Bayer: the full frame cannot be developed");
    if (!MakeEncoding(params_.outputKind, params_.lut, &encoding_)) return message.Fail("unknown curve %d", int(params_.outputKind));
    // A camera whose area cannot be developed still gets its session: each frame brings its own description and fails with its number.
    DevelopGeometry geometry;
    if (!ComputeGeometry(camera_, camera_.warp, params_, &geometry)) return 0;
    output_ = geometry.output;
    if (keepsLinear() && !linearImage_.Reserve(uint64_t(output_.width) * uint64_t(output_.height) * 3))
      return message.Fail("out of memory");
    return Plan(camera_, geometry, nullptr) && PrepareBands() ? 0 : message.Fail("out of memory");
  }

  int Develop(const RawFrame& raw, int32_t frame, uint16_t* rgb48, Message message) {
    const size_t rowCodes = size_t(output_.width) * 3;
    return DevelopRows(raw, frame, rgb48 != nullptr || keepsLinear(), message, [&](Band& band) {
      band.Run(plan_, [&](int y, const LinearRow& row) {
        rgb48 != nullptr ? plan_.encoder.Encode(row, rgb48 + size_t(y) * rowCodes, output_.width) : KeepRow(y, row);
      });
      return 0;
    });
  }

  int DevelopPacked(const RawFrame& raw, int32_t frame, OutputPixelFormat format, uint8_t* pixels, Message message) {
    const uint64_t rowBytes = FormatRowBytes(format, output_.width);
    return DevelopRows(raw, frame, true, message, [&](Band& band) {
      if (!band.ReservePacking(output_.width, rowBytes)) return -1;
      band.Run(plan_, [&](int y, const LinearRow& row) {
        plan_.encoder.Encode(row, band.codes(), output_.width);
        ConvertRows(band.codes(), output_.width, 1, format, band.packed(), int64_t(rowBytes), false, 0, 1);
        StreamCopy(pixels + uint64_t(IsBottomUp(format) ? output_.height - 1 - y : y) * rowBytes, band.packed(), size_t(rowBytes));
      });
      return 0;
    });
  }

  void ReadFloat(float* destination, int32_t firstRow, int32_t endRow) const {
    const auto& m = encoding_.gamut;
    for (int32_t y = firstRow; y < endRow; ++y) {
      const LinearRow row = KeptRow(y);
      for (int32_t x = 0; x < output_.width; ++x) {
        for (size_t i = 0; i < 9; i += 3) *destination++ = m[i] * row.r[x] + m[i + 1] * row.g[x] + m[i + 2] * row.b[x];
      }
    }
  }

  Size output() const { return output_; }

 private:
  // `run(band)` makes the rows of a band, several at a time; non-zero when memory is short.
  template <typename RunBand>
  int DevelopRows(const RawFrame& raw, int32_t frame, bool hasTarget, Message message, RunBand&& run) {
    DevelopGeometry geometry;
    if (!IsUsable(raw) || !ComputeGeometry(*raw.described, raw.warpDecided ? raw.warp : raw.described->warp, params_, &geometry) ||
        geometry.output != output_ || !hasTarget) {
      return message.Fail("frame %d: CPU development failed", frame);
    }
    if (!Plan(*raw.described, geometry, raw.samples) || !PrepareBands()) return message.Fail("out of memory");
    const int result = RunParts(pool_, int(bands_.size()), [&](int part) { return run(bands_[size_t(part)]); });
    return result == 0 ? 0 : message.Fail("out of memory");
  }

  bool keepsLinear() const { return encoding_.profile != 0 && encoding_.kind == OutputKind::kLinear; }

  bool IsUsable(const RawFrame& raw) const {
    const auto method = int32_t(params_.demosaic);
    return raw.samples != nullptr && raw.described != nullptr && IsBayer(*raw.described) && method >= 0 && method <= 3;
  }

  // What the frame's description says, for all bands. False when memory is short.
  bool Plan(const DngInfo& camera, const DevelopGeometry& geometry, const uint16_t* samples) {
    const ColorState color = ComputeColorState(camera, params_);
    UpdateGains(camera);
    PlanMosaic(camera, geometry, color, samples);
    plan_.debayer = {geometry.activeWidth, geometry.activeHeight, camera.cfa};
    plan_.method = params_.demosaic;
    plan_.color = {color.cameraToRec709, color.gain};
    plan_.labMatrix = color.labMatrix;
    encoding_.white = color.gain;
    return UpdateRenderPlan(geometry, pool_, &plan_.render) && plan_.encoder.Update(encoding_);
  }

  void UpdateGains(const DngInfo& camera) {
    if (gainMaps_ == camera.gainMaps) return;
    gainMaps_.reset();
    plan_.gains = BuildGainTable(camera, params_.vignetteStrength);
    gainMaps_ = camera.gainMaps;
  }

  void PlanMosaic(const DngInfo& camera, const DevelopGeometry& geometry, const ColorState& color, const uint16_t* samples) {
    MosaicSetup& mosaic = plan_.mosaic;
    mosaic.width = geometry.activeWidth;
    mosaic.height = geometry.activeHeight;
    mosaic.stride = camera.width;
    mosaic.samples = samples == nullptr ? nullptr : samples + size_t(geometry.activeTop) * mosaic.stride + size_t(geometry.activeLeft);
    for (size_t phase = 0; phase < 4; ++phase) {
      mosaic.black[phase] = camera.black[phase];
      // A white level that does not lie above black leaves nothing to scale: the frame is black.
      mosaic.range[phase] =
          camera.white > camera.black[phase] ? camera.white - camera.black[phase] : std::numeric_limits<float>::infinity();
      mosaic.whiteBalance[phase] = color.whiteBalance[camera.cfa[phase]];
    }
    mosaic.linearization = camera.linearization;
    mosaic.gains = plan_.gains.active() ? &plan_.gains : nullptr;
  }

  bool PrepareBands() {
    const int most = std::max(1, output_.height / kFewestBandRows);
    const int count = std::min(worker_pool_threads(pool_) + 1, most);
    if (bands_.empty()) bands_ = std::vector<Band>(size_t(count));
    for (int i = 0; i < count; ++i) {
      const auto row = [&](int part) { return int(int64_t(output_.height) * part / count); };
      if (!bands_[size_t(i)].Prepare(plan_, row(i), row(i + 1))) return false;
    }
    return true;
  }

  void KeepRow(int y, const LinearRow& row) {
    const size_t width = size_t(output_.width);
    float* kept = linearImage_.data() + size_t(y) * width * 3;
    std::copy_n(row.r, width, kept);
    std::copy_n(row.g, width, kept + width);
    std::copy_n(row.b, width, kept + 2 * width);
  }
  LinearRow KeptRow(int y) const {
    const size_t width = size_t(output_.width);
    const float* kept = linearImage_.data() + size_t(y) * width * 3;
    return {kept, kept + width, kept + 2 * width};
  }

  const DngInfo camera_;
  const DevelopParams params_;
  WorkerPool* const pool_;
  EncodingState encoding_;
  Size output_;
  FramePlan plan_;
  std::optional<std::vector<GainMap>> gainMaps_;  // what plan_.gains was built from
  std::vector<Band> bands_;
  GrowBuffer<float> linearImage_;  // linear kind only: the rendered rows before the gamut matrix, each planar
};

void CpuSessionDeleter::operator()(CpuSession* session) const {
  DestroyCpuSession(session);
}

CpuSessionPtr CreateCpuSession(const DngInfo& camera, const DevelopParams& params, WorkerPool* pool, Message message) {
  CpuSessionPtr session(new (std::nothrow) CpuSession(camera, params, pool));
  if (session == nullptr) {
    message.Fail("out of memory");
    return nullptr;
  }
  return session->Create(message) == 0 ? std::move(session) : nullptr;
}

Size CpuSessionOutputSize(const CpuSession& session) {
  return session.output();
}

int DevelopFrameCpu(CpuSession* session, const RawFrame& raw, int32_t frame, uint16_t* rgb48, Message message) {
  return session->Develop(raw, frame, rgb48, message);
}

int DevelopPackedFrameCpu(CpuSession* session, const RawFrame& raw, int32_t frame, OutputPixelFormat format, uint8_t* pixels,
                          Message message) {
  return session->DevelopPacked(raw, frame, format, pixels, message);
}

void ReadFloatRgb(const CpuSession& session, int, float* destination, int32_t firstRow, int32_t endRow) {
  session.ReadFloat(destination, firstRow, endRow);
}

void DestroyCpuSession(CpuSession* session) {
  delete session;
}

}  // namespace qx
