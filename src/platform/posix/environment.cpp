#include "platform/environment.h"

#include <cstdlib>
#include <cstring>

namespace qx {

std::optional<std::string> ReadEnvironment(const char* name, size_t bufferSize) {
  const char* value = std::getenv(name);
  if (value == nullptr || std::strlen(value) >= bufferSize) return std::nullopt;
  return std::string(value);
}

}  // namespace qx
