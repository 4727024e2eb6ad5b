// The line between the plug-in and the module that holds the settings window of a toolkit. The plug-in links no toolkit: it loads the
// module when a window is wanted, so that it works in hosts and on machines that have none.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "ui/source_settings_dialog.h"

namespace qx {

constexpr const char* kSettingsModuleName = "qorix-settings-qt.so";
constexpr const char* kSettingsModuleFunction = "qorix_run_settings";
/// Goes up with every change of SettingsModuleCall or of a type in it.
constexpr uint32_t kSettingsModuleVersion = 1;
constexpr int32_t kSettingsModuleMismatch = -2;

/// Filled by the plug-in; plain memory that outlives the call.
struct SettingsModuleCall {
  uint32_t version = kSettingsModuleVersion;
  uint32_t callBytes = sizeof(SettingsModuleCall), optionsBytes = sizeof(DevelopOptions), previewBytes = sizeof(SettingsPreview);
  void* ownerWindow = nullptr;
  const char* clipPath = nullptr;  // UTF-8
  int32_t languageIndex = 0;
  const SettingsPreview* preview = nullptr;
  DevelopOptions* options = nullptr;  // written on 1 only
  int32_t useForNewClips = 0;         // written on 1 only
  char* message = nullptr;            // written on -1
  size_t messageBytes = 0;
};

/// 1, 0, -1 as RunSourceSettingsDialog; kSettingsModuleMismatch when the module was built for another version.
using SettingsModuleFunction = int32_t (*)(SettingsModuleCall* call);

/// RunSourceSettingsDialog with the module in this file.
[[nodiscard]] int RunSettingsModule(const std::filesystem::path& module, const SettingsDialogRequest& request, DevelopOptions* options,
                                    bool* useForNewClips, Message message);

}  // namespace qx
