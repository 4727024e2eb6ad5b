// What the development tags of a frame are made from: header, camera module, static items and the frame's own items.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "qorix/decoded_frame.h"

namespace qx {

/// Read-only views of one frame's inputs; valid while the frame is being set up.
struct TagInputs {
  RecordingScan& scan;
  const CameraModule* module;  // of the frame's physical camera, or null
  const DecodedFrame& frame;

  const RecordingHeader& header() const { return scan.header; }
  /// The frame's own item, when it has at least `bytes` bytes.
  std::optional<Bytes> Dynamic(Item id, size_t bytes) const;
  /// The module's item, else the recording's, likewise.
  std::optional<Bytes> Static(Item id, size_t bytes) const;
};

/// A string item without its trailing NUL bytes.
std::string_view TextOf(Bytes value);

/// The frame against the camera's whole field.
struct FieldGeometry {
  int32_t frameWidth = 0, frameHeight = 0;
  int32_t fieldWidth0 = 0, fieldHeight0 = 0;  // full field in sensor pixels, multiples of 4
  int32_t fieldWidth = 0, fieldHeight = 0;    // the same in frame pixels
  int32_t cropWidth = 0, cropHeight = 0;
  bool fieldIsCropped() const { return fieldWidth > frameWidth || fieldHeight > frameHeight; }
  bool fieldDiffers() const { return fieldWidth != frameWidth || fieldHeight != frameHeight; }
};
FieldGeometry ComputeFieldGeometry(const TagInputs& inputs);

/// CFA code of the sensor (0 … 3 Bayer), before the frame's origin shifts it.
uint8_t CfaCodeOf(const TagInputs& inputs);

/// Levels of a frame in the order of its own CFA positions.
struct FrameLevels {
  int32_t pattern = 0;  // 0 RGGB, 1 GRBG, 2 GBRG, 3 BGGR, after the origin shift
  std::array<double, 4> black = {};
  uint32_t white = 0;
  uint32_t bitsPerSample = 16;
  std::vector<uint16_t> linearization;  // empty: none
};
FrameLevels ComputeFrameLevels(const TagInputs& inputs);

/// Opcode lists as DNG holds them (big-endian); empty when there is nothing to correct. `shadingMap` is the blob's payload.
std::vector<uint8_t> MakeGainMapList(Bytes shadingMap, const FieldGeometry& field, int32_t pattern);
std::vector<uint8_t> MakeLensWarpList(const TagInputs& inputs, const FieldGeometry& field, uint32_t white);

/// SMPTE time code of a frame, as TimeCodes holds it; nothing without a playback rate.
std::optional<std::array<uint8_t, 8>> FrameTimecode(const TagInputs& inputs);

}  // namespace qx
