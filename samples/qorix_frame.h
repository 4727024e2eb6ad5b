// Frames of a `.qorix` recording as the writer codes them: the frame head and its slices.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "samples/qorix_chunks.h"
#include "samples/slice_encoder.h"

namespace qx {

/// What defines the decoding table of mode 1. The numbers stand in the frame head; quantisation.h tells what they mean.
struct QorixTableParameters {
  uint32_t number = 0xFFFFFFFF;  // of a table chunk; one that is not in the file: the parameters define the table
  float p72 = 0, p76 = 0, p80 = 0, p84 = 0;
  uint16_t p88 = 0, p90 = 0;
};

/// How frames are coded, field by field of the frame head.
struct QorixFrameFormat {
  uint16_t width = 0, height = 0;
  uint16_t left = 0, top = 0;  // on the sensor
  uint8_t sampleShift = 0;     // samples lost this many low bits before they were coded
  uint8_t mode = 0;            // 1: samples are codes of a table
  uint8_t coder = 1;           // 0 fixed width, 1 Rice
  uint8_t predictor = 1;       // 0 from the left, 1 median edge
  uint8_t layout = 2;          // coder 0: 0 or 1 (interleaved); coder 1: 0 or 2 (two parts); 3: as `parts` and `boundary` say
  uint16_t flatThreshold = 0;
  uint16_t rowsPerSlice = 64;
  bool sliceCrcs = true;
  uint8_t parts = 0;      // layout 3: of the slices below `boundary` (low nibble) and of the others (high nibble)
  uint16_t boundary = 0;  // layout 3: 1 … slices − 1
  QorixTableParameters table;
  uint16_t headLength = 96;  // 40 … 96, of the frame head: a shorter one lacks the fields behind it
};

/// Layout of one slice, as `layout`.
uint8_t QorixSliceLayout(const QorixFrameFormat& format, uint32_t slice);
/// Slices of a frame.
uint32_t QorixSliceCount(const QorixFrameFormat& format);

/// The slices of one frame, one directly after the other.
struct QorixFrameSlices {
  std::vector<uint32_t> sizes, crcs;
  std::vector<uint8_t> data;
};

/// Codes width × height samples, top row first; they are stored as they are (already shifted, or codes of the table). False when the
/// format is not one that exists or a sample does not fit its coder: with coder 0 at most 14 bits always do. Any thread.
[[nodiscard]] bool EncodeFrame(const QorixFrameFormat& format, std::span<const uint16_t> samples, QorixFrameSlices* slices);

/// The frame chunk without its slices, of which only sizes and CRCs are looked at. Every field goes out as it is, right or wrong.
QorixChunk FrameChunk(const QorixFrameFormat& format, const QorixFrameSlices& slices, uint32_t number, uint64_t timestampNs);

}  // namespace qx
