#include <sys/resource.h>

#include <filesystem>

#include "standin/process.h"

namespace standin {

std::string DefaultImporterPath() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path() / "qorix-importer.so").string();
}

uint64_t PeakMemoryBytes() {
  rusage usage;
  return getrusage(RUSAGE_SELF, &usage) == 0 ? uint64_t(usage.ru_maxrss) * 1024 : 0;
}

}  // namespace standin
