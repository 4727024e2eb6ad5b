// The host's frames (PPix): pixel buffers with guard bytes and row distances of the host's choosing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/records.h"
#include "host/suites.h"

namespace standin {

/// Smallest row distance of a host pixel format; 0 for a format that this host does not know.
int64_t MinimumRowBytes(uint32_t pixelFormat, int32_t width);

/// Extra bytes between the rows of frames made from now on, to show whether the plug-in respects row distances. A multiple of 16.
void SetRowPadding(int32_t bytes);

const qx::host::PPixCreatorSuite* PPixCreatorFunctions();
const qx::host::PPixCreator2Suite* PPixCreator2Functions();
const qx::host::PPixSuite* PPixFunctions();

/// Frames made and not disposed of.
size_t LiveFrames();

/// What the host knows about one of its frames. The pixels stay the frame's.
struct FrameView {
  uint32_t pixelFormat = 0;
  int32_t width = 0, height = 0;
  int32_t rowBytes = 0;
  const uint8_t* pixels = nullptr;
  bool colorManaged = false;
};
/// An empty view for a frame that is not alive.
FrameView ViewFrame(qx::host::PPix frame);

/// Checks the guard bytes and disposes of a frame that the host owns.
void DisposeFrame(qx::host::PPix frame);

}  // namespace standin
