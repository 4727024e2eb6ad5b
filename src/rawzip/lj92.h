// Lossless JPEG (ITU-T T.81 process 14, as DNG uses it): one sample per CFA site.
#pragma once

#include <cstdint>

#include "base/byte_reader.h"
#include "media/dng_info.h"

namespace qx {

enum Lj92Result : int32_t {
  kLj92Ok = 0,
  kLj92Corrupt = -1,
  kLj92Truncated = -2,
  kLj92Unsupported = -3,
  kLj92OutOfMemory = -4,
  kLj92TooSmall = -5,
};

struct Lj92Info {
  int32_t samplesPerLine = 0, lines = 0, components = 0, precision = 0;
  int32_t predictor = 0, pointTransform = 0, restartInterval = 0;
  bool category16ReadsBits = false;  // which reading of difference category 16 was used
};

/// Decodes one stream into width × height samples at `out`, rows `pitch` samples apart. Larger streams are decoded whole and cropped.
/// After a failure the output may hold part of the samples. `info` may be null. Any thread.
[[nodiscard]] int lj92_decode(Bytes stream, uint16_t* out, int64_t pitch, int32_t width, int32_t height, Lj92Info* info);

/// Whether a DNG with compression 7 has a stream for every strip or tile: kLj92Ok, kLj92Unsupported or kLj92Corrupt. Cheap: nothing is
/// decoded.
[[nodiscard]] int lj92_check_layout(const DngInfo& info);

/// Decodes every strip or tile of a DNG with compression 7 into width × height samples at `out`. Any thread.
[[nodiscard]] int lj92_decode_dng(const DngInfo& info, Bytes record, uint16_t* out);

const char* lj92_error_text(int code);

}  // namespace qx
