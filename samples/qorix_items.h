// Metadata item lists of `.qorix` recordings, as the writer puts them together.
//
//   QorixItemList items;
//   items.Text(QorixItem::kMake, "qorixcam").I32(QorixItem::kIso, {400}).F32(QorixItem::kWbGains, {2, 1, 1, 1.6f});
//   chunk.body = items.Encoded();
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "samples/qorix_chunks.h"

namespace qx {

/// Below 0x1000: of a frame; from there on: of the recording or of one camera module.
enum class QorixItem : uint16_t {
  kExposureNs = 0x0001,
  kFrameDurationNs = 0x0002,
  kIso = 0x0003,
  kPostRawBoost = 0x0004,
  kDynamicBlack = 0x0005,
  kDynamicWhite = 0x0006,
  kNeutral = 0x0007,
  kWbGains = 0x0008,
  kColorCorrection = 0x0009,
  kNoiseProfile = 0x000A,
  kGreenSplit = 0x000B,
  kRollingShutterSkewNs = 0x000C,
  kFocusDistance = 0x000D,
  kFocalLength = 0x000E,
  kAperture = 0x000F,
  kNeutralDensity = 0x0010,
  kIntrinsics = 0x0011,
  kDistortion = 0x0012,
  kPoseRotation = 0x0013,
  kPoseTranslation = 0x0014,
  kModes = 0x0015,
  kShadingSeq = 0x0016,
  kHotPixelSeq = 0x0017,
  kDeviceRotation = 0x0018,
  kZoom = 0x0019,
  kCropRegion = 0x001A,
  kPhysicalId = 0x001B,
  kEvCompensation = 0x001C,
  kOisSamples = 0x001D,
  kCaptureFrameNumber = 0x001E,
  kGps = 0x001F,
  kPixelMode = 0x0020,
  kRadialDistortion = 0x0021,
  kMake = 0x1001,
  kModel = 0x1002,
  kDevice = 0x1003,
  kFingerprint = 0x1004,
  kSoftware = 0x1005,
  kCameraId = 0x1006,
  kPhysicalCameraId = 0x1007,
  kUniqueModel = 0x1008,
  kReel = 0x1009,
  kComment = 0x100A,
  kCameraName = 0x100B,
  kDistortionCorrection = 0x100C,
  kRawType = 0x100D,
  kColorMatrix1 = 0x1010,
  kColorMatrix2 = 0x1011,
  kForwardMatrix1 = 0x1012,
  kForwardMatrix2 = 0x1013,
  kCalibration1 = 0x1014,
  kCalibration2 = 0x1015,
  kIlluminants = 0x1016,
  kFocalLengths = 0x1020,
  kApertures = 0x1021,
  kMinFocus = 0x1022,
  kHyperfocal = 0x1023,
  kFocusCalibration = 0x1024,
  kStaticIntrinsics = 0x1025,
  kStaticDistortion = 0x1026,
  kStaticPoseRotation = 0x1027,
  kStaticPoseTranslation = 0x1028,
  kPoseReference = 0x1029,
  kPhysicalSize = 0x102A,
  kShadingSize = 0x102B,
  kAudio = 0x1030,
  kAudioPlay = 0x1031,
  kImu = 0x1040,
  kGyroOrientation = 0x1041,
  kImuName = 0x1042,
  kTimecode = 0x1050,
  kGpsStart = 0x1060,
  kResize = 0x1070,
  kModuleCfa = 0x1080,
  kModuleArrays = 0x1081,
  kModuleLevels = 0x1082,
};

struct QorixGps {
  double latitude = 0, longitude = 0, altitude = 0;  // signed degrees, metres
  int64_t timeMs = 0;                                // since 1970 UTC
  float accuracy = 0;
};

/// Items in the order of their additions; the same id may come twice.
class QorixItemList {
 public:
  QorixItemList& Raw(QorixItem id, std::span<const uint8_t> value);
  QorixItemList& Text(QorixItem id, std::string_view text);
  QorixItemList& U8(QorixItem id, std::initializer_list<uint8_t> values);
  QorixItemList& U16(QorixItem id, std::initializer_list<uint16_t> values);
  QorixItemList& U32(QorixItem id, std::initializer_list<uint32_t> values);
  QorixItemList& I32(QorixItem id, std::initializer_list<int32_t> values);
  QorixItemList& I64(QorixItem id, int64_t value);
  QorixItemList& F32(QorixItem id, std::initializer_list<float> values);
  QorixItemList& F64(QorixItem id, std::initializer_list<double> values);
  /// Signed rationals in ten-thousandths.
  QorixItemList& Rationals(QorixItem id, std::span<const double> values);
  QorixItemList& Gps(QorixItem id, const QorixGps& gps);
  QorixItemList& Append(const QorixItemList& more);
  QorixItemList& Remove(QorixItem id);

  bool empty() const { return items_.empty(); }
  /// As it stands in a chunk: id, length, value, padding to 4 bytes.
  std::vector<uint8_t> Encoded() const;
  /// What turns `base` into this list: changed and new items, and items of length 0 for those that are gone. Repeated ids: the last counts.
  QorixItemList DeltaFrom(const QorixItemList& base) const;

 private:
  using Value = std::vector<uint8_t>;
  std::map<uint16_t, Value> Latest() const;

  std::vector<std::pair<uint16_t, Value>> items_;
};

}  // namespace qx
