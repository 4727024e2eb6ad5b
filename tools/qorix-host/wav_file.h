// A WAV file of 32-bit floats that is written as the samples come.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tool {

/// Bytes go to NAME.part; Finish() gives the file its name. Without it the part is removed. Beyond 4 GiB the file becomes an RF64.
class WavFile {
 public:
  WavFile(std::string path, uint32_t rate, uint16_t channels);
  ~WavFile();
  WavFile(const WavFile&) = delete;
  WavFile& operator=(const WavFile&) = delete;

  /// One buffer per channel, all of the same length. False when something could not be written, now or before.
  bool Append(const std::vector<std::vector<float>>& channels);
  /// False with a reason.
  bool Finish(std::string* error);

 private:
  bool WriteHead();

  std::string path_, partPath_;
  uint32_t rate_;
  uint16_t channels_;
  std::FILE* file_;
  uint64_t dataBytes_ = 0;
  bool ok_;
  std::vector<float> interleaved_;
};

}  // namespace tool
