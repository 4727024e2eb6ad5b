// Playback and capture rates of a recording.
#pragma once

#include "qorix/recording_scan.h"

namespace qx {

struct RecordingRates {
  double fps = 30, captureFps = 30;
  bool fpsFromHeader = false;
  bool speedChanged = false;
};

/// From the header's two fractions; 30 where one is missing or there is no header.
RecordingRates RatesOf(const RecordingHeader& header);

/// Whole frames of one hour at the playback rate: where a time code starts that the recording does not tell.
int64_t OneHourOfFrames(double fps);

}  // namespace qx
