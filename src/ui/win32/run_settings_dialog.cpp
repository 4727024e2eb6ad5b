#include <windows.h>
// Beneath windows.h, whose types it uses.
#include <commctrl.h>

#include <system_error>

#include "ui/source_settings_dialog.h"
#include "ui/win32/dark_theme.h"
#include "ui/win32/settings_dialog.h"

namespace qx {

int RunSourceSettingsDialog(const SettingsDialogRequest& request, DevelopOptions* options, bool* useForNewClips, Message message) {
  const NewCommonControls newControls;
  const INITCOMMONCONTROLSEX classes = {sizeof(classes), ICC_BAR_CLASSES | ICC_UPDOWN_CLASS | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&classes);
  AllowDarkApplication();
  SettingsDialog dialog(request, *options);
  const int result = dialog.Run();
  if (result == SettingsDialog::kOutOfMemory) return message.Fail("no settings window: out of memory");
  if (result == SettingsDialog::kFaulted) {
    message.Fail("settings window closed: exception %08x", dialog.fault());
    return kSettingsWindowFaulted;
  }
  if (result < 0) return message.Fail("no settings window: %s", std::system_category().message(int(GetLastError())).c_str());
  if (result != 1) return 0;
  *options = dialog.model().options();
  *useForNewClips = dialog.model().useForNewClips();
  return 1;
}

}  // namespace qx
