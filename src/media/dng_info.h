// The camera's description of one RAW frame: what a DNG's tags say, whichever container the frame came from.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace qx {

/// Gains over the frame for one or all CFA phases (DNG 1.7, opcode GainMap). Positions are relative to the active area.
struct GainMap {
  uint32_t top = 0, left = 0, bottom = 0, right = 0;  // pixels; bottom and right exclusive
  uint32_t plane = 0, planes = 0;
  uint32_t rowPitch = 1, colPitch = 1;
  uint32_t pointsV = 0, pointsH = 0;
  double spacingV = 0, spacingH = 0, originV = 0, originH = 0;  // in fractions of the active area's height and width
  uint32_t mapPlanes = 0;
  /// pointsV × pointsH × mapPlanes, plane fastest, then column, then row.
  std::vector<float> gains;

  bool operator==(const GainMap&) const = default;
};

/// Lens distortion (DNG 1.7, opcode WarpRectilinear): up to four planes.
struct RectilinearWarp {
  struct Plane {
    double kr[4] = {1, 0, 0, 0};  // radial kr0 … kr3
    double kt[2] = {0, 0};        // tangential kt0, kt1
  };
  bool valid = false;
  /// Valid, and the first plane's kr3, kt0 and kt1 are all zero.
  bool radialOnly = false;
  uint32_t planes = 0;
  std::array<Plane, 4> plane;
  double centreX = 0.5, centreY = 0.5;  // fractions of the active area, 0 … 1
  uint32_t flags = 0;                   // the opcode's flags word
};

struct Matrix3 {
  double m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  bool operator==(const Matrix3&) const = default;
};

struct OpcodeListInfo {
  bool present = false;
  bool valid = false;   // the opcodes parse exactly to the end of the list
  uint32_t count = 0;   // as the list declares
  uint64_t offset = 0;  // of the list in the record
  uint64_t size = 0;    // in bytes
  uint32_t hash = 0;    // OpcodeList2 only: FNV-1a over header and parameters of every opcode
  std::string summary;  // names and sizes of the opcodes, at most 159 bytes
};

/// Value type; copying copies the arrays. Offsets are relative to the record that was parsed.
struct DngInfo {
  bool bigEndian = false;

  // Geometry and sample format of the RAW image.
  uint32_t width = 0, height = 0;
  uint32_t bitsPerSample = 1, samplesPerPixel = 1, compression = 1, photometric = 0, planarConfiguration = 1, fillOrder = 1;

  // Layout.
  uint32_t rowsPerStrip = 0;
  std::vector<uint64_t> stripOffsets, stripByteCounts;  // strips or tiles, row-major
  uint32_t tileWidth = 0, tileLength = 0;               // 0: strips
  bool contiguous = false;
  uint64_t totalStripBytes = 0;
  uint64_t bytesPerRow = 0;

  // Colour filter array: colour indexes 0 red, 1 green, 2 blue for the positions (0,0), (0,1), (1,0), (1,1).
  uint32_t cfaRows = 2, cfaCols = 2;
  std::array<uint8_t, 4> cfa = {0, 1, 1, 2};

  // Levels, for the same four positions.
  std::array<float, 4> black = {0, 0, 0, 0};
  bool hasBlackDelta = false;
  float white = 0;
  std::vector<uint16_t> linearization;

  // Areas: active area in sensor coordinates, crop relative to it.
  uint32_t activeTop = 0, activeLeft = 0, activeBottom = 0, activeRight = 0;
  float cropX = 0, cropY = 0, cropWidth = 0, cropHeight = 0;
  float scaleH = 1, scaleV = 1;

  // Colour.
  std::array<uint8_t, 4> dngVersion = {0, 0, 0, 0};
  bool hasColorMatrix1 = false, hasColorMatrix2 = false, hasForwardMatrix1 = false, hasForwardMatrix2 = false;
  bool hasCameraCalibration1 = false, hasCameraCalibration2 = false;
  Matrix3 colorMatrix1, colorMatrix2, forwardMatrix1, forwardMatrix2, cameraCalibration1, cameraCalibration2;
  bool hasAnalogBalance = false, hasAsShotNeutral = false, hasAsShotWhiteXY = false;
  std::array<double, 3> analogBalance = {1, 1, 1}, asShotNeutral = {1, 1, 1};
  std::array<double, 2> asShotWhiteXY = {0, 0};
  double baselineExposure = 0;                                      // stops
  uint32_t calibrationIlluminant1 = 0, calibrationIlluminant2 = 0;  // EXIF light source codes

  // Time.
  bool hasTimeCodes = false;
  std::array<uint8_t, 8> timeCodes = {};  // SMPTE 12M as stored
  uint64_t timeCodesOffset = 0;
  bool hasFrameRate = false;  // denominator not 0
  int64_t frameRateNumerator = 0, frameRateDenominator = 0;
  bool hasPrivateTimecode = false;
  int32_t timecodeSource = -1;  // 0 sensor, 1 local time of day, 2 UTC time of day
  int64_t timecodeStart = 0;    // frames
  uint64_t privateDataOffset = 0, privateDataLength = 0;

  // Names, cut at a UTF-8 boundary to 63, 63, 95, 127 and 127 bytes.
  std::string make, model, software, uniqueCameraModel, reelName;
  uint32_t orientation = 0;

  // EXIF and GPS.
  double exposureTime = 0, fNumber = 0, focalLength = 0;
  uint32_t iso = 0;
  std::string lensModel;  // at most 255 bytes
  bool hasPosition = false, hasAltitude = false;
  double latitude = 0, longitude = 0;  // signed degrees
  double altitude = 0;                 // metres, signed

  // Opcode lists 1, 2 and 3 at index 0, 1 and 2.
  std::array<OpcodeListInfo, 3> opcodeLists;
  std::vector<GainMap> gainMaps;  // from OpcodeList2, at most 4
  RectilinearWarp warp;           // from OpcodeList3
};

/// True when the array is a Bayer array: 2 × 2 with R G G B, B G G R, G R B G or G B R G in row order.
bool IsBayer(const DngInfo& info);

}  // namespace qx
