// A recording as the settings window previews it, without a host around.
#pragma once

#include <filesystem>

#include "base/message.h"
#include "ui/source_settings_dialog.h"

namespace qx {

/// Every picture opens the recording anew.
class PreviewClip {
 public:
  /// False with a message when `path` is no recording.
  [[nodiscard]] bool Open(const std::filesystem::path& path, Message message);

  /// What the window asks; this object outlives it.
  SettingsPreview description();

 private:
  static int Render(void* context, const DevelopOptions& options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height);

  std::filesystem::path path_;
  int64_t frameCount_ = 0;
  int32_t fpsNumerator_ = 0, fpsDenominator_ = 0;
};

/// For the main functions: opens the recording of the command line RECORDING FOLDER, or says what is wrong.
[[nodiscard]] bool OpenForPictures(int argc, char** argv, PreviewClip* clip);

/// The settings that the documents' pictures show.
DevelopOptions PicturedOptions();

}  // namespace qx
