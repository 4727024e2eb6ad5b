#include "platform/module.h"

#include <windows.h>

#include <string>
#include <system_error>

#include "platform/win32/own_instance.h"
#include "platform/win32/wide_text.h"

namespace qx {

HINSTANCE OwnInstance() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&OwnInstance), &module);
  return module;
}

std::filesystem::path OwnModuleFolder() {
  const HMODULE module = OwnInstance();
  if (module == nullptr) return {};
  std::wstring path(32768, L'\0');  // the longest that Windows knows
  path.resize(GetModuleFileNameW(module, path.data(), DWORD(path.size())));
  return std::filesystem::path(path).parent_path();
}

void* LoadSharedModule(const std::filesystem::path& path, Message message) {
  const HMODULE module = LoadLibraryW(SystemPath(path).c_str());
  if (module == nullptr) message.Set("%s", std::system_category().message(int(GetLastError())).c_str());
  return module;
}

void* FindModuleSymbol(void* module, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

}  // namespace qx
