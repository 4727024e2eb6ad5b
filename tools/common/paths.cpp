#include "tools/common/paths.h"

namespace tool {

std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

std::string CheckFileExists(const std::string& utf8) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(PathOf(utf8), error);
  if (!std::filesystem::exists(status)) return "File does not exist: " + utf8;
  return std::filesystem::is_directory(status) ? "File is actually a directory: " + utf8 : "";
}

}  // namespace tool
