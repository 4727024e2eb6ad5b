#include "media/dng_parser.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "base/checked.h"
#include "media/dng_opcodes.h"
#include "media/dng_tags.h"

namespace qx {

namespace {

/// Back to an empty DngInfo, but the arrays keep their memory for the next frame of the clip.
void ClearKeepingMemory(DngInfo* info) {
  DngInfo fresh;
  fresh.stripOffsets.swap(info->stripOffsets);
  fresh.stripByteCounts.swap(info->stripByteCounts);
  fresh.linearization.swap(info->linearization);
  fresh.gainMaps.swap(info->gainMaps);  // FillOpcodes() overwrites or drops the old elements
  fresh.stripOffsets.clear();
  fresh.stripByteCounts.clear();
  fresh.linearization.clear();
  *info = std::move(fresh);
}

void FillGeometry(const ImageIfd& raw, DngInfo* info) {
  info->width = raw.width;
  info->height = raw.height;
  info->bitsPerSample = std::max(raw.bitsPerSample, 1u);
  info->samplesPerPixel = std::max(raw.samplesPerPixel, 1u);
  info->compression = raw.compression == 0 ? 1 : raw.compression;
  info->photometric = raw.photometric;
  info->planarConfiguration = std::max(raw.planarConfiguration, 1u);
  info->fillOrder = std::max(raw.fillOrder, 1u);
  info->rowsPerStrip = raw.rowsPerStrip == 0 ? raw.height : raw.rowsPerStrip;
  info->tileWidth = raw.tileWidth;
  info->tileLength = raw.tileLength;
  // A row that no 64-bit size can hold fits no strip.
  const auto rowBits = CheckedMul(uint64_t(info->bitsPerSample) * info->width, info->samplesPerPixel);
  info->bytesPerRow = rowBits ? *rowBits / 8 + (*rowBits % 8 != 0) : UINT64_MAX;
}

// No image has more strips or tiles. A record may hold a count a thousand times as high at one byte each, which would take gigabytes here.
constexpr uint32_t kMaxStrips = 1 << 20;

int FillStrips(const ImageIfd& raw, uint64_t recordSize, DngInfo* info, Message message) {
  const uint32_t count = raw.stripOffsets.count;
  if (count > kMaxStrips) {  // as when memory is short: no message
    message.Clear();
    return -1;
  }
  info->stripOffsets.reserve(count);
  info->stripByteCounts.reserve(count);
  info->contiguous = raw.tileWidth == 0;
  uint64_t end = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t offset = raw.stripOffsets.U64(i);
    const uint64_t bytes = raw.stripByteCounts.U64(i);
    if (!RangeFits(offset, bytes, recordSize)) {
      return message.Fail("strip %u outside the record (%llu+%llu > %zu)", i, static_cast<unsigned long long>(offset),
                          static_cast<unsigned long long>(bytes), static_cast<size_t>(recordSize));
    }
    if (i > 0 && offset != end) info->contiguous = false;
    end = offset + bytes;
    info->totalStripBytes += bytes;
    info->stripOffsets.push_back(offset);
    info->stripByteCounts.push_back(bytes);
  }
  return 0;
}

void FillCfa(const ImageIfd& raw, DngInfo* info) {
  if (raw.cfaRepeatDim.Has(2)) {
    info->cfaRows = raw.cfaRepeatDim.U32(0);
    info->cfaCols = raw.cfaRepeatDim.U32(1);
  }
  if (!raw.cfaPattern.Has(4) || info->cfaRows != 2 || info->cfaCols != 2) return;
  uint8_t planeColor[3] = {0, 1, 2};
  if (raw.cfaPlaneColor.Has(3)) {
    for (uint32_t i = 0; i < 3; ++i) planeColor[i] = raw.cfaPlaneColor.U8(i);
  }
  for (uint32_t i = 0; i < 4; ++i) {
    const uint8_t color = raw.cfaPattern.U8(i);
    info->cfa[i] = color < 3 ? planeColor[color] : color;
  }
}

void FillBlack(const ImageIfd& raw, DngInfo* info) {
  uint64_t rows = 1, cols = 1;
  if (raw.blackRepeatDim.Has(2)) {
    rows = std::max(raw.blackRepeatDim.U32(0), 1u);
    cols = std::max(raw.blackRepeatDim.U32(1), 1u);
  }
  for (uint32_t i = 0; i < 4; ++i) {
    const uint64_t r = i / 2 < rows ? i / 2 : 0;
    const uint64_t c = i % 2 < cols ? i % 2 : 0;
    const uint64_t position = r * cols + c;
    // The position is compared first so that the product cannot overflow.
    info->black[i] = position < raw.black.count ? float(raw.black.Number(position * info->samplesPerPixel)) : 0.0f;
  }
  info->hasBlackDelta = raw.hasBlackDelta;
}

void FillLinearization(const TiffValue& table, std::vector<uint16_t>* out) {
  if (!table.present) return;
  constexpr uint32_t kMaxEntries = 65536;  // 16-bit samples reach no further
  const uint32_t count = std::min(table.count, kMaxEntries);
  out->resize(count);
  if (table.type != kTiffShort) {
    for (uint32_t i = 0; i < count; ++i) (*out)[i] = table.U16(i);
    return;
  }
  const auto load = table.order == ByteOrder::kBig ? LoadU16Be : LoadU16Le;
  for (uint32_t i = 0; i < count; ++i) (*out)[i] = load(table.bytes.data() + size_t(i) * 2);
}

void FillLevels(const ImageIfd& raw, DngInfo* info) {
  FillBlack(raw, info);
  // Depths above 32 bits are nonsense that must not become infinity.
  info->white = raw.white.Has(1) ? float(raw.white.Number(0)) : float(std::ldexp(1.0, int(std::min(info->bitsPerSample, 32u))) - 1);
  FillLinearization(raw.linearization, &info->linearization);
}

void FillAreas(const ImageIfd& raw, DngInfo* info) {
  info->activeBottom = info->height;
  info->activeRight = info->width;
  if (raw.activeArea.Has(4)) {
    info->activeTop = raw.activeArea.U32(0);
    info->activeLeft = raw.activeArea.U32(1);
    info->activeBottom = raw.activeArea.U32(2);
    info->activeRight = raw.activeArea.U32(3);
  }
  info->cropWidth = float(double(info->activeRight) - info->activeLeft);
  info->cropHeight = float(double(info->activeBottom) - info->activeTop);
  const auto take = [](const TiffValue& value, float* first, float* second) {
    if (!value.Has(2)) return;
    *first = float(value.Number(0));
    *second = float(value.Number(1));
  };
  take(raw.cropOrigin, &info->cropX, &info->cropY);
  take(raw.cropSize, &info->cropWidth, &info->cropHeight);
  take(raw.defaultScale, &info->scaleH, &info->scaleV);
}

void FillOpcodes(const ImageIfd& raw, DngInfo* info) {
  const TiffValue* lists[] = {&raw.opcodeList1, &raw.opcodeList2, &raw.opcodeList3};
  for (size_t i = 0; i < info->opcodeLists.size(); ++i) {
    OpcodeListInfo& list = info->opcodeLists[i];
    list.present = lists[i]->present;
    list.offset = lists[i]->offset;
    list.size = lists[i]->bytes.size();
  }
  if (raw.opcodeList1.present) ParseOpcodeList(raw.opcodeList1.bytes, &info->opcodeLists[0]);
  if (raw.opcodeList2.present) {
    ParseGainMapList(raw.opcodeList2.bytes, &info->opcodeLists[1], &info->gainMaps);
  } else {
    info->gainMaps.clear();
  }
  if (raw.opcodeList3.present) ParseWarpList(raw.opcodeList3.bytes, &info->opcodeLists[2], &info->warp);
}

int Parse(Bytes record, DngInfo* info, Message message) {
  ClearKeepingMemory(info);
  DngTagRouter router(info);
  const int visited = tiff_walk(record, [&router](const TiffEntry& entry) { router.Take(entry); });
  if (visited == -2) return message.Fail("BigTIFF is not supported");
  if (visited < 0) return message.Fail("not TIFF");
  info->bigEndian = record[0] == 'M';

  const ImageIfd* raw = router.Finish();
  if (raw == nullptr) return message.Fail("no IFD with RAW (Photometric CFA/LinearRaw)");
  FillGeometry(*raw, info);
  if (FillStrips(*raw, record.size(), info, message) != 0) return -1;
  FillCfa(*raw, info);
  FillLevels(*raw, info);
  FillAreas(*raw, info);
  FillOpcodes(*raw, info);
  return 0;
}

}  // namespace

int dng_parse(Bytes record, DngInfo* info, Message message) {
  int result = -1;
  try {
    result = Parse(record, info, message);
  } catch (const std::bad_alloc&) {
    message.Clear();
  }
  if (result != 0) dng_free(info);
  return result;
}

}  // namespace qx
