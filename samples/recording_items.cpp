#include "samples/recording_items.h"

#include <array>
#include <cmath>

#include "samples/scene.h"
#include "samples/scene_sound.h"

namespace qx {

namespace {

constexpr uint16_t kIlluminantA = 17, kIlluminantD65 = 21;  // EXIF LightSource

using Matrix = std::array<double, 9>;

/// XYZ to linear Rec.709 (IEC 61966-2-1): the scene's light is Rec.709, so a camera matrix is this, each row as strong as its channel.
constexpr Matrix kXyzToRec709 = {3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570};
constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

Matrix ScaleRows(const Matrix& matrix, const std::array<double, 3>& scale) {
  Matrix scaled = matrix;
  for (size_t i = 0; i < scaled.size(); ++i) scaled[i] *= scale[i / 3];
  return scaled;
}

/// Under daylight the matrix is the scene's own. For tungsten light it is made up: such sensors then see red stronger and blue weaker.
void AddColor(QorixItemList* items) {
  const std::array<double, 3> neutral = {kSceneNeutral[0], kSceneNeutral[1], kSceneNeutral[2]};
  items->Rationals(QorixItem::kColorMatrix1, ScaleRows(kXyzToRec709, {neutral[0] * 1.08, neutral[1], neutral[2] * 0.86}));
  items->Rationals(QorixItem::kColorMatrix2, ScaleRows(kXyzToRec709, neutral));
  items->Rationals(QorixItem::kCalibration1, kIdentity).Rationals(QorixItem::kCalibration2, kIdentity);
  items->U16(QorixItem::kIlluminants, {kIlluminantA, kIlluminantD65});
}

/// A lens of 0.8 field widths with a weak barrel distortion; the scene itself is not distorted. Calibrated on the sensor's full field.
void AddLensPair(const QorixRecordingOptions& options, QorixItem intrinsics, QorixItem distortion, QorixItemList* items) {
  const QorixRect& field = options.file.header.fullField;
  const float width = float(field.right - field.left), height = float(field.bottom - field.top);
  items->F32(intrinsics, {0.8f * width, 0.8f * width, width / 2 + 3, height / 2 - 2, 0});
  items->F32(distortion, {-0.03f, 0.006f, -0.001f, 0.0004f, -0.0003f});
}

/// The scene's place and time; `seconds` move it north.
QorixGps GpsAt(const QorixRecordingOptions& options, double seconds) {
  const auto startMs = int64_t(options.file.header.wallClockStartNs / 1'000'000);
  return {47.5596 + seconds * 1e-5, -7.5886, 260.5, startMs + std::llround(seconds * 1000), 4.5f};
}

void AddAudio(const QorixSoundOptions& sound, QorixItemList* items) {
  if (sound.format == 0) return;
  if (sound.audioItem) {
    QorixFields audio;
    audio.U32(sound.rate).U16(sound.channels).U8(sound.format).U8(0).U32(sound.chunkFrames).U8(sound.clockSync).U8(0).U16(0);
    items->Raw(QorixItem::kAudio, audio.bytes());
  }
  if (sound.playbackRate != 0) items->U32(QorixItem::kAudioPlay, {sound.rate, sound.playbackRate});
}

double SlotSeconds(const QorixRecordingOptions& options, int64_t slot) {
  const QorixRate rate = options.file.header.capture;
  return double(slot) * rate.denominator / rate.numerator;
}

void AddLevels(const QorixRecordingOptions& options, QorixItemList* items) {
  if (options.dynamicLevels <= 0) return;
  std::array<float, 4> black = {};
  for (size_t i = 0; i < black.size(); ++i) black[i] = float(options.file.header.black[i] * options.dynamicLevels);
  items->F32(QorixItem::kDynamicBlack, {black[0], black[1], black[2], black[3]});
  items->I32(QorixItem::kDynamicWhite, {int32_t(options.file.header.white)});
}

void AddWhiteBalance(const QorixRecordingOptions& options, QorixItemList* items) {
  if (options.whiteBalance == QorixWhiteBalance::kNeutral) items->Rationals(QorixItem::kNeutral, kSceneNeutral);
  if (options.whiteBalance != QorixWhiteBalance::kGains) return;
  items->F32(QorixItem::kWbGains, {float(1 / kSceneNeutral[0]), 1, 1, float(1 / kSceneNeutral[2])});
}

}  // namespace

QorixItemList SceneStaticItems(const QorixRecordingOptions& options) {
  QorixItemList items;
  items.Text(QorixItem::kMake, "qorixcam").Text(QorixItem::kModel, "Sample Camera").Text(QorixItem::kSoftware, "qorix-sample");
  items.Text(QorixItem::kUniqueModel, "qorixcam Sample Camera").Text(QorixItem::kReel, "A001_C001");
  items.Text(QorixItem::kCameraName, "Sample Lens 5.6 mm f/1.8").Text(QorixItem::kDevice, "sample");
  AddColor(&items);
  const bool plainBits = options.table == QorixTable::kNone && options.bits <= 15;
  if (plainBits) items.U8(QorixItem::kRawType, {uint8_t(options.bits), 0, 0, 0});
  if (options.distortionCorrection) items.U8(QorixItem::kDistortionCorrection, {*options.distortionCorrection, 0, 0, 0});
  if (options.lens == QorixLens::kPairOfRecording) {
    AddLensPair(options, QorixItem::kStaticIntrinsics, QorixItem::kStaticDistortion, &items);
  }
  if (options.resize) items.Raw(QorixItem::kResize, QorixFields().U8(1).Zeros(27).bytes());
  if (options.timecodeStart) items.Raw(QorixItem::kTimecode, QorixFields().U32(*options.timecodeStart).U8(0).U8(1).U16(0).bytes());
  if (options.gpsStart) items.Gps(QorixItem::kGpsStart, GpsAt(options, 0));
  AddAudio(options.sound, &items);
  return items;
}

QorixItemList SceneModuleItems(const QorixRecordingOptions& options, uint32_t module) {
  const QorixHeader& header = options.file.header;
  const QorixRect &field = header.fullField, &crop = header.crop;
  QorixItemList items;
  items.Text(QorixItem::kPhysicalCameraId, module == 0 ? "0" : "2");
  items.U8(QorixItem::kModuleCfa, {header.cfaCode, 0, 0, 0});
  items.U16(QorixItem::kModuleArrays, {header.sensorWidth, header.sensorHeight, field.left, field.top, field.right, field.bottom, crop.left,
                                       crop.top, crop.right, crop.bottom});
  const auto& black = header.black;
  items.I32(QorixItem::kModuleLevels, {int32_t(header.white), black[0], black[1], black[2], black[3]});
  if (module != 0) items.Text(QorixItem::kModel, "Sample Tele Camera").Text(QorixItem::kCameraName, "Sample Tele 9 mm f/2.4");
  return items;
}

QorixItemList SceneFrameItems(const QorixRecordingOptions& options, int64_t slot) {
  const bool secondHalf = slot >= (options.frames + 1) / 2;
  QorixItemList items;
  items.I64(QorixItem::kExposureNs, 20'000'000).I32(QorixItem::kIso, {int32_t(100 + slot / 5 % 8 * 100)});
  items.I32(QorixItem::kPostRawBoost, {options.postRawBoost});
  AddLevels(options, &items);
  AddWhiteBalance(options, &items);
  items.F64(QorixItem::kNoiseProfile, {1.6e-4, 2.5e-7, 1.6e-4, 2.5e-7, 1.6e-4, 2.5e-7, 1.6e-4, 2.5e-7});
  items.F32(QorixItem::kFocalLength, {5.6f}).F32(QorixItem::kAperture, {1.8f}).U8(QorixItem::kModes, {1, 1, 0, 0, 0, 0, 0, 0});
  if (slot % 4 < 2) items.F32(QorixItem::kEvCompensation, {0.5f});
  if (options.lens == QorixLens::kPairOfFrame) AddLensPair(options, QorixItem::kIntrinsics, QorixItem::kDistortion, &items);
  if (options.lens == QorixLens::kRadial) {
    // In the reader's terms: 1, −0.03, 0.006 and 0 after the powers of √2 are taken out.
    items.F32(QorixItem::kRadialDistortion, {0.70710678f, -0.010606602f, 0.0010606602f, 0, 0.0002f, -0.00015f});
  }
  if (options.shadingMaps) items.U32(QorixItem::kShadingSeq, {secondHalf ? 2u : 1u});
  if (options.cameraModules) items.Text(QorixItem::kPhysicalId, secondHalf ? "2" : "0");
  if (options.gps) items.Gps(QorixItem::kGps, GpsAt(options, SlotSeconds(options, slot)));
  if (options.editItems) options.editItems(slot, &items);
  return items;
}

std::vector<uint8_t> SoundBytes(const QorixSoundOptions& sound, uint64_t first, uint32_t count) {
  static constexpr SampleEncoding kEncodings[] = {SampleEncoding::kS16, SampleEncoding::kS16, SampleEncoding::kS24, SampleEncoding::kS32,
                                                  SampleEncoding::kF32};
  const SampleEncoding encoding = sound.format <= 4 ? kEncodings[sound.format] : SampleEncoding::kS16;
  return SceneSoundBytes({encoding, sound.rate, sound.channels, sound.click}, first, count);
}

std::vector<uint8_t> ShadingMapBlob(int columns, int rows, const QorixFrameFormat& frame, int fieldWidth, int fieldHeight) {
  QorixFields map;
  map.U16(uint64_t(columns)).U16(uint64_t(rows)).U32(0);
  const double halfWidth = frame.width / 2.0, halfHeight = frame.height / 2.0;
  const double cornerSquared = halfWidth * halfWidth + halfHeight * halfHeight;
  for (int v = 0; v < rows; ++v) {
    for (int h = 0; h < columns; ++h) {
      const double dx = (double(h) / (columns - 1) - 0.5) * fieldWidth, dy = (double(v) / (rows - 1) - 0.5) * fieldHeight;
      const double loss = std::min(0.9, kSceneVignetting * (dx * dx + dy * dy) / cornerSquared);
      for (int channel = 0; channel < 4; ++channel) map.F32(float(1 / (1 - loss)));
    }
  }
  return map.bytes();
}

}  // namespace qx
