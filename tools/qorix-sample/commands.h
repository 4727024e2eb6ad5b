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
#include "samples/recording_maker.h"

namespace tool {

enum ExitCode { kOk = 0, kUsage = 1, kReadFailed = 2, kWriteFailed = 3 };

/// The recorder's tone, for both kinds of recordings.
struct SoundOptions {
  bool present = false;
  qx::WavOptions wav;
  double startSeconds = 0.01, tailSeconds = 0.11;
  qx::SoundOffsetTold told = qx::SoundOffsetTold::kInComment;
};

struct MakeOptions {
  std::filesystem::path output;  // the ending says which kind of recording
  qx::ArchiveOptions archive;    // size, bits, rates and the like count for both kinds
  qx::QorixRecordingOptions qorix;
  SoundOptions tone;
  std::filesystem::path sound;      // a file to add; empty: none
  std::optional<qx::CutPoint> cut;  // where the finished file ends early
};

struct WrapOptions {
  std::filesystem::path output;
  std::vector<std::filesystem::path> frames;
  qx::RecordingOptions recording;
  std::filesystem::path sound;
};

/// Damage of a `.qorix` recording, by its chunks.
struct QorixDamageOptions {
  std::filesystem::path interleaved, appended;        // other recordings; empty: none
  std::vector<std::pair<size_t, size_t>> swaps;       // of chunks
  std::vector<std::pair<uint32_t, uint32_t>> slices;  // frame number and slice
  bool overwriteIndexes = false, dropTrailer = false, dropIndex = false;
  std::vector<std::pair<uint64_t, uint64_t>> inserts;  // offset and count of zeros

  bool Any() const;
};

struct DamageOptions {
  std::filesystem::path input, output;  // may be the same
  std::vector<std::pair<uint64_t, uint64_t>> zeros;
  uint64_t flips = 0, seed = 1;
  std::optional<qx::CutPoint> cut;
  QorixDamageOptions chunks;
};

struct DescribeOptions {
  std::filesystem::path input;
  bool totalsOnly = false;
};

int RunMake(const MakeOptions& options);
int RunWrap(const WrapOptions& options);
int RunMakeQorix(const MakeOptions& options);
int RunDamage(const DamageOptions& options);
int RunDescribe(const DescribeOptions& options);

/// Copies a `.qorix` recording with its chunks damaged; the reason why not, or an empty text.
std::string CopyWithDamagedChunks(const std::filesystem::path& input, const QorixDamageOptions& options,
                                  const std::filesystem::path& output);

/// Prints "qorix-sample: TEXT" to standard error and returns `code`.
int Fail(ExitCode code, const std::string& text);

}  // namespace tool
