// Read-only files with positioned reads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "base/byte_source.h"

namespace qx {

/// One open descriptor on a file. Reads carry their own offset, are issued in pieces of at most 1 GiB and repeated until the wanted count
/// is there, the file ends or an error occurs. Move-only; ReadAt from any thread.
class File final : public ByteSource {
 public:
  File() = default;
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  ~File() override;

  /// Opens an existing file for reading; others may read it too. False when it cannot be opened or is a folder.
  [[nodiscard]] bool Open(const std::filesystem::path& path);
  void Close();
  bool isOpen() const { return handle_ != kInvalidHandle; }

  /// Size when it was opened.
  uint64_t size() const override { return size_; }
  uint64_t ReadAt(uint64_t offset, void* out, uint64_t count) const override;

  /// The operating system's own handle, widened; kInvalidHandle (all bits set) when closed. The host gets it as its file reference.
  int64_t nativeHandle() const { return handle_; }
  static constexpr int64_t kInvalidHandle = -1;

 private:
  int64_t handle_ = kInvalidHandle;
  uint64_t size_ = 0;
};

/// What changes when a file's content may have changed.
struct FileState {
  uint64_t size = 0;
  /// Last write time in the system's finest unit (100 ns since 1601 on Windows and natively alike).
  uint64_t lastWriteTime = 0;
};

/// By path, without opening. False when the file does not exist or its attributes cannot be read.
[[nodiscard]] bool ReadFileState(const std::filesystem::path& path, FileState* state);

}  // namespace qx
