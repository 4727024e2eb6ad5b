// Writing delivered frames to files.
#pragma once

#include <string>

#include "standin/host_frames.h"

namespace tool {

/// Writes the frame as the file name says: .png and .ppm as pictures (16 bits per channel unless the frame has 8), .raw as delivered.
/// False with a reason. A failed write leaves no file behind and does not touch an existing one.
bool WritePicture(const standin::FrameView& frame, const std::string& path, std::string* error);

}  // namespace tool
