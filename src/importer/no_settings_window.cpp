// Stands in for the settings window until the plug-in is linked with one: it can not be shown.
#include "ui/source_settings_dialog.h"

namespace qx {

__attribute__((weak)) int RunSourceSettingsDialog(const SettingsDialogRequest&, DevelopOptions*, bool*, Message message) {
  return message.Fail("this build has no settings window");
}

}  // namespace qx
