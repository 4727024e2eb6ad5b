#include <algorithm>

#include "base/byte_reader.h"
#include "qorix/decoded_frame.h"
#include "qorix/frame_head.h"

namespace qx {

namespace {

/// Forgets the frame before; buffers stay.
void Reset(DecodedFrame* frame, int32_t frameIndex) {
  frame->frameIndex = frameIndex;
  frame->chunk = nullptr;
  frame->head = {};
  frame->decodable = frame->hasTags = frame->fieldIsCropped = false;
  frame->message.Clear();
  frame->sliceDataOffset = frame->sliceDataSize = frame->availableSize = 0;
  frame->sliceOffsets.clear();
  frame->sliceSizes.clear();
  frame->sliceCrcs.clear();
  frame->sliceStatus.clear();
  frame->tableMode = 0;
  frame->table.reset();
  frame->badSlices = frame->substitutedSlices = frame->outsideSlices = 0;
}

/// Sizes and CRCs of the slices; a table that does not lie within the chunk's checked bytes leaves them empty. False when it cannot be
/// read.
bool ReadSliceTable(RecordingScan* scan, DecodedFrame* frame) {
  const ChunkRecord& chunk = *frame->chunk;
  const uint32_t slices = frame->head.sliceCount;
  const uint64_t bytes = uint64_t(slices) * (frame->head.hasSliceCrcs ? 8 : 4);
  if (slices == 0 || chunk.headLength + bytes > chunk.usedSize) return true;
  ByteReader table(recording_read_range(scan, chunk.offset + chunk.headLength, bytes));
  if (table.remaining() < bytes) return false;
  for (uint32_t i = 0; i < slices; ++i) {
    frame->sliceOffsets.push_back(frame->sliceDataSize);
    frame->sliceSizes.push_back(table.U32Le());
    frame->sliceDataSize += frame->sliceSizes.back();
  }
  for (uint32_t i = 0; i < slices && frame->head.hasSliceCrcs; ++i) frame->sliceCrcs.push_back(table.U32Le());
  frame->sliceStatus.assign(slices, kSliceGood);
  return true;
}

void LocateSliceData(const RecordingScan& scan, DecodedFrame* frame) {
  const ChunkRecord& chunk = *frame->chunk;
  const uint64_t end = std::min(chunk.offset + chunk.totalSize, scan.fileSize);
  frame->sliceDataOffset = chunk.offset + chunk.usedSize;
  frame->availableSize = end > frame->sliceDataOffset ? end - frame->sliceDataOffset : 0;
}

}  // namespace

int frame_setup(RecordingScan* scan, int32_t frameIndex, TableCache* tables, CameraModules* modules, WorkerPool* pool,
                DecodedFrame* frame) {
  Reset(frame, frameIndex);
  const Message message = frame->message.view();
  if (frameIndex < 0 || size_t(frameIndex) >= scan->frames.size()) return message.Fail("frame %d missing", frameIndex);
  frame->chunk = &scan->records[size_t(scan->frames[size_t(frameIndex)].record)];
  if (!ReadFrameHead(scan, *frame->chunk, &frame->head) || !ReadSliceTable(scan, frame)) {
    return message.Fail("frame head cannot be read");
  }
  LocateSliceData(*scan, frame);
  if (!CheckFrameHead(frame->head, uint32_t(frame->sliceSizes.size()), message)) return 0;
  if (frame->head.mode == 1) {
    frame->table = tables->Get(scan, frame->head.table, pool, message);
    if (frame->table == nullptr) return 0;
    frame->tableMode = frame->table->mode;
  }
  frame->decodable = true;
  frame_meta_read(scan, frame->chunk->seq, &frame->meta);
  return build_frame_tags(scan, modules, frame);
}

}  // namespace qx
