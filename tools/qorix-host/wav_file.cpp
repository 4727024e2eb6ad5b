#include "wav_file.h"

#include <bit>
#include <filesystem>
#include <string_view>
#include <utility>

namespace tool {

namespace {

static_assert(std::endian::native == std::endian::little, "samples are written in the processor's byte order");

constexpr uint64_t kLargest32 = 0xFFFFFFFF;

class Head {
 public:
  Head& Text(std::string_view text) {
    bytes_.append(text);
    return *this;
  }
  Head& Number(uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) bytes_.push_back(char(value >> (8 * i)));
    return *this;
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

}  // namespace

WavFile::WavFile(std::string path, uint32_t rate, uint16_t channels)
    : path_(std::move(path)), partPath_(path_ + ".part"), rate_(rate), channels_(channels), file_(std::fopen(partPath_.c_str(), "wb")) {
  ok_ = file_ != nullptr && WriteHead();
}

WavFile::~WavFile() {
  if (file_ == nullptr) return;
  std::fclose(file_);
  std::remove(partPath_.c_str());
}

bool WavFile::Append(const std::vector<std::vector<float>>& channels) {
  const size_t frames = channels.empty() ? 0 : channels[0].size();
  interleaved_.resize(frames * channels.size());
  for (size_t c = 0; c < channels.size(); ++c) {
    for (size_t i = 0; i < frames; ++i) interleaved_[i * channels.size() + c] = channels[c][i];
  }
  ok_ = ok_ && std::fwrite(interleaved_.data(), sizeof(float), interleaved_.size(), file_) == interleaved_.size();
  dataBytes_ += interleaved_.size() * sizeof(float);
  return ok_;
}

bool WavFile::Finish(std::string* error) {
  ok_ = ok_ && std::fseek(file_, 0, SEEK_SET) == 0 && WriteHead();
  if (file_ != nullptr) ok_ = std::fclose(std::exchange(file_, nullptr)) == 0 && ok_;
  std::error_code failed;
  if (ok_) std::filesystem::rename(partPath_, path_, failed);
  if (ok_ && !failed) return true;
  *error = path_ + ": " + (failed ? failed.message() : "cannot be written");
  std::remove(partPath_.c_str());
  return false;
}

// The place of the 64-bit sizes is taken from the beginning, so that a file that turns out long needs no rewriting.
bool WavFile::WriteHead() {
  const uint32_t block = uint32_t(sizeof(float)) * channels_;
  const uint64_t riffBytes = 4 + 36 + 26 + 12 + 8 + dataBytes_;
  const bool isLong = riffBytes >= kLargest32;
  Head head;
  head.Text(isLong ? "RF64" : "RIFF").Number(isLong ? kLargest32 : riffBytes, 4).Text("WAVE");
  head.Text(isLong ? "ds64" : "JUNK").Number(28, 4);
  head.Number(isLong ? riffBytes : 0, 8).Number(isLong ? dataBytes_ : 0, 8).Number(isLong ? dataBytes_ / block : 0, 8).Number(0, 4);
  head.Text("fmt ").Number(18, 4).Number(3, 2).Number(channels_, 2).Number(rate_, 4).Number(uint64_t(rate_) * block, 4);
  head.Number(block, 2).Number(32, 2).Number(0, 2);
  head.Text("fact").Number(4, 4).Number(isLong ? kLargest32 : dataBytes_ / block, 4);
  head.Text("data").Number(isLong ? kLargest32 : dataBytes_, 4);
  return std::fwrite(head.bytes().data(), 1, head.bytes().size(), file_) == head.bytes().size();
}

}  // namespace tool
