#include <dlfcn.h>

#include "standin/module_loader.h"

namespace standin {

ImportEntry LoadImporter(const std::string& path, std::string* error) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const entry = library != nullptr ? dlsym(library, "xImportEntry") : nullptr;
  if (entry == nullptr) *error = dlerror();
  return reinterpret_cast<ImportEntry>(entry);
}

}  // namespace standin
