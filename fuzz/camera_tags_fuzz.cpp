// Builds the tags of one frame from bytes:
//   0 … 63     frame and header, as FillInputs() takes them
//   64 … 69    lengths of the three item lists that follow (u16 each): static, of the camera module, of the frame
//   then       the lists, and the rest is the shading map
// Whatever the items say, the block parses or a message tells why not, and it stays about as large as its inputs.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <numeric>

#include "base/byte_source.h"
#include "qorix/decoded_frame.h"

namespace {

using namespace qx;

constexpr size_t kFieldBytes = 64;
constexpr uint32_t kShadingSeq = 1;

struct Inputs {
  RecordingScan scan;
  CameraModules modules;
  DecodedFrame frame;
  ChunkRecord chunk;
};

RectU16 TakeRect(ByteReader* fields) {
  RectU16 rect;
  for (uint16_t* side : {&rect.left, &rect.top, &rect.right, &rect.bottom}) *side = fields->U16Le();
  return rect;
}

// What frame_setup() guarantees of a frame: at least one sample, and a table when there is a mode.
void FillInputs(ByteReader* fields, Inputs* in) {
  RecordingHeader& header = in->scan.header;
  header.present = true;
  header.cfaCode = uint8_t(fields->U8() & 7);
  header.timeZoneMinutes = int16_t(fields->U16Le());
  header.rotationDegrees = int16_t(fields->U16Le());
  header.sensorStartNs = fields->U8();
  header.wallClockStartNs = fields->U64Le();
  header.sensorWidth = fields->U16Le();
  header.sensorHeight = fields->U16Le();
  header.rectangle1 = TakeRect(fields);
  header.rectangle2 = TakeRect(fields);
  header.white = int32_t(fields->U32Le());
  for (int32_t& black : header.black) black = int16_t(fields->U16Le());
  header.playbackNumerator = fields->U16Le();
  header.playbackDenominator = fields->U8();

  FrameHead& head = in->frame.head;
  head.width = std::max<uint16_t>(fields->U16Le(), 1);
  head.height = std::max<uint16_t>(fields->U16Le(), 1);
  const uint8_t odd = fields->U8();
  head.left = odd & 1;
  head.top = odd >> 1 & 1;
  in->frame.tableMode = (odd >> 2) % 3;
  head.table.p88 = fields->U16Le();
  if (in->frame.tableMode != 0) {
    auto table = std::make_shared<DecodingTable>();
    table->mode = in->frame.tableMode;
    table->bitDepth = 1 + odd % 16;
    table->shift = odd >> 4;
    table->lut.resize(size_t(1) << (odd >> 4));
    std::iota(table->lut.begin(), table->lut.end(), uint16_t(0));
    in->frame.table = table;
  }
  in->scan.frameSlots.assign(1, int64_t(int32_t(fields->U32Le())));
}

void AddBlob(uint64_t offset, size_t length, uint16_t kind, uint32_t seq, RecordingScan* scan) {
  if (offset < kChunkHeaderBytes) return;
  // The head is what stands before the payload in the input, whatever that is.
  scan->records.push_back({.offset = offset - kChunkHeaderBytes, .tag = kTagBlob, .headLength = kChunkHeaderBytes});
  ChunkRecord& record = scan->records.back();
  record.totalSize = record.usedSize = uint32_t(kChunkHeaderBytes + length);
  record.seq = seq;
  record.key1 = kind;
  record.key2 = uint32_t(length);
  scan->blobs.push_back({seq, kind, int32_t(scan->records.size() - 1)});
}

void FillFrameMeta(Bytes list, FrameMeta* meta) {
  meta->bodies.assign(list.begin(), list.end());
  ForEachItem(meta->bodies, [meta](uint16_t id, Bytes value) { meta->items.push_back({id, value}); });
  std::ranges::stable_sort(meta->items, {}, &FrameMeta::Entry::id);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes input(data, size);
  ByteReader reader(input);
  ByteReader fields(reader.Take(kFieldBytes));
  uint16_t lengths[3] = {};
  for (uint16_t& length : lengths) length = uint16_t(std::min<size_t>(reader.U16Le(), size));
  if (!reader.ok()) return 0;

  const MemorySource source(input);
  Inputs in;
  in.scan.file = &source;
  in.scan.fileSize = size;
  FillInputs(&fields, &in);
  const auto takeList = [&](size_t length) { return reader.Take(std::min<size_t>(length, reader.remaining())); };
  const Bytes staticList = takeList(lengths[0]), moduleList = takeList(lengths[1]), frameList = takeList(lengths[2]);
  const Bytes map = takeList(size);
  in.scan.staticMetadata.assign(staticList.begin(), staticList.end());
  AddBlob(uint64_t(map.data() - data), map.size(), kBlobShadingMap, kShadingSeq, &in.scan);
  AddBlob(uint64_t(moduleList.data() - data), moduleList.size(), kBlobCameraModule, 0, &in.scan);
  FillFrameMeta(frameList, &in.frame.meta);
  in.chunk.timestamp = size;
  in.frame.chunk = &in.chunk;
  in.frame.frameIndex = 0;

  if (build_frame_tags(&in.scan, &in.modules, &in.frame) != 0) std::abort();
  if (in.frame.hasTags == (in.frame.message.text()[0] != 0)) std::abort();
  // Entries, texts, the gain maps and a table of at most 65,536 values.
  if (in.frame.tags.size() > 4096 + 2 * size + 131072) std::abort();
  if (in.frame.hasTags && (in.frame.dng.width != in.frame.head.width || in.frame.dng.height != in.frame.head.height)) std::abort();
  return 0;
}
