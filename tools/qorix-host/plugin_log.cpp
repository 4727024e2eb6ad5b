#include "plugin_log.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

#include "standin/process.h"

namespace tool {

namespace {

constexpr char kVariable[] = "QORIX_IMPORT_LOG";

std::string TemporaryPath() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  return (folder / ("qorix-host-" + std::to_string(std::random_device()()) + ".log")).string();
}

}  // namespace

PluginLog::PluginLog() {
  path_ = standin::ReadVariable(kVariable);
  temporary_ = path_.empty();
  if (temporary_) {
    path_ = TemporaryPath();
    standin::SetVariable(kVariable, path_);
  }
  std::error_code error;
  const uintmax_t size = std::filesystem::file_size(path_, error);
  if (!error) read_ = int64_t(size);
}

PluginLog::~PluginLog() {
  std::error_code error;
  if (temporary_) std::filesystem::remove(path_, error);
}

std::vector<std::string> PluginLog::Take(const std::string& prefix) {
  std::vector<std::string> messages;
  std::ifstream in(path_, std::ios::binary);
  in.seekg(read_);
  for (std::string line; std::getline(in, line);) {
    read_ += int64_t(line.size()) + 1;
    const size_t end = line.find("] ");
    if (end == std::string::npos) continue;
    line.erase(0, end + 2);
    if (line.starts_with(prefix)) messages.push_back(line);
  }
  return messages;
}

}  // namespace tool
