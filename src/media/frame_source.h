// What a container gives to the pipeline: frames by number, each with its camera data. One implementation per container kind.
#pragma once

#include <cstdint>
#include <memory>

#include "media/dng_info.h"
#include "media/raw_frame.h"

namespace qx {

/// Flags of ReadFrame.
enum ReadFrameFlags : uint32_t {
  kReadPacked = 0,
  /// Hand out 16-bit samples; without it uncompressed frames come packed as stored.
  kReadUnpacked = 1,
};

/// Belongs to one reader thread at a time; different sources on the same file share nothing but the file. Closed by its destructor, before
/// the file it reads from.
class FrameSource {
 public:
  virtual ~FrameSource() = default;
  virtual int32_t FrameCount() const = 0;
  /// Playback frames per second.
  virtual double FramesPerSecond() const = 0;
  /// The recording's camera data: the first good frame's, or null when no frame has any. Valid as long as the source.
  virtual const DngInfo* CameraData() const = 0;
  /// Reads source frame `frame` (0 … count − 1) into `out`. 0, or -1 with the reason in LastMessage(); `out` is then undefined but
  /// reusable.
  [[nodiscard]] virtual int ReadFrame(int32_t frame, RawFrame* out, uint32_t flags) = 0;
  /// Text of the last failure; cleared at the start of every read.
  virtual const char* LastMessage() const = 0;
  /// After a read that succeeded: what of the frame was damaged and what stands in its place; "" for a whole frame.
  virtual const char* LastDamage() const { return ""; }
};

using FrameSourcePtr = std::unique_ptr<FrameSource>;

}  // namespace qx
