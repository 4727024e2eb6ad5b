#include "qorix/frame_head.h"

#include <algorithm>

#include "qorix/chunk_head.h"

namespace qx {

namespace {

constexpr uint8_t kSplitLayout = 3;

bool HasSlices(const FrameHead& head, uint32_t slices, Message message) {
  if (slices > 0 && head.width > 0 && head.height > 0 && head.rowsPerSlice > 0) return true;
  message.Set("slice table not in the head or empty frame (%ux%u, slices %d of %u)", unsigned(head.width), unsigned(head.height),
              int(slices), unsigned(head.sliceCount));
  return false;
}

bool SlicesCoverFrame(const FrameHead& head, uint32_t slices, Message message) {
  const uint32_t needed = (uint32_t(head.height) + head.rowsPerSlice - 1) / head.rowsPerSlice;
  if (needed == slices) return true;
  message.Set("slices %d, but height %u with %u rows gives %u", int(slices), unsigned(head.height), unsigned(head.rowsPerSlice), needed);
  return false;
}

bool CodingIsKnown(const FrameHead& head, Message message) {
  if (head.coder <= 1 && head.predictor <= 1 && head.mode <= 1) return true;
  message.Set("coder %u, predictor %u, mode %u — not for this reader", unsigned(head.coder), unsigned(head.predictor), unsigned(head.mode));
  return false;
}

/// 0 exists for both coders; each has one other.
bool LayoutFitsCoder(uint8_t layout, uint8_t coder) {
  return layout == 0 || layout == (coder == 0 ? 1 : 2);
}

bool LayoutsAreKnown(const FrameHead& head, uint32_t slices, Message message) {
  const bool boundaryInside = head.layout != kSplitLayout || (head.boundary >= 1 && head.boundary < slices);
  if (boundaryInside && LayoutFitsCoder(EffectiveLayout(head, 0), head.coder) &&
      LayoutFitsCoder(EffectiveLayout(head, slices - 1), head.coder)) {
    return true;
  }
  message.Set("layout %u (parts 0x%02X, boundary %u) with coder %u — do not decode", unsigned(head.layout), unsigned(head.parts),
              unsigned(head.boundary), unsigned(head.coder));
  return false;
}

}  // namespace

bool ReadFrameHead(RecordingScan* scan, const ChunkRecord& chunk, FrameHead* head) {
  const Bytes bytes = recording_read_range(scan, chunk.offset, std::min<uint32_t>(chunk.headLength, kFrameHeadBytes));
  if (bytes.empty()) return false;
  const HeadFields fields(bytes);
  *head = {};
  head->width = fields.U16(44);
  head->height = fields.U16(46);
  head->left = fields.U16(48);
  head->top = fields.U16(50);
  head->sampleShift = fields.U8(53);
  head->mode = fields.U8(54);
  head->coder = fields.U8(55);
  head->predictor = fields.U8(56);
  head->layout = fields.U8(57);
  head->flatThreshold = fields.U16(58);
  head->sliceCount = fields.U16(60);
  head->rowsPerSlice = fields.U16(62);
  head->table.tableNumber = fields.U32(68, 0xFFFFFFFF);
  head->table.p72 = fields.F32(72);
  head->table.p76 = fields.F32(76);
  head->table.p80 = fields.F32(80);
  head->table.p84 = fields.F32(84);
  head->table.p88 = fields.U16(88);
  head->table.p90 = fields.U16(90);
  head->hasSliceCrcs = fields.U8(92) != 0;
  head->parts = fields.U8(93);
  head->boundary = fields.U16(94);
  return true;
}

uint8_t EffectiveLayout(const FrameHead& head, uint32_t slice) {
  if (head.layout != kSplitLayout) return head.layout;
  return slice < head.boundary ? head.parts & 15 : head.parts >> 4;
}

SliceFormat SliceFormatOf(const FrameHead& head, uint32_t slice) {
  SliceFormat format;
  format.width = head.width;
  format.rows = std::min<uint32_t>(head.rowsPerSlice, head.height - slice * head.rowsPerSlice);
  format.coder = head.coder;
  format.layout = SliceLayout(EffectiveLayout(head, slice));
  format.predictor = head.predictor;
  format.flatThreshold = head.flatThreshold;
  return format;
}

bool CheckFrameHead(const FrameHead& head, uint32_t slices, Message message) {
  return HasSlices(head, slices, message) && SlicesCoverFrame(head, slices, message) && CodingIsKnown(head, message) &&
         LayoutsAreKnown(head, slices, message);
}

}  // namespace qx
