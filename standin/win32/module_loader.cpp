#include "standin/module_loader.h"

#include <windows.h>

#include <filesystem>
#include <system_error>

namespace standin {

ImportEntry LoadImporter(const std::string& path, std::string* error) {
  const std::filesystem::path native = std::u8string(path.begin(), path.end());
  const HMODULE library = LoadLibraryW(std::filesystem::path(native).make_preferred().c_str());
  const FARPROC entry = library != nullptr ? GetProcAddress(library, "xImportEntry") : nullptr;
  if (entry == nullptr) *error = path + ": " + std::system_category().message(int(GetLastError()));
  return reinterpret_cast<ImportEntry>(reinterpret_cast<void*>(entry));
}

}  // namespace standin
