// Pictures of the Windows settings window in a few languages, over a recording's own frames: settings_screenshots RECORDING FOLDER
#include <png.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <string>
#include <thread>

#include "tests/probe/preview_clip.h"
#include "tests/ui/win32/open_dialog.h"
#include "ui/settings_labels.h"
#include "ui/settings_layout.h"

namespace {

// The middle of the preview is black until its picture has arrived.
qx::Pixels CaptureWithPicture(const qx::OpenDialog& dialog) {
  const RECT place = dialog.PlaceOf(qx::kPreviewPicture);
  const int x = int(place.left + place.right) / 2, y = int(place.top + place.bottom) / 2;
  qx::Pixels pixels = dialog.Capture();
  while (pixels.At(x, y) == RGB(0, 0, 0)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    pixels = dialog.Capture();
  }
  return pixels;
}

bool WritePng(const std::string& file, qx::Pixels pixels) {
  for (size_t i = 3; i < pixels.bgra.size(); i += 4) pixels.bgra[i] = 255;  // what the screen leaves there is no opacity
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = png_uint_32(pixels.width);
  image.height = png_uint_32(pixels.height);
  image.format = PNG_FORMAT_BGRA;
  return png_image_write_to_file(&image, file.c_str(), 0, pixels.bgra.data(), 0, nullptr) != 0;
}

}  // namespace

int main(int argc, char** argv) {
  // The usual window, the mirrored one, and long words; Wine's bold font lacks the scripts of other languages.
  constexpr const char* kPictured[] = {"en", "ar", "de"};
  qx::PreviewClip clip;
  if (!qx::OpenForPictures(argc, argv, &clip)) return 1;
  const qx::SettingsPreview preview = clip.description();
  for (const std::string code : kPictured) {
    const std::string file = std::string(argv[2]) + "/" + code + ".png";
    const auto language = std::find(std::begin(qx::kLanguageCodes), std::end(qx::kLanguageCodes), code) - std::begin(qx::kLanguageCodes);
    const qx::SettingsDialogRequest request{nullptr, argv[1], int32_t(language), &preview};
    if (!WritePng(file, CaptureWithPicture({request, qx::PicturedOptions()}))) {
      fprintf(stderr, "%s cannot be written\n", file.c_str());
      return 1;
    }
    puts(file.c_str());
  }
  return 0;
}
