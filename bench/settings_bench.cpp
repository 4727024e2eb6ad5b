// One round of the settings window's live picture on a 4K clip: the exposure changes, the warm preview clip takes it, and the frame is
// developed again into the picture that the window shows (a quarter of the clip's size). Time on the wall, as the user waits for it.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "importer/clip_preview.h"
#include "samples/archive_maker.h"
#include "samples/recording_maker.h"

namespace {

using namespace qx;

constexpr int kWidth = 3840, kHeight = 2160, kFrames = 4;

bool WriteQorix(std::ofstream* out) {
  QorixRecordingOptions options;
  options.format.width = kWidth;
  options.format.height = kHeight;
  options.frames = kFrames;
  QorixRecordingContents contents;
  return MakeRecording(options, QorixSinkTo(out), &contents);
}

bool WriteLosslessArchive(std::ofstream* out) {
  ArchiveOptions options;
  options.picture.width = kWidth;
  options.picture.height = kHeight;
  options.picture.losslessJpeg = true;
  options.frames = kFrames;
  return MakeArchive(options, ZipSinkTo(out));
}

/// A preview of a temporary recording, gone from its folder at the end.
class PreviewedClip {
 public:
  PreviewedClip(bool qorix, const DevelopOptions& options)
      : path_(std::filesystem::temp_directory_path() / ("settings_bench." + std::to_string(getpid()) + (qorix ? ".qorix" : ".zip"))) {
    std::ofstream out(path_, std::ios::binary);
    const bool written = qorix ? WriteQorix(&out) : WriteLosslessArchive(&out);
    out.close();
    if (written && out) preview_ = ClipPreview::Open(path_, options, {});
  }
  ~PreviewedClip() {
    preview_.reset();
    std::filesystem::remove(path_);
  }
  bool Render(const DevelopOptions& options) {
    uint8_t* pixels = nullptr;
    int32_t width = 0, height = 0;
    if (preview_ == nullptr || preview_->Render(options, kFrames / 2, &pixels, &width, &height) != 0) return false;
    FreePreviewPixels(pixels);
    return width == kWidth / 4 && height == kHeight / 4;
  }

 private:
  std::filesystem::path path_;
  std::unique_ptr<ClipPreview> preview_;
};

void RenderAfterExposureChange(benchmark::State& state, bool qorix, Demosaic method) {
  DevelopOptions options;
  options.outputCurve = 2;
  options.demosaic = int32_t(method);
  PreviewedClip clip(qorix, options);
  if (!clip.Render(options)) return state.SkipWithError("no preview");
  for (auto _ : state) {
    options.exposureEv = options.exposureEv < 1 ? options.exposureEv + 0.05f : 0;
    if (!clip.Render(options)) return state.SkipWithError("not rendered");
  }
}

BENCHMARK_CAPTURE(RenderAfterExposureChange, qorix, true, Demosaic::kGradient5x5)
    ->Name("Preview/qorix, 5x5")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(RenderAfterExposureChange, qorixRefined, true, Demosaic::kAhdRefined)
    ->Name("Preview/qorix, AHD refined")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(RenderAfterExposureChange, lj92, false, Demosaic::kGradient5x5)
    ->Name("Preview/LJ92, 5x5")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(RenderAfterExposureChange, lj92Refined, false, Demosaic::kAhdRefined)
    ->Name("Preview/LJ92, AHD refined")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
