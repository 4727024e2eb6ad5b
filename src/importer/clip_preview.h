// The settings window's live picture: a second clip on the same file, developed with the settings being tried.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "base/message.h"
#include "pipeline/clip.h"
#include "ui/source_settings_dialog.h"

namespace qx {

/// Belongs to one window. One call at a time; the window's preview thread makes them.
class ClipPreview {
 public:
  /// Null with a message when the file cannot be opened with these options.
  static std::unique_ptr<ClipPreview> Open(const std::filesystem::path& path, DevelopOptions options, Message message);

  /// RenderPreview as the window calls it. Valid as long as the preview lives.
  SettingsPreview ForWindow();

  /// As SettingsPreview::render tells.
  [[nodiscard]] int Render(DevelopOptions options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height);

 private:
  explicit ClipPreview(std::filesystem::path path) : path_(std::move(path)) {}
  int Apply(const DevelopOptions& options);

  std::filesystem::path path_;
  ClipPtr clip_;
  ClipInfo info_;
  DevelopOptions applied_;
};

/// Render of the ClipPreview that `context` points to.
[[nodiscard]] int RenderPreview(void* context, const DevelopOptions& options, int64_t frame, uint8_t** pixels, int32_t* width,
                                int32_t* height);
/// Frees what RenderPreview gave. Null is ignored.
void FreePreviewPixels(uint8_t* pixels);

}  // namespace qx
