// Plain AHD as a row stage.
#pragma once

#include <array>

#include "develop/cpu/ahd_kernels.h"
#include "develop/cpu/row_carver.h"
#include "develop/cpu/row_stages.h"

namespace qx {

/// Output rows that the AHD and median stages keep. Planes that a stage made stay valid for three further calls of its Row(); rows, which
/// may hold planes passed on from the stage before, for two.
constexpr int kRgbRing = 4;

/// A few consecutive rows, found by their number; numbers may be negative. `kRows` is a power of two.
template <typename Row, int kRows>
class RowRing {
  static_assert((kRows & (kRows - 1)) == 0);

 public:
  Row& operator[](int y) { return rows_[size_t(y & (kRows - 1))]; }
  auto begin() { return rows_.begin(); }
  auto end() { return rows_.end(); }

 private:
  std::array<Row, kRows> rows_ = {};
};

/// Each mosaic row that comes in makes one row of every intermediate, down to the votes; a finished row reaches five mosaic rows up and
/// down. Rows and columns outside the image are computed from the mirrored mosaic like all others.
class AhdRows final : public RgbRows {
 public:
  AhdRows(MosaicRows* mosaic, const DebayerSetup& setup, const AhdKernels& kernels);

  /// False when memory is short; call once, before anything else.
  [[nodiscard]] bool Allocate();

  void Begin(int firstRow, const LabMatrix& labMatrix) override;
  RgbRow Row(int y) override;

 private:
  /// One direction's picture.
  struct Direction {
    RowRing<uint16_t*, 4> green;
    RowRing<RgbPlanes, 4> color;
    RowRing<LabPlanes, 2> lab;
    RowRing<DistancePlanes, 2> across;  // between the columns of row y
    RowRing<DistancePlanes, 2> above;   // between rows y − 1 and y
  };

  void CarveRows();
  void MakeGreen(int y);
  void MakeColor(int y);
  void MakeDistances(int y);
  void MakeVotes(int y);

  MosaicRows* const mosaic_;
  const DebayerSetup setup_;
  const AhdKernels& kernels_;
  LabConversion conversion_;
  RowCarver carver_;

  Direction horizontal_, vertical_;
  int32_t* chromaSum_ = nullptr;
  RowRing<int8_t*, 4> lead_;
  RowRing<RgbPlanes, kRgbRing> out_;

  int startRow_ = 0;  // first colour row since Begin()
  int nextRow_ = 0;   // colour row that comes next
};

}  // namespace qx
