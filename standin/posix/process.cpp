#include <stdlib.h>
#include <sys/resource.h>

#include <filesystem>

#include "standin/process.h"

namespace standin {

std::string DefaultImporterPath() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path() / "qorix-importer.so").string();
}

std::string ReadVariable(const char* name) {
  const char* const value = getenv(name);
  return value != nullptr ? value : "";
}

void SetVariable(const char* name, const std::string& value) {
  setenv(name, value.c_str(), 1);
}

uint64_t PeakMemoryBytes() {
  rusage usage;
  return getrusage(RUSAGE_SELF, &usage) == 0 ? uint64_t(usage.ru_maxrss) * 1024 : 0;
}

}  // namespace standin
