// Writes DNG frames as a camera app would, from a plain description. Each optional part is left out of the file when it is not set.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "samples/tiff_writer.h"

namespace qx {

using Matrix9 = std::array<double, 9>;  // row by row

/// DNG 1.7 opcode GainMap. Positions in pixels, spacing and origin in fractions of the active area.
struct DngGainMap {
  uint32_t top = 0, left = 0, bottom = 0, right = 0;
  uint32_t plane = 0, planes = 1, rowPitch = 2, colPitch = 2;
  uint32_t pointsV = 0, pointsH = 0;
  double spacingV = 0, spacingH = 0, originV = 0, originH = 0;
  uint32_t mapPlanes = 1;
  std::vector<float> gains;  // pointsV × pointsH × mapPlanes
};

/// DNG 1.7 opcode WarpRectilinear.
struct DngWarp {
  std::vector<std::array<double, 6>> planes = {{1, 0, 0, 0, 0, 0}};  // kr0 … kr3, kt0, kt1
  double centreX = 0.5, centreY = 0.5;
};

/// An opcode list, opcode by opcode.
class DngOpcodeList {
 public:
  /// `flags`: 1 optional, 2 may be skipped for previews.
  void Add(uint32_t id, uint32_t flags, std::span<const uint8_t> parameters);
  void Add(const DngGainMap& map);
  void Add(const DngWarp& warp, uint32_t flags = 1);

  bool empty() const { return count_ == 0; }
  /// As it stands in the file: big-endian, the count first.
  std::vector<uint8_t> Bytes() const;

 private:
  uint32_t count_ = 0;
  std::vector<uint8_t> opcodes_;
};

struct DngExif {
  double exposureTime = 0, fNumber = 0, focalLength = 0;
  uint16_t iso = 0;
  std::string lensModel;
};

struct DngGps {
  double latitude = 0, longitude = 0, altitude = 0;  // signed degrees, signed metres
};

struct DngPrivateTimecode {
  int source = 0;     // 0 sensor, 1 local time of day, 2 UTC time of day
  int64_t start = 0;  // frames
};

struct DngDescription {
  bool bigEndian = false;

  // Image.
  uint32_t width = 0, height = 0;
  uint32_t bitsPerSample = 16;  // 1 … 16; as declared for compressed data
  uint32_t compression = 1;     // 1 uncompressed, 7 lossless JPEG
  uint32_t photometric = 32803;
  uint32_t rowsPerStrip = 0;               // 0: one strip
  uint32_t tileWidth = 0, tileLength = 0;  // not 0: tiles instead of strips
  bool preview = false;                    // IFD0 holds a small grey picture, the RAW image is its first SubIFD
  bool imageDataLast = false;              // tags first, so that the last strip ends with the file
  uint16_t orientation = 1;

  // Samples.
  std::array<uint8_t, 4> cfa = {0, 1, 1, 2};  // red 0, green 1, blue 2; (0,0), (0,1), (1,0), (1,1)
  std::vector<double> black;                  // blackRows × blackCols
  uint16_t blackRows = 1, blackCols = 1;
  std::optional<uint32_t> white;
  std::vector<uint16_t> linearization;
  std::optional<std::array<uint32_t, 4>> activeArea;  // top, left, bottom, right
  std::optional<std::array<double, 4>> crop;          // origin x, y, width, height
  DngOpcodeList opcodeList1, opcodeList2, opcodeList3;

  // Colour.
  std::optional<Matrix9> colorMatrix1, colorMatrix2, forwardMatrix1, forwardMatrix2, cameraCalibration1, cameraCalibration2;
  std::optional<std::array<double, 3>> analogBalance, asShotNeutral;
  std::optional<std::array<double, 2>> asShotWhiteXY;
  std::optional<double> baselineExposure;     // stops
  uint16_t illuminant1 = 0, illuminant2 = 0;  // EXIF light sources, 0: none

  // Time.
  std::optional<std::array<uint8_t, 8>> timeCodes;
  std::optional<std::pair<int32_t, int32_t>> frameRate;
  std::optional<DngPrivateTimecode> privateTimecode;

  // Names, where not empty.
  std::string make, model, software, uniqueCameraModel, reelName;

  std::optional<DngExif> exif;
  std::optional<DngGps> gps;

  /// Called when both IFDs are complete, to add, replace or remove entries; perhaps more than once. Without a preview both are the same
  /// IFD.
  std::function<void(TiffIfd& main, TiffIfd& raw)> edit;
};

/// Where one strip or tile lies in the image; tiles are whole, also at the right and bottom edge.
struct DngBlock {
  uint32_t x = 0, y = 0, width = 0, height = 0;
};
/// The strips or tiles of a description in file order: what a caller compresses one by one.
std::vector<DngBlock> DngBlocks(const DngDescription& description);

/// Packs rows of samples into `bits` each, first sample in the highest bits, every row starting on a byte. 16-bit samples follow the byte
/// order. Higher bits of a sample are dropped.
std::vector<uint8_t> PackSamples(std::span<const uint16_t> samples, uint32_t width, uint32_t bits, bool bigEndian);

/// An uncompressed DNG of width × height samples, top row first. Edge tiles repeat nothing: what lies outside the image is 0.
std::vector<uint8_t> WriteDng(const DngDescription& description, std::span<const uint16_t> samples);

/// A DNG around finished strips or tiles, in the order of DngBlocks().
std::vector<uint8_t> WriteDngStreams(const DngDescription& description, std::span<const std::vector<uint8_t>> streams);

}  // namespace qx
