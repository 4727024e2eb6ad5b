// Where the parser puts each tag: sample layout of the RAW IFD, camera data of IFD0, a few EXIF and GPS values.
#pragma once

#include <array>
#include <cstdint>

#include "media/dng_info.h"
#include "media/tiff_value.h"

namespace qx {

/// Tags of one IFD that describe an image. Arrays stay in the record.
struct ImageIfd {
  uint32_t newSubFileType = 0, width = 0, height = 0, bitsPerSample = 0, compression = 0, photometric = 0, fillOrder = 0;
  uint32_t samplesPerPixel = 0, rowsPerStrip = 0, planarConfiguration = 0, tileWidth = 0, tileLength = 0;
  TiffValue stripOffsets, stripByteCounts;  // or those of tiles
  TiffValue cfaRepeatDim, cfaPattern, cfaPlaneColor;
  TiffValue linearization, blackRepeatDim, black, white;
  bool hasBlackDelta = false;
  TiffValue defaultScale, cropOrigin, cropSize, activeArea;
  TiffValue opcodeList1, opcodeList2, opcodeList3;

  /// A full-resolution image of CFA or linear RAW samples.
  bool IsRawCandidate() const;
  uint64_t area() const { return uint64_t(width) * height; }
};

/// Receives the entries of a walk in visiting order. Camera, time, name, EXIF and GPS values go straight to the DngInfo; of the image IFDs
/// the largest RAW one is kept, the first among equals.
class DngTagRouter {
 public:
  explicit DngTagRouter(DngInfo* info) : info_(info) {}

  void Take(const TiffEntry& entry);
  /// Ends the walk: completes the values that depend on several tags. The RAW IFD, null when there is none; lives as long as the router.
  const ImageIfd* Finish();

 private:
  void TakeImageTag(const TiffEntry& entry);
  void TakeMainTag(const TiffEntry& entry);
  void TakeExifTag(const TiffEntry& entry);
  void TakeGpsTag(const TiffEntry& entry);
  void FinishImage();
  void FinishPosition();

  DngInfo* info_;
  int ifdIndex_ = 0;
  ImageIfd current_, best_;
  bool hasBest_ = false;
  TiffValue privateData_;
  bool hasLatitude_ = false, hasLongitude_ = false;
  uint8_t latitudeRef_ = 0, longitudeRef_ = 0, altitudeRef_ = 0;
};

}  // namespace qx
