// The user's settings for new clips.
#pragma once

#include "pipeline/develop_options.h"

namespace qx {

/// What the user saved, or the built-in defaults when that is missing, unreadable or no valid block. Any thread.
void LoadDefaultOptions(DevelopOptions* options);

/// Saves the options as a settings block of generation 0. A failure changes nothing and is not reported. Any thread.
void SaveDefaultOptions(const DevelopOptions& options);

}  // namespace qx
