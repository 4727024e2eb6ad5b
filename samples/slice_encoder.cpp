#include "samples/slice_encoder.h"

#include <algorithm>
#include <bit>
#include <span>

namespace qx {

namespace {

constexpr size_t kCell = 32;
constexpr size_t kLanes = 8;
constexpr unsigned kMaxWidth = 15;  // of a fixed-width residual
constexpr unsigned kZeroCell = 15;  // Rice code of a cell without data
constexpr unsigned kMaxQuotient = 15, kEscapeOnes = 16, kEscapeBits = 32;

using Cell = std::span<const uint16_t, kCell>;

uint16_t Zigzag(unsigned difference) {
  const auto d = int16_t(uint16_t(difference));
  return uint16_t(unsigned(d) << 1 ^ unsigned(d >> 15));
}

void RowFromLeft(const uint16_t* row, uint32_t width, uint16_t* residuals) {
  for (uint32_t x = 0; x < width; ++x) residuals[x] = x < 2 ? row[x] : Zigzag(unsigned(row[x]) - row[x - 2]);
}

unsigned MedianEdge(unsigned a, unsigned b, unsigned c) {
  const auto [low, high] = std::minmax(a, b);
  return c >= high ? low : c <= low ? high : a + b - c;
}

/// `up`: the row two above, which has the same colours.
void RowFromNeighbours(const uint16_t* row, const uint16_t* up, uint32_t width, unsigned flatThreshold, uint16_t* residuals) {
  for (uint32_t x = 0; x < std::min(width, 2u); ++x) residuals[x] = Zigzag(unsigned(row[x]) - up[x]);
  for (uint32_t x = 2; x < width; ++x) {
    const unsigned a = row[x - 2], b = up[x], c = up[x - 2], d = x + 2 < width ? up[x + 2] : b;
    const unsigned low = std::min(std::min(a, b), std::min(c, d)), high = std::max(std::max(a, b), std::max(c, d));
    const bool flat = high - low <= flatThreshold;
    const unsigned prediction = flat ? (std::min(a + b + c + d, 65535u) + 2) >> 2 : MedianEdge(a, b, c);
    residuals[x] = Zigzag(row[x] - prediction);
  }
}

/// Bits into bytes, the lowest first.
class BitSink {
 public:
  explicit BitSink(std::vector<uint8_t>* bytes) : bytes_(bytes) {}

  void Put(uint32_t value, unsigned count) {
    held_ |= uint64_t(value) << heldCount_;
    heldCount_ += count;
    for (; heldCount_ >= 8; heldCount_ -= 8, held_ >>= 8) bytes_->push_back(uint8_t(held_));
  }
  /// Fills the last byte with zeros.
  void Flush() {
    if (heldCount_ > 0) bytes_->push_back(uint8_t(held_));
    held_ = heldCount_ = 0;
  }

