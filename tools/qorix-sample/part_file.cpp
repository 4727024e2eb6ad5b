#include "part_file.h"

#include <system_error>
#include <utility>

namespace tool {

PartFile::PartFile(std::filesystem::path path) : path_(std::move(path)), partPath_(path_) {
  partPath_ += ".part";
}

PartFile::~PartFile() {
  if (committed_) return;
  stream_.close();
  std::error_code ignored;
  std::filesystem::remove(partPath_, ignored);
}

qx::ZipSink PartFile::Open() {
  stream_.open(partPath_, std::ios::binary | std::ios::trunc);
  return qx::ZipSinkTo(&stream_);
}

bool PartFile::Close() {
  if (stream_.is_open()) stream_.close();  // sets the fail bit when the last bytes found no room
  return bool(stream_);
}

bool PartFile::Commit() {
  if (!Close()) return false;
  std::error_code error;
  std::filesystem::rename(partPath_, path_, error);
  committed_ = !error;
  return committed_;
}

}  // namespace tool
