#include "platform/module.h"

#include <dlfcn.h>

namespace qx {

std::filesystem::path OwnModuleFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&OwnModuleFolder), &info) == 0 || info.dli_fname == nullptr) return {};
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(info.dli_fname, error);
  return error ? std::filesystem::path() : path.parent_path();
}

void* LoadSharedModule(const std::filesystem::path& path, Message message) {
  void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (module == nullptr) message.Set("%s", dlerror());
  return module;
}

void* FindModuleSymbol(void* module, const char* name) {
  return dlsym(module, name);
}

}  // namespace qx
