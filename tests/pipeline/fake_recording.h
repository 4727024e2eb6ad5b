// A recording without files and a pipeline whose development is a formula, so that tests see which frame they got and decide when a reader
// goes on.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "pipeline/clip.h"
#include "pipeline/frame_pipeline.h"
#include "tests/support/log_capture.h"

namespace qx {

/// Holds every caller of Pass() until Open().
class Gate {
 public:
  void Pass();
  void Open();
  /// Returns when `count` callers in all have come to the gate.
  void AwaitArrivals(int count);

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  int arrivals_ = 0;
  bool open_ = false;
};

/// What all clips of one fake pipeline play. Set the fields before the first clip opens, the hooks before the first request.
struct FakeRecording {
  int32_t frames = 200;
  uint32_t width = 32, height = 16;
  ContainerKind kind = ContainerKind::kRawZip;
  int32_t qualityLevel = -1;
  std::array<uint8_t, 4> cfa = {0, 1, 1, 2};
  double fps = 24;

  /// Called by every read of a source frame, without locks; non-zero fails the read with "cannot read".
  std::function<int(int32_t frame)> onRead = [](int32_t) { return 0; };
  /// What every read of a frame says of its damage.
  std::string frameDamage;
  /// Notes of the opened file.
  std::string openMessage, damageNote;
  /// Non-empty: the failure of the operation. `openFramesFails` leaves the clip's own frame source alone.
  std::string openTimelineFails, openFramesFails, createSessionFails, developFails;
  bool fileMissing = false;
  std::unique_ptr<GpuPath> gpu;  // null: none

  /// Source frames in the order in which they were read.
  std::vector<int32_t> reads() const;
  int32_t sessionsCreated() const;

  // Written by readers, under `lock`.
  mutable std::mutex lock;
  std::vector<int32_t> readOrder;
  int32_t sessionCount = 0, framesOpened = 0;
};

/// The backend that plays `recording`. Each sample of a developed frame is FakeSample(): 257 × (source frame + exposure in stops + 100 at
/// half size), so that 8-bit BGRA holds just the bracket. Float frames hold the bracket itself + 0.25 × column parity + 0.5 × row parity.
PipelineBackend MakeFakeBackend(FakeRecording& recording);

/// One or a few readers, small pools, prefetch off unless asked for.
PipelineConfig SmallConfig(int viewReaders = 1, int exportReaders = 1, int prefetch = 0);

ClipPtr OpenFakeClip(FramePipeline& pipeline, const DevelopOptions* options = nullptr, ClipInfo* info = nullptr);
/// As 8-bit BGRA: the value that every byte of blue, green and red holds; -1 not delivered; -2 the frame is not even. A level that the clip
/// does not offer is expected to come as the full size.
int Ask(const ClipPtr& clip, int64_t frame, int32_t sizeLevel = kFullSize, int32_t* usedGpu = nullptr);
/// Returns when the clip's statistics satisfy the condition.
void AwaitStats(const ClipPtr& clip, const std::function<bool(const ClipStats&)>& isReached);

}  // namespace qx
