#include "samples/wrap_dng.h"

#include <fstream>
#include <system_error>

namespace qx {

namespace {

/// TIFF 6.0: byte order, then 42 in it.
bool LooksLikeTiff(const std::vector<uint8_t>& bytes) {
  if (bytes.size() < 8) return false;
  const std::string head(bytes.begin(), bytes.begin() + 4);
  return head == std::string("II*\0", 4) || head == std::string("MM\0*", 4);
}

}  // namespace

std::optional<std::vector<uint8_t>> ReadWholeFile(const std::filesystem::path& file) {
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(file, error);
  std::ifstream stream(file, std::ios::binary);
  if (error || !stream) return std::nullopt;
  std::vector<uint8_t> bytes(size);
  stream.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(size));
  if (uint64_t(stream.gcount()) != size) return std::nullopt;
  return bytes;
}

bool WrapDngFiles(const std::vector<std::filesystem::path>& files, const RecordingOptions& options,
                  const std::vector<std::pair<std::string, std::vector<uint8_t>>>& members, ZipSink sink, const ArchiveProgress& progress,
                  std::string* error) {
  RecordingWriter writer(options, std::move(sink));
  bool written = true;
  for (size_t i = 0; i < files.size() && written; ++i) {
    const std::optional<std::vector<uint8_t>> dng = ReadWholeFile(files[i]);
    if (!dng || !LooksLikeTiff(*dng)) {
      *error = files[i].string() + (dng ? ": is no DNG file" : ": cannot be read");
      return false;
    }
    written = writer.AddFrame(int64_t(i), *dng);
    if (progress) progress(i + 1, files.size());
  }
  for (const auto& [name, bytes] : members) written = written && writer.AddMember(name, bytes);
  written = written && writer.Finish();
  if (!written) *error = "the archive could not be written";
  return written;
}

}  // namespace qx
