#include "media/dng_tags.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "media/dng_private_data.h"

namespace qx {

namespace {

constexpr uint32_t kPhotometricCfa = 32803;
constexpr uint32_t kPhotometricLinearRaw = 34892;
constexpr uint32_t kReducedResolution = 1;  // bit of NewSubFileType

struct ImageNumberTag {
  uint16_t tag;
  uint32_t ImageIfd::*field;
};
constexpr ImageNumberTag kImageNumbers[] = {
    {254, &ImageIfd::newSubFileType},      {256, &ImageIfd::width},           {257, &ImageIfd::height},
    {258, &ImageIfd::bitsPerSample},       {259, &ImageIfd::compression},     {262, &ImageIfd::photometric},
    {266, &ImageIfd::fillOrder},           {277, &ImageIfd::samplesPerPixel}, {278, &ImageIfd::rowsPerStrip},
    {284, &ImageIfd::planarConfiguration}, {322, &ImageIfd::tileWidth},       {323, &ImageIfd::tileLength},
};

struct ImageArrayTag {
  uint16_t tag;
  TiffValue ImageIfd::*field;
};
constexpr ImageArrayTag kImageArrays[] = {
    {273, &ImageIfd::stripOffsets},    {279, &ImageIfd::stripByteCounts}, {324, &ImageIfd::stripOffsets},
    {325, &ImageIfd::stripByteCounts}, {33421, &ImageIfd::cfaRepeatDim},  {33422, &ImageIfd::cfaPattern},
    {50710, &ImageIfd::cfaPlaneColor}, {50712, &ImageIfd::linearization}, {50713, &ImageIfd::blackRepeatDim},
    {50714, &ImageIfd::black},         {50717, &ImageIfd::white},         {50718, &ImageIfd::defaultScale},
    {50719, &ImageIfd::cropOrigin},    {50720, &ImageIfd::cropSize},      {50829, &ImageIfd::activeArea},
    {51008, &ImageIfd::opcodeList1},   {51009, &ImageIfd::opcodeList2},   {51022, &ImageIfd::opcodeList3},
};
constexpr uint16_t kTagBlackLevelDeltaH = 50715, kTagBlackLevelDeltaV = 50716;

struct MatrixTag {
  uint16_t tag;
  Matrix3 DngInfo::*matrix;
  bool DngInfo::*present;
};
constexpr MatrixTag kMatrices[] = {
    {50721, &DngInfo::colorMatrix1, &DngInfo::hasColorMatrix1},
    {50722, &DngInfo::colorMatrix2, &DngInfo::hasColorMatrix2},
    {50723, &DngInfo::cameraCalibration1, &DngInfo::hasCameraCalibration1},
    {50724, &DngInfo::cameraCalibration2, &DngInfo::hasCameraCalibration2},
    {50964, &DngInfo::forwardMatrix1, &DngInfo::hasForwardMatrix1},
    {50965, &DngInfo::forwardMatrix2, &DngInfo::hasForwardMatrix2},
};

struct TextTag {
  uint16_t tag;
  std::string DngInfo::*text;
  size_t maxBytes;
};
constexpr TextTag kTexts[] = {
    {271, &DngInfo::make, 63},        {272, &DngInfo::model, 63}, {305, &DngInfo::software, 95}, {50708, &DngInfo::uniqueCameraModel, 127},
    {51081, &DngInfo::reelName, 127},
};

enum MainTag : uint16_t {
  kOrientation = 274,
  kDngVersion = 50706,
  kAnalogBalance = 50727,
  kAsShotNeutral = 50728,
  kAsShotWhiteXY = 50729,
  kBaselineExposure = 50730,
  kDngPrivateData = 50740,
  kCalibrationIlluminant1 = 50778,
  kCalibrationIlluminant2 = 50779,
  kTimeCodes = 51043,
  kFrameRate = 51044,
};

enum ExifTag : uint16_t { kExposureTime = 33434, kFNumber = 33437, kIso = 34855, kFocalLength = 37386, kLensModel = 42036 };
constexpr size_t kLensModelBytes = 255;

enum GpsTag : uint16_t { kLatitudeRef = 1, kLatitude = 2, kLongitudeRef = 3, kLongitude = 4, kAltitudeRef = 5, kAltitude = 6 };

void TakeText(const TiffValue& value, size_t maxBytes, std::string* text) {
  std::string_view bytes(reinterpret_cast<const char*>(value.bytes.data()), value.bytes.size());
  bytes = bytes.substr(0, maxBytes + 1);  // a value may span the record and be named by every entry
  bytes = bytes.substr(0, bytes.find('\0'));
  text->assign(bytes.substr(0, Utf8CutLength(bytes, maxBytes)));
}

template <size_t N>
void TakeNumbers(const TiffValue& value, std::array<double, N>* out, bool* present) {
  if (!value.Has(N)) return;
  for (size_t i = 0; i < N; ++i) (*out)[i] = value.Number(i);
  *present = true;
}

void TakeMatrix(const TiffValue& value, Matrix3* matrix, bool* present) {
  if (!value.Has(9)) return;
  for (uint32_t i = 0; i < 9; ++i) matrix->m[i / 3][i % 3] = value.Number(i);
  *present = true;
}

void TakeFrameRate(const TiffValue& value, DngInfo* info) {
  if (!value.IsRational() || !value.Has(1)) return;
  ByteReader in(value.bytes, value.order);
  const uint32_t numerator = in.U32(), denominator = in.U32();
  const bool isSigned = value.type == kTiffSRational;
  info->frameRateNumerator = isSigned ? int64_t(int32_t(numerator)) : int64_t(numerator);
  info->frameRateDenominator = isSigned ? int64_t(int32_t(denominator)) : int64_t(denominator);
  info->hasFrameRate = denominator != 0;
}

void TakeTimeCodes(const TiffValue& value, DngInfo* info) {
  if (value.bytes.size() < info->timeCodes.size()) return;
  std::memcpy(info->timeCodes.data(), value.bytes.data(), info->timeCodes.size());
  info->hasTimeCodes = true;
  info->timeCodesOffset = value.offset;
}

/// Degrees, minutes and seconds as degrees.
bool TakeDegrees(const TiffValue& value, double* degrees) {
  if (!value.IsRational() || !value.Has(3)) return false;
  *degrees = value.Number(0) + value.Number(1) / 60 + value.Number(2) / 3600;
  return true;
}

uint8_t FirstByte(const TiffValue& value) {
  return value.bytes.empty() ? 0 : value.bytes[0];
}

}  // namespace

bool ImageIfd::IsRawCandidate() const {
  return stripOffsets.present && (photometric == kPhotometricCfa || photometric == kPhotometricLinearRaw) &&
         (newSubFileType & kReducedResolution) == 0;
}

void DngTagRouter::Take(const TiffEntry& entry) {
  if (entry.ifdIndex != ifdIndex_) FinishImage();
  ifdIndex_ = entry.ifdIndex;
  if (!entry.hasValue) return;
  TakeImageTag(entry);
  const std::string_view name = entry.ifdName;
  if (name == "IFD0") TakeMainTag(entry);
  if (name.find("EXIF") != name.npos) TakeExifTag(entry);
  if (name == "IFD0.GPS") TakeGpsTag(entry);
}

const ImageIfd* DngTagRouter::Finish() {
  FinishImage();
  FinishPosition();
  TakePrivateTimecode(privateData_.bytes, privateData_.offset, info_);
  return hasBest_ ? &best_ : nullptr;
}

void DngTagRouter::TakeImageTag(const TiffEntry& entry) {
  const TiffValue value(entry);
  for (const ImageNumberTag& number : kImageNumbers) {
    if (number.tag == entry.tag) current_.*number.field = value.U32(0);
  }
  for (const ImageArrayTag& array : kImageArrays) {
    if (array.tag == entry.tag) current_.*array.field = value;
  }
  if (entry.tag == kTagBlackLevelDeltaH || entry.tag == kTagBlackLevelDeltaV) current_.hasBlackDelta = true;
}

void DngTagRouter::TakeMainTag(const TiffEntry& entry) {
  const TiffValue value(entry);
  for (const MatrixTag& matrix : kMatrices) {
    if (matrix.tag == entry.tag) return TakeMatrix(value, &(info_->*matrix.matrix), &(info_->*matrix.present));
  }
  for (const TextTag& text : kTexts) {
    if (text.tag == entry.tag) return TakeText(value, text.maxBytes, &(info_->*text.text));
  }
  switch (entry.tag) {
    case kOrientation:
      info_->orientation = value.U32(0);
      break;
    case kDngVersion:
      std::copy_n(value.bytes.begin(), std::min(value.bytes.size(), info_->dngVersion.size()), info_->dngVersion.begin());
      break;
    case kAnalogBalance:
      TakeNumbers(value, &info_->analogBalance, &info_->hasAnalogBalance);
      break;
    case kAsShotNeutral:
      TakeNumbers(value, &info_->asShotNeutral, &info_->hasAsShotNeutral);
      break;
    case kAsShotWhiteXY:
      TakeNumbers(value, &info_->asShotWhiteXY, &info_->hasAsShotWhiteXY);
      break;
    case kBaselineExposure:
      info_->baselineExposure = value.Number(0);
      break;
    case kDngPrivateData:
      privateData_ = value;
      break;
    case kCalibrationIlluminant1:
      info_->calibrationIlluminant1 = value.U32(0);
      break;
    case kCalibrationIlluminant2:
      info_->calibrationIlluminant2 = value.U32(0);
      break;
    case kTimeCodes:
      TakeTimeCodes(value, info_);
      break;
    case kFrameRate:
      TakeFrameRate(value, info_);
      break;
    default:
      break;
  }
}

void DngTagRouter::TakeExifTag(const TiffEntry& entry) {
  const TiffValue value(entry);
  switch (entry.tag) {
    case kExposureTime:
      info_->exposureTime = value.Number(0);
      break;
    case kFNumber:
      info_->fNumber = value.Number(0);
      break;
    case kIso:
      info_->iso = value.U32(0);
      break;
    case kFocalLength:
      info_->focalLength = value.Number(0);
      break;
    case kLensModel:
      TakeText(value, kLensModelBytes, &info_->lensModel);
      break;
    default:
      break;
  }
}

void DngTagRouter::TakeGpsTag(const TiffEntry& entry) {
  const TiffValue value(entry);
  switch (entry.tag) {
    case kLatitudeRef:
      latitudeRef_ = FirstByte(value);
      break;
    case kLatitude:
      hasLatitude_ |= TakeDegrees(value, &info_->latitude);
      break;
    case kLongitudeRef:
      longitudeRef_ = FirstByte(value);
      break;
    case kLongitude:
      hasLongitude_ |= TakeDegrees(value, &info_->longitude);
      break;
    case kAltitudeRef:
      altitudeRef_ = FirstByte(value);
      break;
    case kAltitude:
      info_->altitude = value.Number(0);
      info_->hasAltitude = value.Has(1);
      break;
    default:
      break;
  }
}

void DngTagRouter::FinishImage() {
  if (current_.IsRawCandidate() && (!hasBest_ || current_.area() > best_.area())) {
    best_ = current_;
    hasBest_ = true;
  }
  current_ = ImageIfd();
}

void DngTagRouter::FinishPosition() {
  info_->hasPosition = hasLatitude_ && hasLongitude_;
  if (!info_->hasPosition) info_->latitude = info_->longitude = 0;
  if (latitudeRef_ == 'S') info_->latitude = -info_->latitude;
  if (longitudeRef_ == 'W') info_->longitude = -info_->longitude;
  if (altitudeRef_ == 1) info_->altitude = -info_->altitude;
}

}  // namespace qx
