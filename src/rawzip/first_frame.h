// What the first frame says about the whole recording: camera data, frame rates, time code.
#pragma once

#include "rawzip/archive_member.h"

namespace qx {

/// Reads the first frame in the present order and takes the frame rates from it, from the archive's comment, or 24. A failure is told in
/// `openMessage` and leaves `hasFirstDng` false.
void ReadFirstFrame(SourceTimeline& source, MemberBuffer* buffer);

/// Takes the recording's time code start from the mark in a frame's private data: the first frame's, else that of the first archive member.
/// Without a mark the clip starts at one hour.
void ReadTimecodeMark(SourceTimeline& source, MemberBuffer* buffer);

/// Finds "120t30fps" after a "-" in a reel name: captured at the first rate, played at the second. False when there is none.
bool ParseReelSpeed(const char* reelName, int* capturedFps, int* playedFps);

}  // namespace qx
