// Delivered frames as pictures: every pixel format of the host turned into 16-bit RGB, top row first.
#pragma once

#include <cstdint>
#include <vector>

#include "standin/host_frames.h"

namespace standin {

struct RgbImage {
  int32_t width = 0, height = 0;
  std::vector<uint16_t> rgb;  // R, G, B; width × height, top row first, 65535 is white
};

/// Floats are clamped to 0 … 1; 4:2:2 formats are spread to both pixels of a pair (Rec.709, video range).
RgbImage ImageOfFrame(const FrameView& frame);

/// The pixels exactly as delivered, row padding removed.
std::vector<uint8_t> RawBytesOfFrame(const FrameView& frame);

}  // namespace standin
