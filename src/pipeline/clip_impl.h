// The inside of a clip, for the pipeline only.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

#include "base/byte_source.h"
#include "base/grow_buffer.h"
#include "base/lock.h"
#include "media/frame_source.h"
#include "media/frame_timeline.h"
#include "media/source_timeline.h"
#include "pipeline/buffer_pool.h"
#include "pipeline/clip.h"
#include "pipeline/frame_cache.h"
#include "pipeline/frame_job.h"
#include "pipeline/frame_pipeline.h"

namespace qx {

/// One reader thread's own way into the recording. Used by that reader while it works on the clip; nobody else touches it before all
/// readers have left the clip.
struct ReaderSlot {
  std::unique_ptr<ByteSource> file;
  FrameSourcePtr frames;
  RawFrame raw;
  int32_t cachedFrame = -1;     // source frame that `raw` holds, -1 for none
  bool cachedUnpacked = false;  // `raw` was read for the processor
};

/// Lock order: options lock, clip lock, then one of the processor lock and the pipeline's queue lock. Readers hold the processor lock while
/// they develop a frame, and never ask for the clip lock meanwhile. Spare buffers have a lock of their own, taken last.
class Clip {
 public:
  explicit Clip(FramePipeline& owner) : pipeline(owner) {}

  // Fixed once the clip is open.
  FramePipeline& pipeline;
  std::filesystem::path path;
  std::unique_ptr<ByteSource> indexFile, framesFile;
  SourceTimeline source;
  FrameSourcePtr openingFrames;
  const DngInfo* camera = nullptr;  // of openingFrames
  ClipInfo info;
  OutputSizes sizes;
  SoundPlacement sound;        // of the timeline
  bool processorOnly = false;  // the options ask for the processor; a change reopens the clip

  /// The options lock: one change of options at a time, from the look at those in force to the exchange. Held while a LUT is read.
  Mutex optionsLock;

  /// The clip lock. `changed` is woken when a job finishes or is dropped, and when options have changed.
  Mutex lock;
  CondVar changed;
  FrameTimeline timeline GUARDED_BY(lock);
  JobList jobs GUARDED_BY(lock);
  uint64_t lastStamp GUARDED_BY(lock) = 0;
  RequestHistory history GUARDED_BY(lock);
  FormatHistory formats GUARDED_BY(lock);
  DevelopOptions options GUARDED_BY(lock);
  bool optionsChanging GUARDED_BY(lock) = false;  // new requests wait

  /// The processor lock.
  Mutex processorLock;
  std::unique_ptr<CubeLut> lut GUARDED_BY(processorLock);
  DerivedOptions derived GUARDED_BY(processorLock);
  std::array<std::unique_ptr<ProcessorSession>, 2> sessions GUARDED_BY(processorLock);  // full, half

  /// The sound lock: one sound read at a time, through `source` and `indexFile`, beside frame requests. Taken alone.
  Mutex soundLock;
  GrowBuffer<uint8_t> soundBuffer GUARDED_BY(soundLock);

  // Own synchronisation.
  SpareBuffers spares;
  std::atomic<OutputPixelFormat> hostFormat{OutputPixelFormat::kRgb48};  // of the latest request
  std::atomic<bool> formatsMixed{false};                                 // of the latest requests: 16-bit frames are kept for the others
  std::atomic<bool> gpuFailed{false};                                    // all later frames are developed on the processor
  std::atomic<bool> hasFullSession{false};
  std::atomic<int32_t> uploadBits{0};  // samples that readers upload to the graphics card; 0 until the first frame has settled it
  /// Readers that work on the clip. Rises under the queue lock, falls under the clip lock.
  std::atomic<int32_t> activeReaders{0};

  // Owned by reader i.
  std::array<ReaderSlot, kMaxReaders> slots;
};

/// OpenClip in a given pipeline.
Clip* OpenClipIn(FramePipeline& pipeline, const std::filesystem::path& path, const DevelopOptions* options, ClipInfo* info,
                 Message message);

/// Fills the sound fields of `info`: there is sound when it is offered and its format can be read.
void DescribeSound(const SoundPlacement& sound, ClipInfo* info);

/// The path of the options' LUT file as the system's.
std::filesystem::path LutPathOf(const DevelopOptions& options);

/// What the memory need of the clip's frames depends on at the moment.
CacheShape CurrentCacheShape(const Clip& clip);
/// Frames of a level that fit the clip's budget in the current mode, at least 6.
int32_t ClipJobCapacity(Clip& clip, int32_t sizeLevel);

/// The clip's job for a frame (clamped into range), a new one when there is none that is queued, being read or ready. Makes room first.
/// `urgent` puts it at the head of the queue. Null when memory is short.
FrameJob* FindOrQueueJob(Clip& clip, int64_t frame, int32_t sizeLevel, bool urgent) REQUIRES(clip.lock);
/// Removes a job that is in no queue, and recycles its buffers.
void ReleaseJob(Clip& clip, FrameJob* job) REQUIRES(clip.lock);
/// Drops the clip's queued jobs and waits until no reader works on the clip.
void CancelJobsLocked(Clip& clip) REQUIRES(clip.lock);
/// Ends the reader's work on a job: ready or failed.
void FinishJob(FrameJob* job, bool ready);

/// A buffer of exactly `bytes`; empty when memory is short.
FrameBuffer TakeBuffer(Clip& clip, uint64_t bytes);
/// Keeps the buffer for the clip's next frames, or frees it or one that it replaces. Empty buffers are ignored.
void ReturnBuffer(Clip& clip, FrameBuffer buffer);

}  // namespace qx
