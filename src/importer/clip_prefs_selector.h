// The host's questions for a clip's settings block: its size, its first contents, and what the user makes of them in the window.
#pragma once

#include <cstdint>

#include "host/records.h"
#include "ui/source_settings_dialog.h"

namespace qx {

enum class PrefsOperation { kClip, kInstance };  // imGetPrefs8, imGetInstancePrefs

/// Answers one call. `access` may be null: the path is then unknown. `showWindow` is RunSourceSettingsDialog, or what a test puts in its
/// place. 0 done, 5 the block is too small, 300 cancelled or no window can be shown. The host's user-interface thread.
int32_t AnswerPrefsSelector(PrefsOperation operation, const host::StdParms* parms, const host::FileAccessRec8* access,
                            host::GetPrefsRec* record, SettingsDialogFunction showWindow);

}  // namespace qx
