// A way for development to take slices as they are: the reader decodes only what the taker leaves to it. It is the seam for development on
// the graphics card; nothing takes it yet.
#pragma once

#include <cstdint>

#include "base/byte_reader.h"
#include "media/frame_source.h"
#include "qorix/decoded_frame.h"

namespace qx {

/// Implemented by the side that develops. Calls come from the reader's thread, one frame at a time per reader.
class DirectOutput {
 public:
  virtual ~DirectOutput() = default;
  /// A slot for this frame, or a negative value: the reader then decodes into its own memory as usual.
  virtual int32_t ReserveSlot(const DecodedFrame& frame) = 0;
  /// How many leading slices the taker decodes by itself, 0 … slice count.
  virtual int32_t LeadingSlices(int32_t slot, const DecodedFrame& frame) = 0;
  /// Memory of the slot for the other slices: rows of the frame, width × 2 bytes apart; null to use the reader's own buffer.
  virtual uint16_t* SlotSamples(int32_t slot) = 0;
  /// The frame cannot go this way after all.
  virtual void ReleaseSlot(int32_t slot) = 0;
  /// The slices are checked and decoded: the slot now belongs to development.
  virtual void HandOver(int32_t slot, const DecodedFrame& frame, Bytes sliceData, const uint16_t* samples) = 0;
};

/// Registers (or with null removes) the interface of a reader that qorix_reader_open made; returns when no read uses the previous one.
/// Any thread.
void qorix_set_direct_output(FrameSource& reader, DirectOutput* output);

}  // namespace qx
