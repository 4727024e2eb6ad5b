// One opened recording, of either container kind, as the importer sees it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "base/message.h"
#include "develop/geometry.h"
#include "develop/pixel_format.h"
#include "pipeline/develop_options.h"

namespace qx {

/// Opened by OpenClip, closed by CloseClip. Requests may come from any number of threads; CloseClip must not race with them.
class Clip;

/// Size levels: 0 full, 1 half, 2 quarter.
constexpr int32_t kFullSize = 0, kHalfSize = 1, kQuarterSize = 2;
/// What log lines put behind a frame number.
constexpr const char* kLevelSuffixes[] = {"", " half", " quarter"};

struct ClipInfo {
  int32_t isQorix = 0;  // 1 `.qorix` recording, 0 RAW-ZIP archive
  int32_t fullWidth = 0, fullHeight = 0;
  int32_t halfWidth = 0, halfHeight = 0;        // 0: not offered
  int32_t quarterWidth = 0, quarterHeight = 0;  // 0: not offered
  int64_t frameCount = 0;                       // display positions
  int32_t fpsNumerator = 0, fpsDenominator = 0;
  int32_t hasAudio = 0, audioRate = 0, audioChannels = 0;
  int64_t audioSamples = 0;  // sample frames
  char timecode[16] = {};    // "hh:mm:ss:ff"
  char label[64] = {};
  int32_t outputKind = 0;  // OutputKind
  int32_t slog3Narrow = 0;
};

/// Size of a level's frames; 0 × 0 when it is not offered.
constexpr Size LevelSize(const OutputSizes& sizes, int32_t level) {
  return level == kFullSize ? sizes.full : level == kHalfSize ? sizes.half : sizes.quarter;
}
constexpr Size LevelSize(const ClipInfo& info, int32_t level) {
  const OutputSizes sizes = {{info.fullWidth, info.fullHeight}, {info.halfWidth, info.halfHeight}, {info.quarterWidth, info.quarterHeight}};
  return LevelSize(sizes, level);
}

/// Opens a recording with `options` (null: defaults) and fills `info`. Null with a message when it cannot be opened; nothing is left open.
Clip* OpenClip(const std::filesystem::path& path, const DevelopOptions* options, ClipInfo* info, Message message);

/// Cancels the clip's jobs, waits for its readers, frees everything. Null is ignored.
void CloseClip(Clip* clip);

struct ClipCloser {
  void operator()(Clip* clip) const { CloseClip(clip); }
};
using ClipPtr = std::unique_ptr<Clip, ClipCloser>;

/// 0 applied, 1 the clip must be reopened with these options (nothing changed), -1 rejected with a message (nothing changed but that cached
/// frames may be gone). Host thread.
[[nodiscard]] int ApplyDevelopOptions(Clip* clip, const DevelopOptions* options, Message message);

/// Sample frames first … first + count − 1 of the timeline into one buffer of `count` floats per channel; full scale is −1 … 1, silence
/// outside the sound and in its gaps. `first` may be negative. 0, or -1 for a count below 1, a failed read, or no memory (the buffers are
/// then partly filled). Any thread, beside frame requests.
[[nodiscard]] int ReadClipAudio(Clip* clip, int64_t first, int32_t count, float** channels);

/// Blocks until the frame is in `destination` or has failed: 0 delivered, -1 not, which is also the answer when its job was cancelled, when
/// the pipeline has been shut down, and when `destinationRowBytes` is below the format's row. `frame` is clamped into the clip; a size that
/// the clip does not offer comes as the next larger one. `logFrame` is only printed. `usedGpu` and `ms` may be null.
[[nodiscard]] int GetFrame(Clip* clip, int64_t frame, int64_t logFrame, int32_t sizeLevel, OutputPixelFormat format, uint8_t* destination,
                           uint32_t destinationRowBytes, int32_t* usedGpu, double* ms);

/// Queues a frame without waiting.
void PrefetchFrame(Clip* clip, int64_t frame, int32_t sizeLevel);

/// Drops the clip's queued jobs and waits until no reader works on the clip.
void CancelClipJobs(Clip* clip);

/// Bytes that the clip may hold while it is open; told to the host.
uint64_t ClipMemoryBytes(Clip* clip);

struct ClipStats {
  int32_t queued = 0, reading = 0, readyAhead = 0, jobs = 0;
  double readerLoad = 0, gpuLoad = 0, processLoad = 0;  // 1 = one processor busy (readers: all of them)
};
void GetClipStats(Clip* clip, ClipStats* stats);

}  // namespace qx
