#include "platform/shared_library.h"

#include <dlfcn.h>

namespace qx {

void* LoadSystemLibrary(const char* name) {
  return dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

void* FindSymbol(void* library, const char* name) {
  return library != nullptr ? dlsym(library, name) : nullptr;
}

}  // namespace qx
