// The settings window of a clip, as the plug-in opens it.
#pragma once

#include <cstdint>
#include <filesystem>

#include "base/message.h"
#include "pipeline/develop_options.h"

namespace qx {

/// How the window gets its live picture. The caller keeps what `context` points to until the window is closed.
struct SettingsPreview {
  void* context = nullptr;
  int64_t frameCount = 0;
  int32_t fpsNumerator = 0, fpsDenominator = 0;
  /// Develops `frame` (clamped to the clip) with `options`. 0: `pixels` holds `width` × `height` BGRA pixels of 8 bits, bottom row first,
  /// rows packed, which the caller frees with `freePixels`. −1: no picture. Called on the window's preview thread, one call at a time.
  int (*render)(void* context, const DevelopOptions& options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height) = nullptr;
  void (*freePixels)(uint8_t* pixels) = nullptr;
};

struct SettingsDialogRequest {
  void* ownerWindow = nullptr;  // the system's handle of the window to be centred on, or null
  std::filesystem::path clipPath;
  int32_t languageIndex = 0;                 // row of the label table
  const SettingsPreview* preview = nullptr;  // null: no picture
};

/// Shows the window and returns when it is closed. 1: confirmed, `options` and `useForNewClips` hold the user's choice. 0: cancelled, both
/// unchanged. −1 with a message: no window can be shown here (no toolkit, no display). kSettingsWindowFaulted with a message: a machine
/// fault in it has closed it. Call it on the host's user-interface thread.
using SettingsDialogFunction = int (*)(const SettingsDialogRequest& request, DevelopOptions* options, bool* useForNewClips,
                                       Message message);

constexpr int kSettingsWindowFaulted = -2;

[[nodiscard]] int RunSourceSettingsDialog(const SettingsDialogRequest& request, DevelopOptions* options, bool* useForNewClips,
                                          Message message);

}  // namespace qx
