#include "platform/file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace qx {

namespace {

constexpr uint64_t kLargestRead = 0x40000000;
constexpr uint64_t kSecondsFrom1601To1970 = 11644473600;

}  // namespace

bool File::Open(const std::filesystem::path& path) {
  Close();
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  struct stat info;
  if (::fstat(descriptor, &info) != 0 || S_ISDIR(info.st_mode)) {
    ::close(descriptor);
    return false;
  }
  const off_t end = ::lseek(descriptor, 0, SEEK_END);
  handle_ = descriptor;
  size_ = end > 0 ? uint64_t(end) : 0;
  return true;
}

void File::Close() {
  if (isOpen()) ::close(int(handle_));
  handle_ = kInvalidHandle;
  size_ = 0;
}

uint64_t File::ReadAt(uint64_t offset, void* out, uint64_t count) const {
  uint64_t done = 0;
  while (done < count) {
    const size_t piece = size_t(std::min(count - done, kLargestRead));
    const ssize_t got = ::pread(int(handle_), static_cast<char*>(out) + done, piece, off_t(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += uint64_t(got);
  }
  return done;
}

bool ReadFileState(const std::filesystem::path& path, FileState* state) {
  struct stat info;
  if (::stat(path.c_str(), &info) != 0) return false;
  state->size = uint64_t(info.st_size);
  state->lastWriteTime = (uint64_t(info.st_mtim.tv_sec) + kSecondsFrom1601To1970) * 10000000 + uint64_t(info.st_mtim.tv_nsec) / 100;
  return true;
}

}  // namespace qx