 private:
  std::vector<uint8_t>* bytes_;
  uint64_t held_ = 0;
  unsigned heldCount_ = 0;
};

void PutPlain(Cell cell, unsigned width, BitSink* bits) {
  for (const uint16_t residual : cell) bits->Put(residual, width);
}

/// The low `width` bits of residual j + 8i stand in lane j (of 8) at bit i × width; the lanes are then written 16 bits of each in turn,
/// the rest as 8 and 4 bits of each.
void PutInterleaved(Cell cell, unsigned width, std::vector<uint8_t>* out) {
  uint64_t lanes[kLanes] = {};
  for (size_t i = 0; i < kCell; ++i) {
    lanes[i % kLanes] |= uint64_t(cell[i] & ((1u << width) - 1)) << (i / kLanes * width);
  }
  unsigned bit = 0;
  for (; bit + 16 <= 4 * width; bit += 16) {
    for (const uint64_t lane : lanes) {
      out->push_back(uint8_t(lane >> bit));
      out->push_back(uint8_t(lane >> (bit + 8)));
    }
  }
  if ((width & 2) != 0) {
    for (const uint64_t lane : lanes) out->push_back(uint8_t(lane >> bit));
    bit += 8;
  }
  if ((width & 1) != 0) {
    for (size_t j = 0; j < kLanes; j += 2) out->push_back(uint8_t((lanes[j] >> bit & 15) | (lanes[j + 1] >> bit & 15) << 4));
  }
}

/// Ones, a zero, then the low bits; a quotient of 16 and more is written as 16 ones and the whole residual.
void PutRice(Cell cell, unsigned k, BitSink* bits) {
  for (const uint16_t residual : cell) {
    const unsigned quotient = residual >> k;
    if (quotient > kMaxQuotient) {
      bits->Put((1u << kEscapeOnes) - 1, kEscapeOnes);
      bits->Put(residual, 16);
    } else {
      bits->Put((1u << quotient) - 1, quotient + 1);
      bits->Put(residual & ((1u << k) - 1), k);
    }
  }
}

/// The part of a residual above its low `k` bits, lane by lane.
void PutHighParts(Cell cell, unsigned k, BitSink* bits) {
  for (size_t lane = 0; lane < kLanes; ++lane) {
    for (size_t i = lane; i < kCell; i += kLanes) {
      const unsigned high = unsigned(cell[i]) >> k;
      if (high > kMaxQuotient) {
        bits->Put((1u << kEscapeOnes) - 1, kEscapeOnes);
        bits->Put(high, 16 - k);
      } else {
        bits->Put((1u << high) - 1, high + 1);
      }
    }
  }
}

unsigned RiceBits(Cell cell, unsigned k) {
  unsigned total = 0;
  for (const uint16_t residual : cell) {
    const unsigned quotient = residual >> k;
    total += quotient > kMaxQuotient ? kEscapeBits : quotient + 1 + k;
  }
  return total;
}

unsigned BestRiceCode(Cell cell) {
  const unsigned any = unsigned(*std::max_element(cell.begin(), cell.end()));
  if (any == 0) return kZeroCell;
  // More low bits than the largest residual has only add zeros.
  const unsigned last = std::min(unsigned(std::bit_width(any)), kZeroCell - 1);
  unsigned best = 0, bestBits = RiceBits(cell, 0);
  for (unsigned k = 1; k <= last; ++k) {
    const unsigned bits = RiceBits(cell, k);
    if (bits < bestBits) {
      best = k;
      bestBits = bits;
    }
  }
  return best;
}

unsigned WidthOf(Cell cell) {
  return unsigned(std::bit_width(unsigned(*std::max_element(cell.begin(), cell.end()))));
}

bool IsFixedWidth(SlicePacking packing) {
  return packing == SlicePacking::kPlain || packing == SlicePacking::kInterleaved;
}

/// Writes the cells of one slice; `codes` has one code for each.
void PutCells(std::span<const uint16_t> residuals, std::span<const uint8_t> codes, SlicePacking packing, std::vector<uint8_t>* out) {
  const auto cellAt = [residuals](size_t i) { return Cell(residuals.subspan(i * kCell).first<kCell>()); };
  BitSink bits(out);
  for (size_t i = 0; i < codes.size(); ++i) {
    const unsigned code = codes[i];
    if (packing == SlicePacking::kPlain) PutPlain(cellAt(i), code, &bits);
    if (packing == SlicePacking::kInterleaved) PutInterleaved(cellAt(i), code, out);
    if (packing == SlicePacking::kRice && code != kZeroCell) PutRice(cellAt(i), code, &bits);
    if (packing == SlicePacking::kTwoPart && code != kZeroCell) PutInterleaved(cellAt(i), code, out);
  }
  for (size_t i = 0; i < codes.size() && packing == SlicePacking::kTwoPart; ++i) {
    if (codes[i] != kZeroCell) PutHighParts(cellAt(i), codes[i], &bits);
  }
  bits.Flush();
}

}  // namespace

std::vector<uint16_t> SliceResiduals(const SliceSamples& slice, uint8_t predictor, uint16_t flatThreshold) {
  const size_t rowCells = (slice.width + kCell - 1) / kCell;
  std::vector<uint16_t> residuals(rowCells * kCell * slice.rows);
  for (uint32_t y = 0; y < slice.rows; ++y) {
    const uint16_t* row = slice.samples + y * slice.stride;
    uint16_t* to = residuals.data() + y * rowCells * kCell;
    if (predictor == 0 || y < 2) {
      RowFromLeft(row, slice.width, to);
    } else {
      RowFromNeighbours(row, row - 2 * slice.stride, slice.width, flatThreshold, to);
    }
  }
  return residuals;
}

bool EncodeSlice(const SliceSamples& slice, const SliceCoding& coding, std::vector<uint8_t>* out) {
  const std::vector<uint16_t> residuals = SliceResiduals(slice, coding.predictor, coding.flatThreshold);
  std::vector<uint8_t> codes(residuals.size() / kCell);
  for (size_t i = 0; i < codes.size(); ++i) {
    const Cell cell(residuals.data() + i * kCell, kCell);
    codes[i] = uint8_t(IsFixedWidth(coding.packing) ? WidthOf(cell) : BestRiceCode(cell));
    if (codes[i] > kMaxWidth) return false;
  }
  for (size_t i = 0; i < codes.size(); i += 2) out->push_back(uint8_t(codes[i] | (i + 1 < codes.size() ? codes[i + 1] << 4 : 0)));
  PutCells(residuals, codes, coding.packing, out);
  return true;
}

}  // namespace qx
