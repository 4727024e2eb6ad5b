// The importer's one door, behind the exported name.
#pragma once

#include <cstdint>

#include "host/records.h"

namespace qx {

/// Handles one selector of the host. No exception and no machine fault leaves it: both become result 5. Any thread.
int32_t ImporterEntry(int32_t selector, host::StdParms* parms, void* param1, void* param2);

}  // namespace qx
