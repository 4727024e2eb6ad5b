#include "platform/path.h"

#include "base/utf.h"

namespace qx {

std::filesystem::path PathFromUtf16(std::u16string_view text) {
  const std::string utf8 = Utf8FromUtf16(text);
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

std::string Utf8FromPath(const std::filesystem::path& path) {
  const std::u8string utf8 = path.u8string();
  return std::string(utf8.begin(), utf8.end());
}

}  // namespace qx
