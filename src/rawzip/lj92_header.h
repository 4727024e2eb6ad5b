// The markers of a lossless JPEG stream up to its scan.
#pragma once

#include <array>
#include <cstdint>

#include "base/byte_reader.h"
#include "rawzip/lj92_huffman.h"

namespace qx {

/// Everything the scan needs. About 36 KiB because of the tables.
struct Lj92Header {
  int precision = 0;                             // P: 2 … 16 bits
  uint32_t lines = 0, samplesPerLine = 0;        // Y and X, 1 … 65535
  int components = 0;                            // Nf: 1 … 4
  std::array<uint8_t, 4> componentIds = {};      // as the frame declares them
  std::array<uint8_t, 4> tableOfComponent = {};  // index into `tables`
  std::array<Lj92HuffmanTable, 4> tables;
  int predictor = 0;             // Ss: 1 … 7
  int pointTransform = 0;        // Pt: 0 … P − 1
  uint32_t restartInterval = 0;  // Ri in samples of one component
  uint32_t restartLines = 0;     // Ri / X; 0 without restarts
  Bytes scan;                    // everything after the scan's header

  /// Samples of all components in a line: X · Nf.
  uint32_t LineSamples() const { return samplesPerLine * uint32_t(components); }
};

/// Reads the markers up to and including SOS. Returns an Lj92Result; `header` is complete only for kLj92Ok and then refers to `stream`.
[[nodiscard]] int ParseLj92Header(Bytes stream, Lj92Header& header);

}  // namespace qx
