// Building camera tags from metadata that nobody vouches for: header fields, static items and a frame's own items come from the input.
#include <cstdint>
#include <cstring>

#include "qorix/decoded_frame.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qx;
  constexpr size_t kFixed = 32;
  if (size < kFixed || size > 65536) return 0;
  ByteReader reader(Bytes(data, kFixed));
  RecordingScan scan;
  const MemorySource nothing{Bytes()};
  scan.file = &nothing;
  RecordingHeader& header = scan.header;
  header.present = true;
  header.cfaCode = reader.U8() & 3;
  header.sensorWidth = reader.U16Le();
  header.sensorHeight = reader.U16Le();
  header.rectangle1 = {reader.U16Le(), 0, reader.U16Le(), reader.U16Le()};
  header.white = int32_t(reader.U32Le());
  header.playbackNumerator = reader.U16Le();
  header.playbackDenominator = reader.U8();
  header.wallClockStartNs = uint64_t(reader.U32Le()) << 31;
  header.timeZoneMinutes = int16_t(reader.U16Le());
  scan.frameSlots = {int64_t(reader.U32Le())};
  DecodedFrame frame;
  ChunkRecord chunk;
  frame.frameIndex = 0;
  frame.chunk = &chunk;
  frame.head.width = uint16_t(1 + reader.U8() * 16);
  frame.head.height = uint16_t(1 + reader.U8() * 16);

  // Half of the rest for the recording, half for the frame.
  const size_t half = (size - kFixed) / 2;
  scan.staticMetadata.assign(data + kFixed, data + kFixed + half);
  frame.meta.bodies.assign(data + kFixed + half, data + size);
  ForEachItem(Bytes(frame.meta.bodies), [&](uint16_t id, Bytes value) {
    if (frame.meta.items.empty() || frame.meta.items.back().id < id) frame.meta.items.push_back({id, value});
  });
  CameraModules modules;
  (void)build_frame_tags(&scan, &modules, &frame);
  return 0;
}
