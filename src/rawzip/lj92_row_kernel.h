// The body of the row routines, to be compiled for several instruction sets. Included by the lj92_rows sources only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/byte_reader.h"
#include "rawzip/lj92_rows.h"

namespace qx {

/// A cursor over a line's bits. `bits` holds the next ones at its top: `count` of them are accounted for, and what lies below is already
/// equal to what the next load will bring.
struct Lj92BitCursor {
  const uint8_t* next;
  uint64_t bits;
  uint32_t count;
};

[[gnu::always_inline]] inline Lj92BitCursor StartBits(const Lj92Row& row) {
  const uint8_t* start = row.data + row.bitPosition / 8;
  const uint32_t used = uint32_t(row.bitPosition % 8);
  return {start + 7, LoadU64Be(start) << used, 56 - used};
}

[[gnu::always_inline]] inline void FinishBits(const Lj92BitCursor& in, Lj92Row& row) {
  row.bitPosition = uint64_t(in.next - row.data) * 8 - in.count;
}

/// Codes outside the direct table. A code of category 16 without bits of its own comes back as category 0 and the difference 32768 in
/// `difference`; an invalid one as a code that uses no bits.
Lj92Code ResolveSlowLj92Code(uint64_t bits, const Lj92HuffmanTable& table, Lj92Row& row, uint32_t& difference);

/// Decodes one sample. Each sample waits for the one before only through shift, table load and shift: the lookup takes its index before the
/// refill is merged in (56 bits less the largest sample's 32 leave more than the index needs), and code and difference together are
/// dropped with one shift while the difference is still being extended.
[[gnu::always_inline]] inline uint16_t DecodeSample(Lj92BitCursor& in, const Lj92HuffmanTable& table, Lj92Row& row, uint32_t prediction) {
  Lj92Code code = table.Direct(in.bits);
  in.bits |= LoadU64Be(in.next) >> in.count;
  in.next += (63 - in.count) >> 3;
  in.count |= 56;
  if (code & kLj92SlowCode) [[unlikely]] {
    uint32_t difference = 0;
    code = ResolveSlowLj92Code(in.bits, table, row, difference);
    prediction += difference;
  }

  // T.81 EXTEND without a branch: a leading 0 bit stands for minus the complement. The shift is split because category 0 shifts by 64.
  const uint64_t behindCode = in.bits << (code >> 8 & 63);
  const uint64_t negative = uint64_t(int64_t(~behindCode) >> 63);
  const uint64_t magnitude = ((behindCode ^ negative) >> 1) >> (code >> 16 & 63);
  const uint32_t difference = uint32_t((magnitude ^ negative) - negative);

  in.bits <<= code & 63;
  in.count -= code & 63;
  return uint16_t(prediction + difference);
}

/// T.81 table H.1. Samples are 16-bit values; the sums wrap as the final sample does.
[[gnu::always_inline]] inline uint32_t PredictLj92(int predictor, uint32_t left, uint32_t above, uint32_t aboveLeft) {
  switch (predictor) {
    case 1:
      return left;
    case 2:
      return above;
    case 3:
      return aboveLeft;
    case 4:
      return left + above - aboveLeft;
    case 5:
      return left + uint32_t(int32_t(above - aboveLeft) >> 1);
    case 6:
      return above + uint32_t(int32_t(left - aboveLeft) >> 1);
    default:
      return (left + above) >> 1;
  }
}

/// One or two components: the samples to the left stay in registers.
template <int kComponents, int kPredictor>
[[gnu::always_inline]] inline void DecodeLj92Row(Lj92Row& row) {
  Lj92BitCursor in = StartBits(row);
  const Lj92HuffmanTable* tables[kComponents];
  uint32_t left[kComponents];
  uint32_t aboveLeft[kComponents] = {};
  const uint16_t* above = row.above;
  uint16_t* line = row.line;
  for (int c = 0; c < kComponents; ++c) {
    tables[c] = row.tables[c];
    left[c] = line[c] = DecodeSample(in, *tables[c], row, row.firstPrediction[c]);
    if constexpr (kPredictor != 1) aboveLeft[c] = above[c];
  }
  for (uint32_t group = 1; group < row.groups; ++group) {
    if constexpr (kPredictor != 1) above += kComponents;
    line += kComponents;
    for (int c = 0; c < kComponents; ++c) {
      uint32_t up = 0;
      if constexpr (kPredictor != 1) up = above[c];
      left[c] = DecodeSample(in, *tables[c], row, PredictLj92(kPredictor, left[c], up, aboveLeft[c]));
      line[c] = uint16_t(left[c]);
      aboveLeft[c] = up;
    }
  }
  FinishBits(in, row);
}

/// Any number of components and any predictor.
[[gnu::always_inline]] inline void DecodeLj92RowGeneral(Lj92Row& row) {
  Lj92BitCursor in = StartBits(row);
  const uint32_t step = uint32_t(row.components);
  for (uint32_t c = 0; c < step; ++c) row.line[c] = DecodeSample(in, *row.tables[c], row, row.firstPrediction[c]);
  const bool usesAbove = row.predictor != 1;
  for (uint32_t group = 1; group < row.groups; ++group) {
    for (uint32_t c = 0; c < step; ++c) {
      const size_t i = size_t(group) * step + c;
      const uint32_t up = usesAbove ? row.above[i] : 0;
      const uint32_t upLeft = usesAbove ? row.above[i - step] : 0;
      row.line[i] = DecodeSample(in, *row.tables[c], row, PredictLj92(row.predictor, row.line[i - step], up, upLeft));
    }
  }
  FinishBits(in, row);
}

template <typename Build, int kComponents>
constexpr std::array<Lj92RowFunction, 8> Lj92RowsOf() {
  return {nullptr,
          Build::template Row<kComponents, 1>,
          Build::template Row<kComponents, 2>,
          Build::template Row<kComponents, 3>,
          Build::template Row<kComponents, 4>,
          Build::template Row<kComponents, 5>,
          Build::template Row<kComponents, 6>,
          Build::template Row<kComponents, 7>};
}

/// The table of a build: a class with the static functions Row<components, predictor>(Lj92Row&) and GeneralRow(Lj92Row&).
template <typename Build>
constexpr Lj92RowKernels MakeLj92RowKernels(const char* name) {
  std::array<Lj92RowFunction, 8> general;
  general.fill(Build::GeneralRow);
  return {name, {{{}, Lj92RowsOf<Build, 1>(), Lj92RowsOf<Build, 2>(), general, general}}};
}

}  // namespace qx
