#include "qorix/recording_header.h"

#include <algorithm>

namespace qx {

namespace {

RectU16 ReadRect(const HeadFields& head, size_t offset) {
  return {head.U16(offset), head.U16(offset + 2), head.U16(offset + 4), head.U16(offset + 6)};
}

}  // namespace

RecordingHeader ParseRecordingHeader(const HeadFields& head) {
  RecordingHeader header;
  header.present = true;
  header.signatureValid = std::ranges::equal(head.Raw(kRecordingSignatureOffset, sizeof kRecordingSignature), kRecordingSignature);
  header.version = head.U16(48);
  header.incompatibleBits = head.U32(52);
  header.compatibleBits = head.U32(56);
  std::ranges::copy(head.Raw(60, header.recordingId.size()), header.recordingId.begin());
  header.partNumber = head.U16(76);
  header.sensorStartNs = head.U64(88);
  header.wallClockStartNs = head.U64(96);
  header.timeZoneMinutes = int16_t(head.U16(104));
  header.cfaCode = head.U8(107);
  header.sensorWidth = head.U16(108);
  header.sensorHeight = head.U16(110);
  header.rectangle1 = ReadRect(head, 120);
  header.rectangle2 = ReadRect(head, 128);
  header.white = int32_t(head.U32(140));
  for (size_t i = 0; i < header.black.size(); ++i) header.black[i] = int32_t(head.U32(144 + 4 * i));
  header.captureNumerator = head.U32(160);
  header.captureDenominator = head.U32(164);
  header.playbackNumerator = head.U32(168);
  header.playbackDenominator = head.U32(172);
  header.quantization = head.F32(180);
  header.rotationDegrees = int16_t(head.U16(186));
  return header;
}

TrailerInfo ParseTrailer(const HeadFields& head) {
  TrailerInfo trailer;
  trailer.present = true;
  trailer.indexOffset = head.U64(40, kNoOffset);
  trailer.headerOffset = head.U64(kHeaderOffsetField, kNoOffset);
  trailer.flags = head.U32(68);
  trailer.frameCount = head.U32(72);
  trailer.partBytes = head.U64(80, kNoOffset);
  return trailer;
}

}  // namespace qx
