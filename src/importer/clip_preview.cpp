#include "importer/clip_preview.h"

#include <algorithm>
#include <bit>
#include <new>

#include "importer/diagnostic_log.h"
#include "importer/importer_settings.h"
#include "platform/clock.h"

namespace qx {

namespace {

constexpr int32_t kBytesPerPixel = 4;

/// Numbers count as equal only with equal bits: what is not a number is not applied anew with every picture.
bool SameOptions(const DevelopOptions& a, const DevelopOptions& b) {
  return a.outputCurve == b.outputCurve && a.slog3Narrow == b.slog3Narrow && a.cpuOnly == b.cpuOnly && LutTextOf(a) == LutTextOf(b) &&
         std::bit_cast<uint32_t>(a.exposureEv) == std::bit_cast<uint32_t>(b.exposureEv) && a.whiteBalanceOn == b.whiteBalanceOn &&
         std::bit_cast<uint64_t>(a.kelvin) == std::bit_cast<uint64_t>(b.kelvin) &&
         std::bit_cast<uint64_t>(a.tint) == std::bit_cast<uint64_t>(b.tint) && a.demosaic == b.demosaic && a.warpPercent == b.warpPercent &&
         a.vignettePercent == b.vignettePercent;
}

/// The smallest size that the clip offers: a preview is small.
int32_t PreviewLevel(const ClipInfo& info) {
  return info.quarterWidth != 0 ? kQuarterSize : info.halfWidth != 0 ? kHalfSize : kFullSize;
}

}  // namespace

std::unique_ptr<ClipPreview> ClipPreview::Open(const std::filesystem::path& path, DevelopOptions options, Message message) {
  options.slog3Narrow = Settings().slog3Narrow ? 1 : 0;
  std::unique_ptr<ClipPreview> preview(new ClipPreview(path));
  preview->clip_.reset(OpenClip(path, &options, &preview->info_, message));
  if (preview->clip_ == nullptr) return nullptr;
  preview->applied_ = options;
  return preview;
}

SettingsPreview ClipPreview::ForWindow() {
  SettingsPreview window;
  window.context = this;
  window.frameCount = info_.frameCount;
  window.fpsNumerator = info_.fpsNumerator;
  window.fpsDenominator = info_.fpsDenominator;
  window.render = RenderPreview;
  window.freePixels = FreePreviewPixels;
  return window;
}

int ClipPreview::Apply(const DevelopOptions& options) {
  if (SameOptions(options, applied_)) return 0;
  MessageBuffer<256> message;
  int result = ApplyDevelopOptions(clip_.get(), &options, message);
  if (result == 1) {
    ClipInfo info;
    ClipPtr reopened(OpenClip(path_, &options, &info, message));
    result = reopened != nullptr ? 0 : -1;
    if (reopened != nullptr) {
      clip_ = std::move(reopened);
      info_ = info;
    }
  }
  if (result != 0) {
    LogLine("preview: settings not applied: %s", message.text());
    return -1;
  }
  applied_ = options;
  return 0;
}

int ClipPreview::Render(DevelopOptions options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height) {
  options.slog3Narrow = Settings().slog3Narrow ? 1 : 0;
  if (Apply(options) != 0) return -1;
  const int32_t level = PreviewLevel(info_);
  const Size size = LevelSize(info_, level);
  const size_t bytes = size_t(size.width) * size_t(size.height) * kBytesPerPixel;
  std::unique_ptr<uint8_t[]> picture(new (std::nothrow) uint8_t[bytes]);
  if (picture == nullptr) return -1;

  frame = std::clamp<int64_t>(frame, 0, std::max<int64_t>(info_.frameCount - 1, 0));
  const double startMs = MonotonicMs();
  const int result = GetFrame(clip_.get(), frame, frame, level, OutputPixelFormat::kBgra8, picture.get(),
                              uint32_t(size.width * kBytesPerPixel), nullptr, nullptr);
  LogLine("preview: frame %lld, ev %.2f, curve %d -> %d (%.1f ms)", static_cast<long long>(frame), double(options.exposureEv),
          options.outputCurve, result, MonotonicMs() - startMs);
  if (result != 0) return -1;
  *pixels = picture.release();
  *width = size.width;
  *height = size.height;
  return 0;
}

int RenderPreview(void* context, const DevelopOptions& options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height) {
  try {
    return static_cast<ClipPreview*>(context)->Render(options, frame, pixels, width, height);
  } catch (...) {  // on the window's own thread, with no entry of ours below it
    return -1;
  }
}

void FreePreviewPixels(uint8_t* pixels) {
  delete[] pixels;
}

}  // namespace qx
