// EXIF and GPS tags of a frame (EXIF 2.32).
#pragma once

#include "qorix/tag_inputs.h"
#include "qorix/tiff_block.h"

namespace qx {

void AddExifTags(const TagInputs& inputs, TiffBlock* block);
void AddGpsTags(const TagInputs& inputs, TiffBlock* block);

/// A wall-clock time in nanoseconds since 1970 as calendar fields (proleptic Gregorian).
struct CalendarTime {
  int64_t year = 1970;
  int month = 1, day = 1, hour = 0, minute = 0, second = 0;
  int64_t nanosecond = 0;
};
CalendarTime ToCalendarTime(int64_t nanoseconds);

}  // namespace qx
