// Writes lossless JPEG streams (ITU-T T.81 process 14), as DNG files hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qx {

enum class Lj92Tables {
  kOptimal,              // one table, made for the picture
  kOptimalPerComponent,  // one for each component
  kFixed,                // one that fits any picture: the usual luminance table, continued to category 16
};

struct Lj92Format {
  int samplesPerLine = 0;  // X: of each component, 1 … 65535
  int lines = 0;           // Y: 1 … 65535
  int components = 1;      // Nf: 1 … 4
  int precision = 12;      // P: 2 … 16 bits
  int predictor = 1;       // 1 … 7
  int pointTransform = 0;  // Pt: low bits to drop, below P
  int restartLines = 0;    // lines between restart markers, restartLines × samplesPerLine up to 65535; 0 writes none
  Lj92Tables tables = Lj92Tables::kOptimal;
  /// Some encoders write 16 bits after difference category 16, where T.81 writes none.
  bool category16WritesBits = false;
  /// Gives category 0 a second code, which is never used, in each table.
  bool repeatSymbol = false;
};

/// Encodes `lines` lines of samplesPerLine × components interleaved samples below 2^precision; the lines lie `pitch` samples apart.
std::vector<uint8_t> WriteLj92(const uint16_t* samples, size_t pitch, const Lj92Format& format);

/// The picture that a decoder must return: the same samples without the bits that the point transform drops, lines close together.
std::vector<uint16_t> Lj92DecodedSamples(const uint16_t* samples, size_t pitch, const Lj92Format& format);

}  // namespace qx
