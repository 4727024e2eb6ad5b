// What the pipeline builds on: files, container readers, development. Tests put their own in place of each.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "base/byte_source.h"
#include "base/message.h"
#include "develop/develop_params.h"
#include "develop/geometry.h"
#include "develop/pixel_format.h"
#include "media/frame_source.h"
#include "media/source_timeline.h"
#include "pipeline/gpu_path.h"
#include "platform/worker_pool.h"

namespace qx {

/// Development of one clip at one size class on the processor. Used by one thread at a time.
class ProcessorSession {
 public:
  virtual ~ProcessorSession() = default;
  virtual Size OutputSize() const = 0;
  /// Develops `raw`, source frame `frame`, into 16-bit RGB of the output size, top row first, rows packed. `rgb48` may be null for the
  /// linear kind. 0, or -1 with a message.
  [[nodiscard]] virtual int Develop(const RawFrame& raw, int32_t frame, uint16_t* rgb48, Message message) = 0;
  /// The same into a packed host format, rows packed.
  [[nodiscard]] virtual int DevelopPacked(const RawFrame& raw, int32_t frame, OutputPixelFormat format, uint8_t* pixels,
                                          Message message) = 0;
  /// Linear kind only: rows firstRow … endRow − 1 of the frame developed last, as float RGB, rows packed. Rows may be read by several
  /// threads.
  virtual void ReadFloat(float* rgb, int32_t firstRow, int32_t endRow) const = 0;
};

struct PipelineBackend {
  /// Opens the clip's file on a descriptor of its own; null when it cannot be opened.
  std::function<std::unique_ptr<ByteSource>(const std::filesystem::path& path)> openFile;
  /// As source_timeline_open and frame_source_open.
  std::function<int(SourceTimeline* source, const ByteSource& file, Message message)> openTimeline;
  std::function<int(FrameSourcePtr* source, const ByteSource& file, Message message)> openFrames;
  /// As CreateCpuSession; null with a message.
  std::function<std::unique_ptr<ProcessorSession>(const DngInfo& camera, const DevelopParams& params, WorkerPool* pool, Message message)>
      createSession;
  std::function<std::unique_ptr<GpuPath>()> createGpuPath;
};

/// Real files, the containers we read, CpuSession.
PipelineBackend DefaultPipelineBackend();

}  // namespace qx
