#include "platform/file.h"

#include <windows.h>

#include <algorithm>

#include "platform/win32/wide_text.h"

namespace qx {

namespace {

constexpr uint64_t kLargestRead = 0x40000000;

HANDLE HandleOf(int64_t handle) {
  return reinterpret_cast<HANDLE>(intptr_t(handle));
}

uint64_t Joined(DWORD high, DWORD low) {
  return (uint64_t(high) << 32) | low;
}

}  // namespace

bool File::Open(const std::filesystem::path& path) {
  Close();
  // Folders do not open without a flag of their own.
  const HANDLE handle =
      CreateFileW(SystemPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER size;
  if (GetFileSizeEx(handle, &size) == 0) {
    CloseHandle(handle);
    return false;
  }
  handle_ = reinterpret_cast<intptr_t>(handle);
  size_ = uint64_t(size.QuadPart);
  return true;
}

void File::Close() {
  if (isOpen()) CloseHandle(HandleOf(handle_));
  handle_ = kInvalidHandle;
  size_ = 0;
}

uint64_t File::ReadAt(uint64_t offset, void* out, uint64_t count) const {
  uint64_t done = 0;
  while (done < count) {
    // The offset travels with the read, so threads may share the handle. A read at or past the end fails with ERROR_HANDLE_EOF.
    OVERLAPPED place = {};
    place.Offset = DWORD(offset + done);
    place.OffsetHigh = DWORD((offset + done) >> 32);
    DWORD got = 0;
    const DWORD piece = DWORD(std::min(count - done, kLargestRead));
    if (ReadFile(HandleOf(handle_), static_cast<char*>(out) + done, piece, &got, &place) == 0 || got == 0) break;
    done += got;
  }
  return done;
}

bool ReadFileState(const std::filesystem::path& path, FileState* state) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (GetFileAttributesExW(SystemPath(path).c_str(), GetFileExInfoStandard, &data) == 0) return false;
  state->size = Joined(data.nFileSizeHigh, data.nFileSizeLow);
  state->lastWriteTime = Joined(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime);
  return true;
}

}  // namespace qx
