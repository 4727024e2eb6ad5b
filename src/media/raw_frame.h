// One decoded RAW frame on its way from a container reader to development.
#pragma once

#include <cstdint>

#include "base/byte_reader.h"
#include "base/grow_buffer.h"
#include "media/dng_info.h"

namespace qx {

/// Owned by one reader, which reuses it from frame to frame: the buffers grow to the largest frame and stay. `described`, `data` and
/// `samples` point into the frame itself or into its buffers and are valid until the next read. Not copyable, not movable.
struct RawFrame {
  RawFrame() = default;
  RawFrame(const RawFrame&) = delete;
  RawFrame& operator=(const RawFrame&) = delete;

  int32_t frame = -1;      // source frame number of the content
  double timeSeconds = 0;  // capture time
  int64_t number = 0;      // position in capture order

  /// The frame's own camera data.
  DngInfo dng;
  bool hasOwnDng = false;

  /// The frame whose rectilinear warp supplies the model, -1 for none; meaningless until `warpDecided`.
  int32_t warpKey = -1;
  bool warpDecided = false;
  /// The warp that applies, missing terms filled in from an earlier frame.
  RectilinearWarp warp;

  /// Describes what `data` and `samples` hold: the frame's own camera data, or its decoded form (one uncompressed 16-bit strip).
  const DngInfo* described = nullptr;
  /// The bytes that `described` speaks of: the whole record for packed samples, else the 16-bit samples.
  Bytes data;
  /// One 16-bit value per CFA site, native byte order, width × height, top row first; null when the frame is handed out packed.
  const uint16_t* samples = nullptr;

  // Storage.
  GrowBuffer<uint8_t> memberBuffer;
  GrowBuffer<uint16_t> sampleBuffer;
  DngInfo decoded;
};

}  // namespace qx
