// Checks of an accepted frame index: against the frames' own time codes (SMPTE 12M in the TimeCodes tag) and the numbers in their names.
#pragma once

#include <array>
#include <cstdint>

#include "rawzip/archive_member.h"

namespace qx {

/// Above this rate the two digits for frames no longer count single frames.
constexpr double kMaxTimeCodesFps = 99.5;

/// Frames since midnight at `rate` frames per second, -1 for digits that are no time.
int64_t TimeCodesToFrames(const std::array<uint8_t, 8>& timeCodes, int64_t rate);

/// The TimeCodes of a frame's camera data, -1 when it has none that are valid.
int64_t TimeCodesOf(const SourceTimeline& source, const DngInfo& dng);

/// Reads a frame for its TimeCodes, -1 when it cannot be read or has none.
int64_t ReadTimeCodes(SourceTimeline& source, int32_t frame, MemberBuffer* buffer);

/// Compares first and last frame with an accepted index. May move the time code start to the TimeCodes when these agree with the wall clock
/// in the first frame's name. False when they contradict the index: state is then -4 and the note says why.
[[nodiscard]] bool CheckIndexByTimeCodes(SourceTimeline& source, MemberBuffer* buffer);

/// Whether the frame numbers in names advance as the time stamps do; only when the archive says that they count sensor frames.
void CheckNumbering(SourceTimeline& source);

}  // namespace qx
