// Asking the host to read a file again.
#pragma once

#include <string>

#include "host/suites.h"

namespace qx {

/// Remembers the host's basic suite, which lives as long as the process, for RefreshClip. Null is ignored. Any thread.
void KeepBasicSuite(const host::SPBasicSuite* basic);

/// Has the host ask for the clip's info and frames again. It does so later; this returns at once. Any thread.
void RefreshClip(const std::u16string& path);

}  // namespace qx
