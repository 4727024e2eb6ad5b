// What the head of a frame says about its slices, and whether this decoder can follow it.
#pragma once

#include <cstdint>

#include "base/message.h"
#include "qorix/decoded_frame.h"

namespace qx {

/// Frame heads end here; older ones are shorter.
constexpr uint32_t kFrameHeadBytes = 96;

/// Layout number of a slice: the frame's, or that of its side of the boundary.
uint8_t EffectiveLayout(const FrameHead& head, uint32_t slice);
/// How a slice of a frame that passed its checks is coded.
SliceFormat SliceFormatOf(const FrameHead& head, uint32_t slice);

/// The head's checks in their order; false with the message of the first that fails. `slices`: entries of the slice table that the head
/// holds, 0 when it holds no whole table.
[[nodiscard]] bool CheckFrameHead(const FrameHead& head, uint32_t slices, Message message);

}  // namespace qx
