// Puts existing DNG files into a RAW-ZIP recording, so that people can try their own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "samples/archive_maker.h"

namespace qx {

/// Streams the files, unchanged and one in memory at a time, as the frames of slots 0, 1, 2, … to `sink`.
/// False with a reason when a file could not be read or the sink failed; the archive is then unfinished.
/// The frame rate of the options is what the index and the comment say; a FrameRate tag in the first DNG has precedence over the comment
/// when the recording is played.
bool WrapDngFiles(const std::vector<std::filesystem::path>& files, const RecordingOptions& options,
                  const std::vector<std::pair<std::string, std::vector<uint8_t>>>& members, ZipSink sink, const ArchiveProgress& progress,
                  std::string* error);

/// A whole file, or nothing when it cannot be read.
std::optional<std::vector<uint8_t>> ReadWholeFile(const std::filesystem::path& file);

}  // namespace qx
