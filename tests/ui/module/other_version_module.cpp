// A settings module that says it was built for another version of the plug-in.

#include "ui/module/settings_module.h"

extern "C" __attribute__((visibility("default"))) int32_t qorix_run_settings(qx::SettingsModuleCall*) {
  return qx::kSettingsModuleMismatch;
}
