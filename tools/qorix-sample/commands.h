// The commands of qorix-sample: each takes its parsed options and returns the program's exit code.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "samples/archive_maker.h"
#include "samples/damage.h"

namespace tool {

enum ExitCode { kOk = 0, kUsage = 1, kReadFailed = 2, kWriteFailed = 3 };

struct MakeOptions {
  std::filesystem::path output;  // the ending says which kind of recording
  qx::ArchiveOptions archive;
  std::filesystem::path sound;      // a file to add; empty: none
  std::optional<qx::CutPoint> cut;  // where the finished file ends early
};

struct WrapOptions {
  std::filesystem::path output;
  std::vector<std::filesystem::path> frames;
  qx::RecordingOptions recording;
  std::filesystem::path sound;
};

struct DamageOptions {
  std::filesystem::path input, output;  // may be the same
  std::vector<std::pair<uint64_t, uint64_t>> zeros;
  uint64_t flips = 0, seed = 1;
  std::optional<qx::CutPoint> cut;
};

int RunMake(const MakeOptions& options);
int RunWrap(const WrapOptions& options);
int RunDamage(const DamageOptions& options);

/// Prints "qorix-sample: TEXT" to standard error and returns `code`.
int Fail(ExitCode code, const std::string& text);

}  // namespace tool
