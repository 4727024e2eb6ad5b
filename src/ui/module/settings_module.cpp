#include "ui/module/settings_module.h"

#include "platform/module.h"
#include "platform/path.h"

namespace qx {

int RunSourceSettingsDialog(const SettingsDialogRequest& request, DevelopOptions* options, bool* useForNewClips, Message message) {
  return RunSettingsModule(OwnModuleFolder() / kSettingsModuleName, request, options, useForNewClips, message);
}

int RunSettingsModule(const std::filesystem::path& module, const SettingsDialogRequest& request, DevelopOptions* options,
                      bool* useForNewClips, Message message) {
  MessageBuffer<512> reason;
  void* const loaded = LoadSharedModule(module, reason);
  if (loaded == nullptr) return message.Fail("no settings window: %s", reason.text());
  const auto run = reinterpret_cast<SettingsModuleFunction>(FindModuleSymbol(loaded, kSettingsModuleFunction));
  if (run == nullptr) return message.Fail("no settings window: %s is not a settings module", Utf8FromPath(module).c_str());

  const std::string clipPath = Utf8FromPath(request.clipPath);
  char failure[512] = {};
  SettingsModuleCall call;
  call.ownerWindow = request.ownerWindow;
  call.clipPath = clipPath.c_str();
  call.languageIndex = request.languageIndex;
  call.preview = request.preview;
  call.options = options;
  call.message = failure;
  call.messageBytes = sizeof failure;
  const int32_t result = run(&call);
  if (result == kSettingsModuleMismatch) {
    return message.Fail("no settings window: %s belongs to another version of the plug-in", Utf8FromPath(module).c_str());
  }
  if (result < 0) return message.Fail("no settings window: %s", failure);
  if (result == 1) *useForNewClips = call.useForNewClips != 0;
  return result == 1 ? 1 : 0;
}

}  // namespace qx
