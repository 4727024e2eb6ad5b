// A file that appears under its name only when it is complete.
#pragma once

#include <filesystem>
#include <fstream>

#include "samples/zip_writer.h"

namespace tool {

/// Bytes go to NAME.part; Commit() gives it the name. Without Commit() the part is removed and an existing file NAME stays as it was.
class PartFile {
 public:
  explicit PartFile(std::filesystem::path path);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  /// Where the bytes lie until Commit().
  const std::filesystem::path& partPath() const { return partPath_; }
  /// Opens the part, empty, and returns a sink into it. The sink returns false when the part cannot be opened or written.
  qx::ZipSink Open();
  /// Ends writing; false when something could not be written. The part may be changed by others afterwards.
  bool Close();
  /// Closes and renames. False when that, or a write before it, failed: the old file then stays.
  bool Commit();

 private:
  std::filesystem::path path_, partPath_;
  std::ofstream stream_;
  bool committed_ = false;
};

}  // namespace tool
