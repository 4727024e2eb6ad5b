#include "samples/qorix_frame.h"

#include <algorithm>

namespace qx {

namespace {

constexpr uint8_t kSplitLayout = 3;

SlicePacking PackingOf(uint8_t coder, uint8_t layout) {
  if (coder == 0) return layout == 0 ? SlicePacking::kPlain : SlicePacking::kInterleaved;
  return layout == 0 ? SlicePacking::kRice : SlicePacking::kTwoPart;
}

bool LayoutExists(uint8_t coder, uint8_t layout) {
  return layout == 0 || layout == (coder == 0 ? 1 : 2);
}

bool FormatExists(const QorixFrameFormat& format) {
  if (format.width == 0 || format.height == 0 || format.rowsPerSlice == 0 || format.coder > 1 || format.predictor > 1) return false;
  const uint32_t slices = QorixSliceCount(format);
  if (format.layout == kSplitLayout && (format.boundary < 1 || format.boundary >= slices)) return false;
  return LayoutExists(format.coder, QorixSliceLayout(format, 0)) && LayoutExists(format.coder, QorixSliceLayout(format, slices - 1));
}

}  // namespace

uint8_t QorixSliceLayout(const QorixFrameFormat& format, uint32_t slice) {
  if (format.layout != kSplitLayout) return format.layout;
  return slice < format.boundary ? format.parts & 15 : format.parts >> 4;
}

uint32_t QorixSliceCount(const QorixFrameFormat& format) {
  return format.rowsPerSlice == 0 ? 0 : (uint32_t(format.height) + format.rowsPerSlice - 1) / format.rowsPerSlice;
}

bool EncodeFrame(const QorixFrameFormat& format, std::span<const uint16_t> samples, QorixFrameSlices* slices) {
  *slices = {};
  if (!FormatExists(format) || samples.size() < size_t(format.width) * format.height) return false;
  slices->data.reserve(samples.size());
  for (uint32_t i = 0; i < QorixSliceCount(format); ++i) {
    const uint32_t firstRow = i * format.rowsPerSlice;
    const SliceSamples slice = {samples.data() + size_t(firstRow) * format.width, format.width, format.width,
                                std::min<uint32_t>(format.rowsPerSlice, format.height - firstRow)};
    const size_t begin = slices->data.size();
    const SliceCoding coding = {PackingOf(format.coder, QorixSliceLayout(format, i)), format.predictor, format.flatThreshold};
    if (!EncodeSlice(slice, coding, &slices->data)) return false;
    slices->sizes.push_back(uint32_t(slices->data.size() - begin));
    slices->crcs.push_back(Crc32cOf(std::span(slices->data).subspan(begin)));
  }
  return true;
}

QorixChunk FrameChunk(const QorixFrameFormat& format, const QorixFrameSlices& slices, uint32_t number, uint64_t timestampNs) {
  QorixFields head;
  head.U32(0).U16(format.width).U16(format.height).U16(format.left).U16(format.top).U8(0).U8(format.sampleShift).U8(format.mode);
  head.U8(format.coder).U8(format.predictor).U8(format.layout).U16(format.flatThreshold).U16(slices.sizes.size());
  head.U16(format.rowsPerSlice).U32(0).U32(format.table.number);
  head.F32(format.table.p72).F32(format.table.p76).F32(format.table.p80).F32(format.table.p84);
  head.U16(format.table.p88).U16(format.table.p90).U8(format.sliceCrcs ? 1 : 0).U8(format.parts).U16(format.boundary);

  QorixFields table;
  for (const uint32_t size : slices.sizes) table.U32(size);
  for (const uint32_t crc : slices.crcs) {
    if (format.sliceCrcs) table.U32(crc);
  }
  QorixChunk chunk = {.tag = QorixTag("QXRF"), .seq = number, .timestampNs = timestampNs, .head = head.bytes(), .body = table.bytes()};
  chunk.head.resize(std::clamp<size_t>(format.headLength, kQorixChunkHeader, kQorixChunkHeader + chunk.head.size()) - kQorixChunkHeader);
  return chunk;
}

}  // namespace qx
