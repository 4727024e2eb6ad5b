// The host's user-interface language.
#pragma once

#include <string_view>

#include "host/suites.h"

namespace qx {

/// Index of a host language string such as "de_DE"; 0 (English) when none matches.
int MatchLanguage(std::string_view language);

/// Asks the host once per process; later calls do nothing. Any thread.
void QueryHostLanguage(const host::SPBasicSuite* basic);

/// What QueryHostLanguage found, 0 before.
int HostLanguage();

}  // namespace qx
