// The camera's notes about a recording: "key:value" lines in the comment of the archive.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qx {

struct CommentMetadata {
  int32_t width = 0, height = 0, bitsPerSample = 0, rawDebayer = 0;
  double frameRate = 0;
  int64_t durationMs = 0, avgBitrateBps = 0;
  std::string rawType, rawQuantizationType;  // at most 31 bytes
  bool hasAudioOffset = false;
  int64_t audioOffsetUs = 0;
  double audioStretch = 0;   // sound duration over frame duration, 0: not given
  int32_t dngNumbering = 0;  // 0 absent, 1 "sensor", -1 any other value
  std::string appVersion;    // at most 127 bytes
};

/// Never fails: lines without a known key are ignored, as are numbers that do not parse; numbers out of range are clamped. A later line
/// replaces an earlier one with the same key. Keys are case-sensitive, values are taken as they stand.
CommentMetadata ParseCommentMetadata(std::string_view comment);

}  // namespace qx
