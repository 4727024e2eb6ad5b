// What is the same on every system.
#include "platform/file.h"

#include <utility>

namespace qx {

File::File(File&& other) noexcept : handle_(std::exchange(other.handle_, kInvalidHandle)), size_(std::exchange(other.size_, 0)) {}

File& File::operator=(File&& other) noexcept {
  std::swap(handle_, other.handle_);
  std::swap(size_, other.size_);
  return *this;
}

File::~File() {
  Close();
}

}  // namespace qx
