// The processor path as a chain of row stages.
//
// A frame is developed in bands of output rows, one chain per band and worker. Each stage makes rows of the active area on demand, in
// increasing order, keeps the last few in a ring and asks the stage before it for what it needs, so that everything between the RAW
// samples and the finished row stays in the processor's second-level cache. Bands overlap only by the stages' reach.
#pragma once

#include <array>
#include <cstdint>

namespace qx {

/// Mirrored columns that every mosaic row carries on either side: index −kMosaicPad … width + kMosaicPad − 1 is readable.
constexpr int kMosaicPad = 16;
/// Rows that stay valid behind the newest one asked for.
constexpr int kMosaicRing = 16;

/// Reflects an index at the edges without repeating them: −1 is 1, n is n − 2. For −n < i < 2n − 1.
inline int MirrorIndex(int i, int n) {
  return i < 0 ? -i : i >= n ? 2 * (n - 1) - i : i;
}

/// The normalised, white-balanced mosaic: 16 bits per CFA site of the active area, rows and columns mirrored at the edges.
class MosaicRows {
 public:
  virtual ~MosaicRows() = default;
  /// Row y (mirrored when outside 0 … height − 1). Valid until kMosaicRing further rows were asked for. Requests may go back at most
  /// kMosaicRing − 1 rows behind the newest one.
  virtual const uint16_t* Row(int y) = 0;
};

/// One debayered row, planar.
struct RgbRow {
  const uint16_t* r;
  const uint16_t* g;
  const uint16_t* b;
};

/// Camera to XYZ in units of 1/1024, for AHD's Lab measure.
using LabMatrix = std::array<int32_t, 9>;

/// A debayer method.
class RgbRows {
 public:
  virtual ~RgbRows() = default;
  /// Forgets all rows and starts over at `firstRow`; later requests do not go below it. Only AHD reads the matrix.
  virtual void Begin(int firstRow, const LabMatrix& labMatrix) = 0;
  /// Row y of 0 … height − 1, y = firstRow, firstRow + 1, …; valid until the next call.
  virtual RgbRow Row(int y) = 0;
};

struct DebayerSetup {
  int width = 0, height = 0;                  // active area, at least 8 × 8
  std::array<uint8_t, 4> cfa = {0, 1, 1, 2};  // colour of phases (0,0), (0,1), (1,0), (1,1) of the active area

  bool operator==(const DebayerSetup&) const = default;
};

}  // namespace qx
