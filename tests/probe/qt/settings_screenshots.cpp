// Pictures of the settings window in every language, over a recording's own frames: settings_screenshots RECORDING FOLDER
// Needs no display: QT_QPA_PLATFORM=offscreen.

#include <QApplication>
#include <QImage>
#include <QList>
#include <QStyleFactory>
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/probe/preview_clip.h"
#include "ui/qt/settings_dialog.h"

namespace {

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
  qx::SettingsDialog dialog(request, qx::PicturedOptions(), style);
  dialog.show();
  WaitForPicture(dialog);
  const QImage picture = dialog.grab().toImage().convertToFormat(QImage::Format_RGB32);
  return picture.convertToFormat(QImage::Format_Indexed8, FrequentColors(picture), Qt::ThresholdDither | Qt::AvoidDither)
      .save(QString::fromStdString(file), "PNG", 0);
}

}  // namespace

int main(int argc, char** argv) {
  qx::PreviewClip clip;
  if (!qx::OpenForPictures(argc, argv, &clip)) return 1;
  const qx::SettingsPreview preview = clip.description();
  const QApplication application(argc, argv);
  const std::unique_ptr<QStyle> style(QStyleFactory::create("Fusion"));
  for (int language = 0; language < qx::kLanguageCount; ++language) {
    const std::string file = std::string(argv[2]) + "/" + qx::kLanguageCodes[language] + ".png";
    if (!TakePicture({nullptr, argv[1], language, &preview}, file, style.get())) {
      fprintf(stderr, "%s cannot be written\n", file.c_str());
      return 1;
    }
    puts(file.c_str());
  }
  return 0;
}
