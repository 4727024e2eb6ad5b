#include <fmt/core.h>

#include <chrono>

#include "commands.h"
#include "part_file.h"
#include "samples/wrap_dng.h"
#include "sound_options.h"
#include "tools/common/progress.h"

namespace tool {

namespace {

using Members = std::vector<std::pair<std::string, std::vector<uint8_t>>>;

/// Adds the sound file as a member named after the recording. True when there is none to add.
bool AddSound(const std::filesystem::path& sound, const std::string& recordingName, Members* members) {
  if (sound.empty()) return true;
  auto bytes = qx::ReadWholeFile(sound);
  if (bytes) members->emplace_back(recordingName + sound.extension().string(), std::move(*bytes));
  return bytes.has_value();
}

class Stopwatch {
 public:
  double Seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void PrintWritten(const std::filesystem::path& file, size_t frames, const std::string& what, double seconds) {
  std::error_code ignored;
  fmt::print("{}: {} frame{}{}, {:.1f} MB in {:.1f} s\n", file.string(), frames, frames == 1 ? "" : "s", what,
             double(std::filesystem::file_size(file, ignored)) / 1e6, seconds);
}

std::string PictureText(const qx::SceneDngOptions& picture) {
  return fmt::format(" of {} x {}, {} bit {}", picture.width, picture.height, picture.bits,
                     picture.losslessJpeg ? "lossless JPEG" : "packed");
}

}  // namespace

int Fail(ExitCode code, const std::string& text) {
  fmt::print(stderr, "qorix-sample: {}\n", text);
  return code;
}

int RunMake(const MakeOptions& options) {
  if (options.output.extension() == ".qorix") return RunMakeQorix(options);
  if (options.output.extension() != ".zip") return Fail(kUsage, "the output's name must end in .zip or .qorix");
  qx::ArchiveOptions archive = options.archive;
  if (const std::string reason = ApplySound(options.tone, &archive); !reason.empty()) return Fail(kUsage, reason);
  if (const std::string reason = qx::CheckArchive(archive); !reason.empty()) return Fail(kUsage, reason);
  if (!AddSound(options.sound, archive.recording.name, &archive.members)) {
    return Fail(kReadFailed, options.sound.string() + ": cannot be read");
  }
  const Stopwatch watch;
  PartFile file(options.output);
  size_t frames = 0;
  bool written = false;
  {
    Progress progress("making");
    written = qx::MakeArchive(archive, file.Open(), [&](size_t done, size_t total) {
      frames = done;
      progress.Show(done, total);
    });
  }
  written = written && file.Close() && (!options.cut || qx::CutFile(file.partPath(), *options.cut)) && file.Commit();
  if (!written) return Fail(kWriteFailed, options.output.string() + ": cannot be written");
  PrintWritten(options.output, frames, PictureText(archive.picture), watch.Seconds());
  return kOk;
}

int RunWrap(const WrapOptions& options) {
  if (options.output.extension() != ".zip") return Fail(kUsage, "the output's name must end in .zip");
  if (const std::string reason = qx::CheckRecording(options.recording); !reason.empty()) return Fail(kUsage, reason);
  Members members;
  if (!AddSound(options.sound, options.recording.name, &members)) return Fail(kReadFailed, options.sound.string() + ": cannot be read");
  const Stopwatch watch;
  PartFile file(options.output);
  std::string error;
  bool written = false;
  {
    Progress progress("wrapping");
    const auto show = [&progress](size_t done, size_t total) { progress.Show(done, total); };
    written = qx::WrapDngFiles(options.frames, options.recording, members, file.Open(), show, &error);
  }
  if (!written && file.Close()) return Fail(kReadFailed, error);
  if (!written || !file.Commit()) return Fail(kWriteFailed, options.output.string() + ": cannot be written");
  PrintWritten(options.output, options.frames.size(), "", watch.Seconds());
  return kOk;
}

}  // namespace tool
