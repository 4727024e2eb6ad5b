// Row kernels of the median refinement. The scalar forms are the meaning; vector forms give the same integers.
#pragma once

#include <cstdint>
#include <span>

#include "develop/cpu/ahd_kernels.h"
#include "develop/cpu/row_stages.h"

namespace qx {

/// For each column the lowest, middle and highest value of three rows. The median of nine neighbours is the median of the highest low,
/// the middle of the middles and the lowest high.
struct SortedColumns {
  int32_t* low;
  int32_t* middle;
  int32_t* high;
};

/// Sorted columns of the chroma: red − green and blue − green.
struct ChromaColumns {
  SortedColumns red, blue;
};

struct RgbNeighbors {
  RgbRow above, center, below;
};

struct MedianKernels {
  const char* name;
  bool usable;
  int minColumns;  // shortest range that the functions take

  void (*sortChroma)(const RgbNeighbors& rows, int begin, int end, const ChromaColumns& out);

  /// Replaces red and blue by green plus the median chroma, except where the site measured them; reads one column to either side of
  /// `columns`.
  void (*filterChroma)(const RgbRow& center, const ChromaColumns& columns, BayerRow row, int begin, int end, uint16_t* red, uint16_t* blue);

  /// Replaces green at red and blue sites by the mean of red and blue less their median chroma; reads as filterChroma does.
  void (*filterGreen)(const RgbRow& center, const ChromaColumns& columns, BayerRow row, int begin, int end, uint16_t* green);
};

/// The first entry is the scalar reference; tests run every usable one.
std::span<const MedianKernels> MedianKernelVariants();

/// The fastest usable entry that takes ranges of `columns`.
const MedianKernels& PickMedianKernels(int columns);

/// The AVX2 entry (median_kernels_avx2.cpp).
MedianKernels Avx2MedianKernels();

}  // namespace qx
