#include "rawzip/lj92_header.h"

#include <algorithm>

#include "rawzip/lj92.h"

namespace qx {

namespace {

enum Marker : uint8_t {
  kTem = 0x01,
  kSof3 = 0xC3,
  kDht = 0xC4,
  kRst0 = 0xD0,
  kRst7 = 0xD7,
  kSoi = 0xD8,
  kEoi = 0xD9,
  kSos = 0xDA,
  kDnl = 0xDC,
  kDri = 0xDD,
};

bool StandsAlone(uint8_t marker) {
  return marker == kTem || marker == kSoi || (marker >= kRst0 && marker <= kRst7);
}

/// The code after the next 0xFF and its fill bytes; the reader fails at the end of the data.
uint8_t NextMarker(ByteReader& in) {
  while (in.ok() && in.U8() != 0xFF) {
  }
  uint8_t code = 0xFF;
  while (in.ok() && code == 0xFF) code = in.U8();
  return code;
}

int ParseFrame(Bytes segment, Lj92Header& header) {
  ByteReader in(segment);
  header.precision = in.U8();
  header.lines = in.U16Be();
  header.samplesPerLine = in.U16Be();
  header.components = in.U8();
  const bool inRange =
      header.precision >= 2 && header.precision <= 16 && header.samplesPerLine != 0 && header.components >= 1 && header.components <= 4;
  if (!in.ok() || !inRange || in.remaining() < size_t(header.components) * 3) return kLj92Corrupt;
  if (header.lines == 0) return kLj92Unsupported;  // the height would follow in a DNL segment
  for (int c = 0; c < header.components; ++c) {
    header.componentIds[c] = in.U8();
    if (in.U8() != 0x11) return kLj92Unsupported;
    in.Skip(1);  // quantisation table, meaningless here
  }
  return kLj92Ok;
}

int ParseTables(Bytes segment, Lj92Header& header) {
  ByteReader in(segment);
  while (in.remaining() > 0) {
    const uint8_t classAndId = in.U8();
    const Bytes countBytes = in.Take(16);
    if (classAndId > 3 || !in.ok()) return kLj92Corrupt;
    std::array<uint8_t, 16> counts;
    std::copy(countBytes.begin(), countBytes.end(), counts.begin());
    uint32_t total = 0;
    for (const uint8_t count : counts) total += count;
    if (!header.tables[classAndId].Build(counts, in.Take(total))) return kLj92Corrupt;
  }
  return kLj92Ok;
}

int ParseRestartInterval(Bytes segment, Lj92Header& header) {
  ByteReader in(segment);
  header.restartInterval = in.U16Be();
  return in.ok() ? kLj92Ok : kLj92Corrupt;
}

int ParseScanComponents(ByteReader& in, Lj92Header& header) {
  for (int c = 0; c < header.components; ++c) {
    if (in.U8() != header.componentIds[c]) return kLj92Unsupported;
    const uint8_t selector = in.U8();
    if (selector > 63 || !header.tables[selector >> 4].built()) return kLj92Corrupt;
    header.tableOfComponent[c] = selector >> 4;
  }
  return kLj92Ok;
}

int ParseScanHeader(Bytes segment, Lj92Header& header) {
  if (header.components == 0 || segment.empty()) return kLj92Corrupt;
  ByteReader in(segment);
  if (in.U8() != header.components) return kLj92Unsupported;
  if (segment.size() < 4 + 2 * size_t(header.components)) return kLj92Corrupt;
  if (const int result = ParseScanComponents(in, header); result != kLj92Ok) return result;

  header.predictor = in.U8();
  in.Skip(1);  // Se, meaningless here
  header.pointTransform = in.U8() & 0x0F;
  if (header.predictor < 1 || header.predictor > 7) return kLj92Unsupported;
  if (header.pointTransform >= header.precision) return kLj92Corrupt;
  if (header.restartInterval % header.samplesPerLine != 0) return kLj92Unsupported;
  header.restartLines = header.restartInterval / header.samplesPerLine;
  return kLj92Ok;
}

int ParseSegment(uint8_t marker, Bytes segment, Lj92Header& header) {
  switch (marker) {
    case kSof3:
      return ParseFrame(segment, header);
    case kDht:
      return ParseTables(segment, header);
    case kDri:
      return ParseRestartInterval(segment, header);
    case kSos:
      return ParseScanHeader(segment, header);
    case kDnl:
      return kLj92Unsupported;
    default:
      return (marker & 0xF0) == 0xC0 ? kLj92Unsupported : kLj92Ok;  // other coding processes, or segments that mean nothing here
  }
}

}  // namespace

int ParseLj92Header(Bytes stream, Lj92Header& header) {
  if (stream.size() < 4 || stream[0] != 0xFF || stream[1] != kSoi) return kLj92Corrupt;
  ByteReader in(stream);
  in.Skip(2);
  for (;;) {
    const uint8_t marker = NextMarker(in);
    if (!in.ok()) return kLj92Truncated;
    if (StandsAlone(marker)) continue;
    if (marker == kEoi) return kLj92Corrupt;
    const uint16_t length = in.U16Be();
    if (!in.ok()) return kLj92Truncated;
    if (length < 2) return kLj92Corrupt;
    const Bytes segment = in.Take(length - 2u);
    if (!in.ok()) return kLj92Truncated;
    if (const int result = ParseSegment(marker, segment, header); result != kLj92Ok) return result;
    if (marker == kSos) break;
  }
  header.scan = stream.subspan(in.position());
  return kLj92Ok;
}

}  // namespace qx
