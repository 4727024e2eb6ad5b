#include <cstring>

#include "base/checked.h"
#include "media/dng_parser.h"
#include "media/unpack_rows.h"
#include "platform/cpu_features.h"

namespace qx {

namespace {

/// One row of `width` samples; the depth and byte order are chosen once per frame.
class RowUnpacker {
 public:
  explicit RowUnpacker(const DngInfo& info) : bits_(info.bitsPerSample), bigEndian_(info.bigEndian), width_(info.width) {
    static const UnpackRowVariant& variant = FastestVariant(UnpackRowVariants());
    if (bits_ == 10) packed_ = variant.bits10;
    if (bits_ == 12) packed_ = variant.bits12;
    if (bits_ == 14) packed_ = variant.bits14;
  }

  void Unpack(Bytes row, uint16_t* out) const {
    if (packed_ != nullptr) return packed_(row, out, width_);
    if (bits_ == 8) return Widen(row.data(), out);
    if (bits_ == 16) return Copy16(row.data(), out);
    UnpackRowBits(row, bits_, out, width_);
  }

 private:
  void Widen(const uint8_t* in, uint16_t* out) const {
    for (uint32_t x = 0; x < width_; ++x) out[x] = in[x];
  }
  void Copy16(const uint8_t* in, uint16_t* out) const {
    if (bigEndian_) {
      for (uint32_t x = 0; x < width_; ++x) out[x] = LoadU16Be(in + size_t(x) * 2);
    } else {
      for (uint32_t x = 0; x < width_; ++x) out[x] = LoadU16Le(in + size_t(x) * 2);
    }
  }

  uint32_t bits_;
  bool bigEndian_;
  uint32_t width_;
  UnpackRowFunction packed_ = nullptr;
};

bool IsUnpackable(const DngInfo& info) {
  return info.width > 0 && info.compression == 1 && info.samplesPerPixel == 1 && !info.stripOffsets.empty() && info.tileWidth == 0 &&
         info.stripByteCounts.size() == info.stripOffsets.size() && info.bitsPerSample >= 1 && info.bitsPerSample <= 16 &&
         info.rowsPerStrip > 0;
}

}  // namespace

int dng_unpack_strips(const DngInfo& info, Bytes record, uint16_t* out) {
  if (!IsUnpackable(info)) return -1;
  const RowUnpacker unpacker(info);
  const uint64_t rowBytes = (uint64_t(info.width) * info.bitsPerSample + 7) / 8;
  for (uint32_t y = 0; y < info.height; ++y, out += info.width) {
    const uint32_t strip = y / info.rowsPerStrip;
    if (strip >= info.stripOffsets.size()) return -1;
    const uint64_t start = uint64_t(y % info.rowsPerStrip) * rowBytes;
    const uint64_t offset = info.stripOffsets[strip], stripBytes = info.stripByteCounts[strip];
    if (!RangeFits(offset, stripBytes, record.size()) || !RangeFits(start, rowBytes, stripBytes)) return -1;
    unpacker.Unpack(record.subspan(size_t(offset + start), size_t(rowBytes)), out);
  }
  return 0;
}

}  // namespace qx
