// The asynchronous importer that the host may create on a clip.
#pragma once

#include <cstdint>

#include "host/records.h"

namespace qx {

/// Gives the host the entry and a reference on the clip: 0, or 5 when the handle does not lead to a clip.
int32_t CreateAsyncImporter(host::AsyncImporterCreationRec* record);

/// The entry itself. Calls may run at the same time, except close.
int32_t AsyncImporterEntry(int32_t selector, void* param);

}  // namespace qx
