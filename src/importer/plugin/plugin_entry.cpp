// The exported entry of the plug-in; everything else stays hidden. What is exported is the linker's list to say (exports.map,
// win32/exports.def).
#include "importer/entry.h"

extern "C" int32_t xImportEntry(int32_t selector, qx::host::StdParms* parms, void* param1, void* param2) {
  return qx::ImporterEntry(selector, parms, param1, param2);
}
