// The one export of the Qt settings module.

#include <string>

#include "ui/module/settings_module.h"
#include "ui/qt/application.h"
#include "ui/qt/settings_dialog.h"

namespace {

int Run(qx::SettingsModuleCall* call) {
  qx::SettingsDialogRequest request;
  request.ownerWindow = call->ownerWindow;
  const std::u8string clipPath(reinterpret_cast<const char8_t*>(call->clipPath));
  request.clipPath = std::filesystem::path(clipPath);
  request.languageIndex = call->languageIndex;
  request.preview = call->preview;
  bool useForNewClips = false;
  const qx::Message message(call->message, call->messageBytes);
  const int result = qx::RunWithApplication([&] { return qx::RunSettingsDialog(request, call->options, &useForNewClips); }, message);
  call->useForNewClips = useForNewClips ? 1 : 0;
  return result;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t qorix_run_settings(qx::SettingsModuleCall* call) {
  if (call->version != qx::kSettingsModuleVersion || call->callBytes != sizeof(qx::SettingsModuleCall) ||
      call->optionsBytes != sizeof(qx::DevelopOptions) || call->previewBytes != sizeof(qx::SettingsPreview)) {
    return qx::kSettingsModuleMismatch;
  }
  try {
    return Run(call);
  } catch (...) {
    return qx::Message(call->message, call->messageBytes).Fail("out of memory");
  }
}
