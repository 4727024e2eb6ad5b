// Small recordings in memory and what their readers make of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/byte_source.h"
#include "media/frame_source.h"
#include "qorix/qorix_source.h"
#include "samples/qorix_damage.h"
#include "samples/recording_maker.h"

namespace qx {

struct TestRecording {
  QorixRecordingOptions options;
  std::vector<uint8_t> file;
  QorixRecordingContents contents;
};

/// Eight frames of 96 × 64 in four slices, unless `edit` says otherwise.
template <typename Edit>
TestRecording MakeTestRecording(Edit&& edit) {
  TestRecording recording;
  recording.options.format.width = 96;
  recording.options.format.height = 64;
  recording.options.format.rowsPerSlice = 16;
  recording.options.frames = 8;
  edit(recording.options);
  EXPECT_EQ(CheckQorixRecording(recording.options), "");
  EXPECT_TRUE(MakeRecording(recording.options, QorixSinkTo(&recording.file), &recording.contents));
  return recording;
}
inline TestRecording MakeTestRecording() {
  return MakeTestRecording([](QorixRecordingOptions&) {});
}

/// What a frame must decode to: the linear samples without what the coding drops.
inline std::vector<uint16_t> ExpectedSamples(const QorixRecordingOptions& options, int64_t slot) {
  std::vector<uint16_t> samples = CodedSamples(options, slot);
  if (options.table == QorixTable::kNone) {
    for (uint16_t& sample : samples) sample = uint16_t(std::min(uint32_t(sample) << options.format.sampleShift, 65535u));
  }
  return samples;
}

inline std::vector<uint16_t> SamplesOf(const RawFrame& frame) {
  return {frame.samples, frame.samples + size_t(frame.described->width) * frame.described->height};
}

}  // namespace qx
