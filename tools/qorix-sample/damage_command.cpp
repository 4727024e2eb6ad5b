#include <fmt/core.h>

#include "commands.h"
#include "part_file.h"

namespace tool {

namespace {

constexpr size_t kOffsetsShown = 20;

bool Apply(const DamageOptions& options, const std::filesystem::path& file, std::vector<uint64_t>* flipped) {
  for (const auto& [begin, end] : options.zeros) {
    if (!qx::ZeroRange(file, begin, end)) return false;
  }
  if (options.flips > 0 && !qx::FlipBytes(file, options.flips, options.seed, flipped)) return false;
  return !options.cut || qx::CutFile(file, *options.cut);
}

}  // namespace

int RunDamage(const DamageOptions& options) {
  if (options.zeros.empty() && options.flips == 0 && !options.cut && !options.chunks.Any()) {
    return Fail(kUsage, "nothing to do: give --cut-at, --flip or --zero, or damage for the chunks of a .qorix recording");
  }
  std::error_code error;
  const uint64_t sizeBefore = std::filesystem::file_size(options.input, error);
  if (error) return Fail(kReadFailed, options.input.string() + ": " + error.message());
  PartFile file(options.output);
  if (options.chunks.Any()) {
    const std::string reason = CopyWithDamagedChunks(options.input, options.chunks, file.partPath());
    if (!reason.empty()) return Fail(kReadFailed, reason);
  } else {
    std::filesystem::copy_file(options.input, file.partPath(), std::filesystem::copy_options::overwrite_existing, error);
  }
  std::vector<uint64_t> flipped;
  if (error || !Apply(options, file.partPath(), &flipped) || !file.Commit()) {
    return Fail(kWriteFailed, options.output.string() + ": cannot be written");
  }
  for (size_t i = 0; i < flipped.size() && i < kOffsetsShown; ++i) fmt::print("changed byte {}\n", flipped[i]);
  if (flipped.size() > kOffsetsShown) fmt::print("… and {} more\n", flipped.size() - kOffsetsShown);
  fmt::print("{}: {} of {} bytes\n", options.output.string(), std::filesystem::file_size(options.output, error), sizeBefore);
  return kOk;
}

}  // namespace tool
