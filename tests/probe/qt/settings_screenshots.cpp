// Pictures of the settings window in every language, over a recording's own frames: settings_screenshots RECORDING FOLDER
// Needs no display: QT_QPA_PLATFORM=offscreen.

#include <QApplication>
#include <QImage>
#include <QList>
#include <QStyleFactory>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "pipeline/clip.h"
#include "ui/qt/settings_dialog.h"

namespace {

struct PreviewClip {
  std::filesystem::path path;
  int64_t frameCount = 0;
  int32_t fpsNumerator = 0, fpsDenominator = 0;
};

int Render(void* context, const qx::DevelopOptions& options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height) {
  const auto& preview = *static_cast<const PreviewClip*>(context);
  qx::ClipInfo info;
  const qx::ClipPtr clip(qx::OpenClip(preview.path, &options, &info, {}));
  if (clip == nullptr) return -1;
  *width = info.fullWidth;
  *height = info.fullHeight;
  const uint32_t rowBytes = uint32_t(*width) * 4;
  *pixels = static_cast<uint8_t*>(std::malloc(size_t(rowBytes) * size_t(*height)));
  if (*pixels == nullptr) return -1;
  return qx::GetFrame(clip.get(), frame, frame, qx::kFullSize, qx::OutputPixelFormat::kBgra8, *pixels, rowBytes, nullptr, nullptr);
}

void FreePixels(uint8_t* pixels) {
  std::free(pixels);
}

// Runs the event loop until the preview thread has delivered.
void WaitForPicture(const qx::SettingsDialog& dialog) {
  bool arrived = false;
  while (!arrived) {
    QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    dialog.model().WithPicture([&](const qx::PreviewPicture&) { arrived = true; });
  }
}

// 256 colours for a smaller file: those of the window itself exactly, then those that stand for most of the preview's pixels, counted in
// cubes of 16 levels a side.
QList<QRgb> FrequentColors(const QImage& picture) {
  constexpr int kExactColors = 64;
  std::map<QRgb, int> counts;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) ++counts[picture.pixel(x, y)];
  }
  std::vector<std::pair<int, QRgb>> exact, cubes(16 * 16 * 16);
  for (const auto& [color, count] : counts) {
    exact.emplace_back(count, color);
    auto& [cubeCount, cubeColor] = cubes[size_t(qRed(color) / 16 * 256 + qGreen(color) / 16 * 16 + qBlue(color) / 16)];
    if (count > counts[cubeColor]) cubeColor = color;
    cubeCount += count;
  }
  std::sort(exact.rbegin(), exact.rend());
  std::sort(cubes.rbegin(), cubes.rend());
  QList<QRgb> colors;
  for (int i = 0; i < kExactColors && size_t(i) < exact.size(); ++i) colors.push_back(exact[size_t(i)].second);
  for (const auto& [count, color] : cubes) {
    if (count > 0 && colors.size() < 256 && !colors.contains(color)) colors.push_back(color);
  }
  return colors;
}

bool TakePicture(const qx::SettingsDialogRequest& request, const std::string& file, QStyle* style) {
  qx::DevelopOptions options;
  options.outputCurve = 2;
  options.whiteBalanceOn = 1;
  options.kelvin = 5600;
  options.exposureEv = -0.7f;
  options.demosaic = 3;
  qx::SettingsDialog dialog(request, options, style);
  dialog.show();
  WaitForPicture(dialog);
  const QImage picture = dialog.grab().toImage().convertToFormat(QImage::Format_RGB32);
  return picture.convertToFormat(QImage::Format_Indexed8, FrequentColors(picture), Qt::ThresholdDither | Qt::AvoidDither)
      .save(QString::fromStdString(file), "PNG", 0);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: settings_screenshots RECORDING FOLDER\n");
    return 2;
  }
  PreviewClip preview{argv[1]};
  {
    qx::ClipInfo info;
    qx::MessageBuffer<256> message;
    const qx::ClipPtr clip(qx::OpenClip(preview.path, nullptr, &info, message));
    if (clip == nullptr) {
      fprintf(stderr, "%s: %s\n", argv[1], message.text());
      return 1;
    }
    preview.frameCount = info.frameCount;
    preview.fpsNumerator = info.fpsNumerator;
    preview.fpsDenominator = info.fpsDenominator;
  }
  const qx::SettingsPreview description{&preview, preview.frameCount, preview.fpsNumerator, preview.fpsDenominator, Render, FreePixels};
  const QApplication application(argc, argv);
  const std::unique_ptr<QStyle> style(QStyleFactory::create("Fusion"));
  for (int language = 0; language < qx::kLanguageCount; ++language) {
    const std::string file = std::string(argv[2]) + "/" + qx::kLanguageCodes[language] + ".png";
    if (!TakePicture({nullptr, preview.path, language, &description}, file, style.get())) {
      fprintf(stderr, "%s cannot be written\n", file.c_str());
      return 1;
    }
    puts(file.c_str());
  }
  return 0;
}
