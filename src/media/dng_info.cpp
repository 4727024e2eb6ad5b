#include "media/dng_info.h"

#include <algorithm>

#include "media/dng_parser.h"

namespace qx {

bool IsBayer(const DngInfo& info) {
  constexpr std::array<uint8_t, 4> kBayer[] = {{0, 1, 1, 2}, {2, 1, 1, 0}, {1, 0, 2, 1}, {1, 2, 0, 1}};
  return info.cfaRows == 2 && info.cfaCols == 2 && std::ranges::find(kBayer, info.cfa) != std::end(kBayer);
}

void dng_free(DngInfo* info) {
  *info = DngInfo();
}

void dng_describe_decoded(const DngInfo& in, DngInfo* out) {
  if (out != &in) *out = in;
  out->bigEndian = false;
  out->bitsPerSample = 16;
  out->samplesPerPixel = 1;
  out->compression = 1;
  out->fillOrder = 1;
  out->bytesPerRow = uint64_t(out->width) * 2;
  out->totalStripBytes = out->bytesPerRow * out->height;
  out->rowsPerStrip = out->height;
  out->stripOffsets.assign(1, 0);
  out->stripByteCounts.assign(1, out->totalStripBytes);
  out->tileWidth = out->tileLength = 0;
  out->contiguous = true;
}

}  // namespace qx
