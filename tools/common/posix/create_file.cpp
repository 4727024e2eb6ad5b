#include "tools/common/paths.h"

namespace tool {

std::FILE* CreateBinaryFile(const std::filesystem::path& path) {
  return std::fopen(path.c_str(), "wb");
}

}  // namespace tool
