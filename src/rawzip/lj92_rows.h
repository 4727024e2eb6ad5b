// Decoding one line of a lossless JPEG scan, with a routine for each predictor and component count.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "rawzip/lj92_huffman.h"

namespace qx {

/// One line to decode. From the bit position on, 4 bytes for each sample and 16 more must be readable.
struct Lj92Row {
  const uint8_t* data = nullptr;  // unstuffed; the most significant bit of a byte comes first
  uint64_t bitPosition = 0;       // in `data`; the routine moves it behind the line

  std::array<const Lj92HuffmanTable*, 4> tables = {};  // for each component
  const uint16_t* above = nullptr;                     // the line above; not read by predictor 1
  uint16_t* line = nullptr;
  uint32_t groups = 0;  // samples of each component, at least 1
  int components = 0;
  int predictor = 0;
  std::array<uint16_t, 4> firstPrediction = {};  // for the first sample of each component

  bool category16ReadsBits = false;
  bool sawCategory16 = false;   // set, never cleared
  bool sawInvalidCode = false;  // set, never cleared; the rest of the line is then undefined
};

using Lj92RowFunction = void (*)(Lj92Row&);

/// One build of the row routines. All give the same samples.
struct Lj92RowKernels {
  const char* name;
  /// rows[components][predictor]; index 0 is unused in both.
  std::array<std::array<Lj92RowFunction, 8>, 5> rows;
};

/// The builds that this processor can run, the reference first and the fastest last.
std::span<const Lj92RowKernels* const> Lj92RowKernelsForThisProcessor();

/// For processors with BMI1 and BMI2: variable shifts cost one operation there, and they are what each sample waits for.
extern const Lj92RowKernels kLj92RowKernelsBmi2;

}  // namespace qx
