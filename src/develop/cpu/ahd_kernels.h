// Row kernels of the AHD debayer. The scalar forms are the meaning; vector forms give the same integers.
//
// All work on columns begin … end − 1 and read at most the neighbours that they name. Outputs never overlap inputs. Since the plane is
// mirrored around its edges, and reflection keeps the CFA phase, columns outside the image are computed like all others: each kernel is
// symmetric, so the value at −x is the value at x.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "develop/cpu/row_stages.h"

namespace qx {

/// What a row of the Bayer array holds: green at the columns x with (x & 1) == greenParity, red or blue at the others.
struct BayerRow {
  int greenParity;
  bool red;
};

BayerRow BayerRowAt(const std::array<uint8_t, 4>& cfa, int y);

/// The CFA sample of a site and its neighbours in one direction: `before` and `after` at distance 1, `before2` and `after2` at 2.
struct GreenTaps {
  const uint16_t* center;
  const uint16_t* before;
  const uint16_t* after;
  const uint16_t* before2;
  const uint16_t* after2;
};

/// Three consecutive rows.
template <typename T>
struct RowTriple {
  const T* above;
  const T* center;
  const T* below;
};

struct RgbPlanes {
  uint16_t* r;
  uint16_t* g;
  uint16_t* b;
  operator RgbRow() const { return {r, g, b}; }
};

/// L 0 … 6400, a ±27586, b ±11034: all in units of 1/64.
struct LabPlanes {
  int16_t* l;
  int16_t* a;
  int16_t* b;
};

/// Distances between two Lab rows: |ΔL| (below 2^15) and Δa² + Δb² (below 2^32: 55172² + 22068²).
struct DistancePlanes {
  uint16_t* l;
  uint32_t* ab;
};

/// The distances around one row of one direction's picture. `across`[x] lies between columns x and x + 1.
struct Surroundings {
  DistancePlanes across, above, below;
};

struct LabConversion {
  std::array<int32_t, 9> matrix;  // from RGB to XYZ times 1024, row by row, each within ±8191
  const int32_t* tables;          // GetLabTables()
  const uint32_t* packed;         // GetPackedLabTable()
};

struct AhdKernels {
  const char* name;
  bool usable;
  int minColumns;  // shortest range that the functions take

  /// Directional green: the sample itself at green sites, elsewhere the gradient-corrected mean of the direct neighbours, limited to their
  /// range.
  void (*green)(const GreenTaps& taps, int greenParity, int begin, int end, uint16_t* out);

  /// sum = Σ (Q − G) over the three rows. As the difference vanishes at green sites, that is the site's own difference at red and blue
  /// sites and the sum of the upper and the lower one at green sites.
  void (*chroma)(const RowTriple<uint16_t>& mosaic, const RowTriple<uint16_t>& green, int begin, int end, int32_t* sum);

  /// Full colour of a row from its directional green and chroma sums; reads `sum` one column to either side.
  void (*color)(const uint16_t* green, const int32_t* sum, BayerRow row, int begin, int end, const RgbPlanes& out);

  void (*lab)(const RgbRow& rgb, const LabConversion& conversion, int begin, int end, const LabPlanes& out);

  void (*distances)(const LabPlanes& one, const LabPlanes& other, int begin, int end, const DistancePlanes& out);

  /// lead = horizontal minus vertical homogeneity, −4 … 4; reads the `across` rows one column to the left.
  void (*homogeneity)(const Surroundings& horizontal, const Surroundings& vertical, int begin, int end, int8_t* lead);

  /// The direction that leads in the 3 × 3 neighbourhood, else the mean of both; reads `lead` one column to either side.
  void (*select)(const RowTriple<int8_t>& lead, const RgbRow& horizontal, const RgbRow& vertical, int begin, int end, const RgbPlanes& out);
};

/// The first entry is the scalar reference; tests run every usable one.
std::span<const AhdKernels> AhdKernelVariants();

/// The fastest usable entry that takes ranges of `columns`.
const AhdKernels& PickAhdKernels(int columns);

/// The AVX2 entry (ahd_kernels_avx2.cpp).
AhdKernels Avx2AhdKernels();

}  // namespace qx
