// Taking over the settings that the host has stored with a clip.
#pragma once

#include "importer/importer_clip.h"

namespace qx {

/// Applies a stored settings block to the clip when its generation is not the one applied last; a block that the clip cannot take is not
/// tried again before that changes. `prefs` may be null; the host keeps 1,024 bytes there, as the importer asked. Frame requests may run
/// meanwhile: those that began before deliver the old settings. The host's info calls for one clip follow each other.
void ApplyStoredPrefs(ImporterClip* clip, const void* prefs);

}  // namespace qx
