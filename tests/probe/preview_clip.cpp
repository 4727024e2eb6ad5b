#include "tests/probe/preview_clip.h"

#include <cstdio>
#include <cstdlib>

#include "pipeline/clip.h"

namespace qx {

bool PreviewClip::Open(const std::filesystem::path& path, Message message) {
  ClipInfo info;
  const ClipPtr clip(OpenClip(path, nullptr, &info, message));
  if (clip == nullptr) return false;
  path_ = path;
  frameCount_ = info.frameCount;
  fpsNumerator_ = info.fpsNumerator;
  fpsDenominator_ = info.fpsDenominator;
  return true;
}

SettingsPreview PreviewClip::description() {
  return {this, frameCount_, fpsNumerator_, fpsDenominator_, Render, [](uint8_t* pixels) { std::free(pixels); }};
}

int PreviewClip::Render(void* context, const DevelopOptions& options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height) {
  ClipInfo info;
  const ClipPtr clip(OpenClip(static_cast<const PreviewClip*>(context)->path_, &options, &info, {}));
  if (clip == nullptr) return -1;
  *width = info.fullWidth;
  *height = info.fullHeight;
  const uint32_t rowBytes = uint32_t(*width) * 4;
  *pixels = static_cast<uint8_t*>(std::malloc(size_t(rowBytes) * size_t(*height)));
  if (*pixels == nullptr) return -1;
  return GetFrame(clip.get(), frame, frame, kFullSize, OutputPixelFormat::kBgra8, *pixels, rowBytes, nullptr, nullptr);
}

bool OpenForPictures(int argc, char** argv, PreviewClip* clip) {
  if (argc != 3) {
    fprintf(stderr, "usage: settings_screenshots RECORDING FOLDER\n");
    return false;
  }
  MessageBuffer<256> message;
  const bool opened = clip->Open(argv[1], message);
  if (!opened) fprintf(stderr, "%s: %s\n", argv[1], message.text());
  return opened;
}

DevelopOptions PicturedOptions() {
  DevelopOptions options;
  options.outputCurve = 2;
  options.whiteBalanceOn = 1;
  options.kelvin = 5600;
  options.exposureEv = -0.7f;
  options.demosaic = 3;
  return options;
}

}  // namespace qx
