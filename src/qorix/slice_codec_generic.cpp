#include "qorix/slice_predict.h"
#include "qorix/slice_variants.h"

namespace qx {

namespace {

/// Bits of bytes, the lowest first. Reading past the end fails for good and yields zeros.
class BitReader {
 public:
  explicit BitReader(Bytes bytes) : bytes_(bytes) {}

  /// The next `count` bits (at most 16), first in the lowest place.
  uint32_t Take(uint32_t count) {
    for (; heldBits_ < count; heldBits_ += 8) held_ |= NextByte() << heldBits_;
    const uint32_t value = held_ & ((1u << count) - 1);
    held_ >>= count;
    heldBits_ -= count;
    return value;
  }
  /// Skips the ones before the next zero, and it: their number. After 16 ones it stops before whatever follows.
  uint32_t TakeOnes() {
    uint32_t ones = 0;
    while (ones < kEscapeOnes && Take(1) == 1) ++ones;
    return ones;
  }
  /// Nothing is left but the unused bits of the last byte.
  bool AtEnd() const { return ok_ && next_ == bytes_.size(); }
  bool ok() const { return ok_; }

 private:
  uint32_t NextByte() {
    if (next_ < bytes_.size()) return bytes_[next_++];
    ok_ = false;
    return 0;
  }

  Bytes bytes_;
  size_t next_ = 0;
  uint32_t held_ = 0, heldBits_ = 0;
  bool ok_ = true;
};

/// 32 values of `bits` each, one after the other.
void UnpackPlain(Bytes data, uint32_t bits, uint16_t* cell) {
  BitReader reader(data);
  for (uint32_t i = 0; i < kCellSamples; ++i) cell[i] = uint16_t(reader.Take(bits));
}

/// Eight lanes of 4 × bits: groups of 16 bits of each lane as long as they last, then 8 bits of each, then 4 bits of each. Lane j holds the
/// values j, j + 8, j + 16 and j + 24.
void UnpackInterleaved(Bytes data, uint32_t bits, uint16_t* cell) {
  uint64_t lanes[8] = {};
  BitReader reader(data);
  uint32_t filled = 0;
  for (const uint32_t group : {16, 16, 16, 8, 4}) {
    if (group == 16 ? 4 * bits - filled < 16 : (4 * bits & group) == 0) continue;
    for (uint64_t& lane : lanes) lane |= uint64_t(reader.Take(group)) << filled;
    filled += group;
  }
  for (uint32_t i = 0; i < kCellSamples; ++i) cell[i] = uint16_t(lanes[i % 8] >> (i / 8 * bits) & ((1u << bits) - 1));
}

void ReadRice(BitReader& reader, uint32_t k, uint16_t* cell) {
  for (uint32_t i = 0; i < kCellSamples; ++i) {
    const uint32_t ones = reader.TakeOnes();
    cell[i] = uint16_t(ones == kEscapeOnes ? reader.Take(16) : ones << k | reader.Take(k));
  }
}

/// Adds the part above the low k bits, which comes lane by lane.
void ReadHighParts(BitReader& reader, uint32_t k, uint16_t* cell) {
  for (uint32_t n = 0; n < kCellSamples; ++n) {
    uint32_t high = reader.TakeOnes();
    if (high == kEscapeOnes) high = reader.Take(16 - k);
    cell[n % 4 * 8 + n / 4] |= uint16_t(high << k);
  }
}

/// The cells of a slice in their order.
class CellReader {
 public:
  CellReader(Bytes bytes, const SliceFormat& format, const SliceCodes& codes)
      : format_(format),
        codes_(codes.codes),
        fixed_(bytes.subspan(codes.dataBegin, FixedSize(bytes, format, codes))),
        bits_(bytes.subspan(codes.dataBegin + fixed_.size())) {}

  /// False when the data ends too early.
  bool Next(uint16_t* cell) {
    const uint32_t code = CellCode(codes_, cell_++);
    if (code == (format_.coder == 0 ? 0 : kZeroRiceCode)) {
      for (uint32_t i = 0; i < kCellSamples; ++i) cell[i] = 0;
      return true;
    }
    if (format_.coder == 1 && format_.layout == SliceLayout::kPlain) {
      ReadRice(bits_, code, cell);
      return bits_.ok();
    }
    if (FixedBytes(code) > fixed_.size()) return false;
    const Bytes data = fixed_.first(FixedBytes(code));
    fixed_ = fixed_.subspan(data.size());
    if (format_.layout == SliceLayout::kPlain) {
      UnpackPlain(data, code, cell);
    } else {
      UnpackInterleaved(data, code, cell);
    }
    if (format_.coder == 1) ReadHighParts(bits_, code, cell);
    return bits_.ok();
  }

  bool AtEnd() const { return fixed_.empty() && bits_.AtEnd(); }

 private:
  /// Bytes before the bit stream: all of them with coder 0.
  static size_t FixedSize(Bytes bytes, const SliceFormat& format, const SliceCodes& codes) {
    const uint64_t left = bytes.size() - codes.dataBegin;
    return size_t(format.coder == 0 || codes.fixedBytes > left ? left : codes.fixedBytes);
  }

  const SliceFormat& format_;
  const uint8_t* codes_;
  Bytes fixed_;
  BitReader bits_;
  uint64_t cell_ = 0;
};

uint16_t* RowAt(uint16_t* out, size_t strideBytes, uint32_t row) {
  return reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(out) + strideBytes * row);
}

}  // namespace

bool DecodeSliceGeneric(Bytes bytes, const SliceFormat& format, SliceScratch& scratch, uint16_t* out, size_t strideBytes) {
  const SliceCodes codes = ReadSliceCodes(bytes, format);
  if (!codes.complete || !ReserveSliceScratch(format.width, scratch)) return false;
  const uint64_t rowCells = CellsPerRow(format.width);
  auto* residuals = reinterpret_cast<uint16_t*>(scratch.bytes.data());
  CellReader cells(bytes, format, codes);
  for (uint32_t y = 0; y < format.rows; ++y) {
    for (uint64_t i = 0; i < rowCells; ++i) {
      if (!cells.Next(residuals + i * kCellSamples)) return false;
    }
    uint16_t* row = RowAt(out, strideBytes, y);
    if (format.predictor == 0 || y < 2) {
      ReconstructFromLeft(residuals, format.width, row);
    } else {
      ReconstructFromNeighbours(residuals, RowAt(out, strideBytes, y - 2), format.width, format.flatThreshold, row);
    }
  }
  return cells.AtEnd();
}

void DecodeSliceGroupGeneric(std::span<SliceJob> jobs, SliceScratch& scratch, size_t strideBytes) {
  for (SliceJob& job : jobs) job.good = DecodeSliceGeneric(job.bytes, job.format, scratch, job.out, strideBytes);
}

}  // namespace qx
