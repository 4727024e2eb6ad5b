// One reader thread: takes jobs, reads their RAW frames and has them developed.
#pragma once

#include <cstdint>

#include "pipeline/frame_pipeline.h"

namespace qx {

struct ReaderSlot;

/// Lives on its thread. Works on one job at a time, through its own slot of the job's clip, and holds no lock while it reads or decodes.
class FrameReader {
 public:
  FrameReader(FramePipeline& pipeline, int index) : pipeline_(pipeline), index_(index) {}
  /// Works until the pipeline stops.
  void Run();

 private:
  /// Reads, develops and converts; false fails the job.
  bool Work(FrameJob& job);
  bool OpenSlot(const Clip& clip, ReaderSlot& slot);
  /// Makes the slot hold the frame that the job's display position shows; unreadable frames are marked and replaced by a neighbour, at most
  /// three times a job. `unpacked`: for the processor.
  bool ReadRaw(FrameJob& job, ReaderSlot& slot, bool unpacked);
  bool DevelopOnGpu(FrameJob& job, const RawFrame& raw);
  /// Leaves the clip to the processor from the current frame on.
  void GiveUpGpu(Clip& clip);
  void ConvertAhead(FrameJob& job);

  FramePipeline& pipeline_;
  const int index_;
  int32_t sourceFrame_ = 0;  // of the current job
  int retries_ = 0;          // of the current job
};

}  // namespace qx
