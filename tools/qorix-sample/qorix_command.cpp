#include <fmt/core.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <iterator>

#include "commands.h"
#include "part_file.h"
#include "samples/qorix_damage.h"
#include "sound_options.h"
#include "tools/common/progress.h"

namespace tool {

namespace {

/// RGGB, GRBG, GBRG, BGGR as 0 … 3.
uint8_t CfaCode(const std::array<uint8_t, 4>& cfa) {
  if (cfa[0] == 0) return 0;
  if (cfa[0] == 2) return 3;
  return cfa[1] == 0 ? 1 : 2;
}

/// The `.qorix` recording of options that both kinds share.
qx::QorixRecordingOptions RecordingOf(const MakeOptions& options) {
  const qx::ArchiveOptions& shared = options.archive;
  qx::QorixRecordingOptions recording = options.qorix;
  recording.format.width = uint16_t(shared.picture.width);
  recording.format.height = uint16_t(shared.picture.height);
  recording.bits = shared.picture.bits;
  recording.seed = shared.picture.seed;
  recording.frames = shared.frames;
  recording.droppedSlots = shared.droppedSlots;
  if (shared.picture.flashFrame >= 0) recording.flashSlot = shared.picture.flashFrame;
  recording.shadingMaps |= shared.picture.gainMap;
  recording.postRawBoost = int32_t(std::lround(100 * std::exp2(shared.picture.baselineExposure)));
  if (shared.timecodeMark) recording.timecodeStart = uint32_t(shared.timecodeMark->start);
  if (shared.picture.warp && recording.lens == qx::QorixLens::kNone) recording.lens = qx::QorixLens::kPairOfRecording;
  qx::QorixHeader& header = recording.file.header;
  header.cfaCode = CfaCode(shared.picture.cfa);
  header.playback = {shared.recording.fps.numerator, shared.recording.fps.denominator};
  header.capture = shared.recording.captureFps != 0 ? qx::QorixRate{shared.recording.captureFps, 1} : header.playback;
  return recording;
}

bool ReadFile(const std::filesystem::path& path, qx::QorixFile* bytes) {
  std::ifstream stream(path, std::ios::binary);
  bytes->assign(std::istreambuf_iterator<char>(stream), {});
  return stream.is_open() && !stream.bad();
}

/// Applies what needs the chunks; an empty text or what is wrong with it.
std::string DamageChunks(const QorixDamageOptions& options, qx::QorixFile* file) {
  qx::QorixFile other;
  if (!options.interleaved.empty()) {
    if (!ReadFile(options.interleaved, &other)) return options.interleaved.string() + ": cannot be read";
    qx::InterleaveRecording(file, other, 2);
  }
  if (!options.appended.empty()) {
    if (!ReadFile(options.appended, &other)) return options.appended.string() + ": cannot be read";
    qx::AppendRecording(file, other);
  }
  for (const auto& [first, second] : options.swaps) {
    if (qx::SwapChunks(file, first, second).empty()) return fmt::format("no chunks {} and {} to swap", first, second);
  }
  for (const auto& [frame, slice] : options.slices) {
    const qx::QorixDamage damage = qx::CorruptSlice(file, frame, slice);
    if (damage.empty()) return fmt::format("no slice {} of a frame {}", slice, frame);
    fmt::print("changed byte {}\n", damage[0].begin);
  }
  if (options.overwriteIndexes) qx::OverwriteIndexes(file, 1);
  if (options.dropTrailer || options.dropIndex) qx::DropTrailer(file, options.dropIndex);
  for (const auto& [offset, count] : options.inserts) {
    if (qx::InsertBytes(file, offset, std::vector<uint8_t>(size_t(count))).empty()) return fmt::format("no place {} in the file", offset);
  }
  return {};
}

}  // namespace

int RunMakeQorix(const MakeOptions& options) {
  const auto& [width, height] = std::pair(options.archive.picture.width, options.archive.picture.height);
  if (width > UINT16_MAX || height > UINT16_MAX) return Fail(kUsage, "width and height must be at most 65535");
  qx::QorixRecordingOptions recording = RecordingOf(options);
  if (const std::string reason = ApplySound(options.tone, &recording.sound); !reason.empty()) return Fail(kUsage, reason);
  if (const std::string reason = qx::CheckQorixRecording(recording); !reason.empty()) return Fail(kUsage, reason);
  const auto start = std::chrono::steady_clock::now();
  PartFile file(options.output);
  std::ofstream stream(file.partPath(), std::ios::binary | std::ios::trunc);
  qx::QorixRecordingContents contents;
  bool written = false;
  {
    Progress progress("making");
    written = stream && qx::MakeRecording(recording, qx::QorixSinkTo(&stream), &contents,
                                          [&progress](size_t done, size_t total) { progress.Show(done, total); });
  }
  stream.close();
  written = written && stream && (!options.cut || qx::CutFile(file.partPath(), *options.cut)) && file.Commit();
  if (!written) return Fail(kWriteFailed, options.output.string() + ": cannot be written");
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  fmt::print("{}: {} frame{} of {} x {}, {} bit, {} chunks, {:.1f} MB in {:.1f} s\n", options.output.string(), contents.frames.size(),
             contents.frames.size() == 1 ? "" : "s", width, height, recording.bits, contents.chunks.size(), double(contents.bytes) / 1e6,
             seconds);
  return kOk;
}

bool QorixDamageOptions::Any() const {
  return !interleaved.empty() || !appended.empty() || !swaps.empty() || !slices.empty() || overwriteIndexes || dropTrailer || dropIndex ||
         !inserts.empty();
}

std::string CopyWithDamagedChunks(const std::filesystem::path& input, const QorixDamageOptions& options,
                                  const std::filesystem::path& output) {
  qx::QorixFile bytes;
  if (!ReadFile(input, &bytes)) return input.string() + ": cannot be read";
  if (qx::WalkChunks(bytes).chunks.empty()) return input.string() + ": not a .qorix recording";
  if (std::string reason = DamageChunks(options, &bytes); !reason.empty()) return reason;
  std::ofstream stream(output, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  stream.close();
  return stream ? std::string() : output.string() + ": cannot be written";
}

}  // namespace tool
