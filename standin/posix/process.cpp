#include "standin/process.h"

#include <stdlib.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>

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

int OpenHandlesOf(const std::string& path) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    count += std::filesystem::read_symlink(entry.path(), error) == path;
  }
  return count;
}

int ThreadsNamed(const std::string& wanted) {
  int count = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::ifstream in(task.path() / "comm");
    std::getline(in, name);
    count += name == wanted;
  }
  return count;
}

}  // namespace standin
