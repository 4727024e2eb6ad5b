// The exported entry of the plug-in; everything else stays hidden.

#include "importer/entry.h"

#if defined(_WIN32)
#define QX_EXPORT __declspec(dllexport)
#else
#define QX_EXPORT __attribute__((visibility("default")))
#endif

extern "C" QX_EXPORT int32_t xImportEntry(int32_t selector, qx::host::StdParms* parms, void* param1, void* param2) {
  return qx::ImporterEntry(selector, parms, param1, param2);
}
