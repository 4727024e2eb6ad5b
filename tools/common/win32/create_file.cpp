#include "tools/common/paths.h"

namespace tool {

std::FILE* CreateBinaryFile(const std::filesystem::path& path) {
  return _wfopen(path.c_str(), L"wb");
}

}  // namespace tool
