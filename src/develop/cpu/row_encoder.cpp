#include "develop/cpu/row_encoder.h"

#include <algorithm>
#include <bit>

namespace qx {

namespace {

// The Rec.709 curve jumps by about 16 codes where its straight and its curved part meet, so a piece has to begin exactly there.
constexpr float kStraightEnd = 0.018f, kStraightSlope = 4.5f;
// 512 pieces an octave: the chords are then less than 0.05 codes off, the knee included.
constexpr int kRec709Shift = 14;
// Far above any exposure; bounds the table for a broken one.
constexpr float kLargestWhite = 1048576;
constexpr int kLogShift = 16;
constexpr float kLargestLogInput = 1000000;  // the tables are white from there on
constexpr int kLutChunk = 256;

}  // namespace

bool RowEncoder::Update(const EncodingState& state) {
  state_ = state;
  if (state.profile == 0) {
    if (state.white != rec709White_ && !BuildRec709(state.white)) return false;
    curve_ = rec709_;
    if (state.lut != nullptr && state.lut != widened_ && state.lut->size1D == 0) return WidenLut(*state.lut);
  } else if (state.kind != OutputKind::kLinear) {
    curve_ = {GetCurveTable(state.kind), 0, kLogShift, kLargestLogInput};
  }
  return true;
}

bool RowEncoder::BuildRec709(float white) {
  const float largest = white > 1 ? std::min(white, kLargestWhite) : 1;
  const int32_t firstBits = std::bit_cast<int32_t>(kStraightEnd), pieceWidth = 1 << kRec709Shift;
  const int32_t pieces = ((std::bit_cast<int32_t>(largest) - firstBits) >> kRec709Shift) + 1;
  rec709White_.reset();
  if (!pieces_.Reserve(uint64_t(pieces) + 1)) return false;

  const float beforeStart = std::bit_cast<float>(firstBits - pieceWidth);
  pieces_[0] = {kStraightSlope * beforeStart * 65535, kStraightSlope * 65535};
  float start = kStraightEnd, atStart = Encode709(start, white) * 65535;
  for (int32_t i = 0; i < pieces; ++i) {
    const float end = std::min(std::bit_cast<float>(firstBits + (i + 1) * pieceWidth), largest);
    const float atEnd = Encode709(end, white) * 65535;
    pieces_[size_t(i) + 1] = {atStart, end > start ? (atEnd - atStart) / (end - start) : 0};
    start = end;
    atStart = atEnd;
  }
  rec709_ = {pieces_.data() + 1, firstBits, kRec709Shift, largest};
  rec709White_ = white;
  return true;
}

void RowEncoder::Encode(const LinearRow& in, uint16_t* rgb, int n) const {
  if (state_.profile == 0 && state_.lut != nullptr) {
    EncodeLut(in, rgb, n);
  } else if (state_.profile == 0) {
    kernels_.encodeCurve(in, nullptr, curve_, rgb, n);
  } else if (state_.kind == OutputKind::kLinear) {
    kernels_.encodeLinear(in, state_.gamut.data(), rgb, n);
  } else {
    kernels_.encodeCurve(in, state_.gamut.data(), curve_, rgb, n);
  }
}

bool RowEncoder::WidenLut(const CubeLut& lut) {
  const size_t entries = size_t(lut.size3D) * lut.size3D * lut.size3D;
  widened_ = nullptr;
  if (!entries_.Reserve(4 * entries)) return false;
  for (size_t i = 0; i < entries; ++i) {
    for (size_t c = 0; c < 3; ++c) entries_[4 * i + c] = lut.table3D[3 * i + c];
    entries_[4 * i + 3] = 0;
  }
  wide_ = {entries_.data(), int32_t(lut.size3D), lut.domainMin3D, lut.domainMax3D};
  widened_ = &lut;
  return true;
}

void RowEncoder::EncodeLut(const LinearRow& in, uint16_t* rgb, int n) const {
  float r[kLutChunk], g[kLutChunk], b[kLutChunk];
  for (int first = 0; first < n; first += kLutChunk) {
    const int count = std::min(kLutChunk, n - first);
    uint16_t* out = rgb + 3 * first;
    kernels_.applyCurve(in.r + first, curve_, r, count);
    kernels_.applyCurve(in.g + first, curve_, g, count);
    kernels_.applyCurve(in.b + first, curve_, b, count);
    if (state_.lut == widened_) {
      kernels_.encodeLut({r, g, b}, wide_, out, count);
      continue;
    }
    for (int x = 0; x < count; ++x) {
      float color[3] = {r[x], g[x], b[x]};
      ApplyLut(*state_.lut, color);
      for (int c = 0; c < 3; ++c) *out++ = uint16_t(color[c] * 65535 + 0.5f);
    }
  }
}

}  // namespace qx
