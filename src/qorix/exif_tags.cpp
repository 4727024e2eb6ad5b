#include "qorix/exif_tags.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>
#include <string>

namespace qx {

namespace {

enum ExifTag : uint16_t {
  kDateTime = 306,
  kExposureTime = 33434,
  kFNumber = 33437,
  kExposureProgram = 34850,
  kIso = 34855,
  kDateTimeOriginal = 36867,
  kDateTimeDigitized = 36868,
  kOffsetTime = 36880,  // and the two after it
  kShutterSpeed = 37377,
  kApertureValue = 37378,
  kExposureBias = 37380,
  kFocalLength = 37386,
  kSubSecTime = 37520,  // and the two after it
  kColorSpace = 40961,
  kExposureMode = 41986,
  kWhiteBalance = 41987,
  kLensModel = 42036,
};

enum GpsTag : uint16_t {
  kVersionId = 0,
  kLatitudeRef = 1,
  kLatitude = 2,
  kLongitudeRef = 3,
  kLongitude = 4,
  kAltitudeRef = 5,
  kAltitude = 6,
  kTimeStamp = 7,
  kMapDatum = 18,
  kDateStamp = 29,
};

constexpr int64_t kSecondNs = 1000000000;
constexpr int64_t kMinuteNs = 60 * kSecondNs;

template <typename... Values>
std::string Text(const char* format, Values... values) {
  char text[64];
  Message(text, sizeof(text)).Set(format, values...);
  return text;
}

double LoadF64(Bytes value, size_t index) {
  return std::bit_cast<double>(LoadU64Le(value.data() + 8 * index));
}

void AddRational(TiffBlock* block, uint16_t tag, double value) {
  block->Rationals(tag, std::array{ToRational(value)});
}
void AddSigned(TiffBlock* block, uint16_t tag, double value) {
  block->SignedRationals(tag, std::array{ToSignedRational(value)});
}

// Reduced; both sides lose digits only when the numerator does not fit.
Rational ExposureFraction(uint64_t nanoseconds) {
  uint64_t denominator = uint64_t(kSecondNs);
  const uint64_t divisor = std::gcd(nanoseconds, denominator);
  nanoseconds /= divisor;
  denominator /= divisor;
  while (nanoseconds > UINT32_MAX && denominator > 19) {
    nanoseconds /= 10;
    denominator /= 10;
  }
  return {uint32_t(std::min<uint64_t>(nanoseconds, UINT32_MAX)), uint32_t(denominator)};
}

void AddExposure(const TagInputs& inputs, TiffBlock* block) {
  if (const auto item = inputs.Dynamic(Item::EXPOSURE_NS, 8)) {
    const auto nanoseconds = int64_t(LoadU64Le(item->data()));
    if (nanoseconds > 0) {
      block->Rationals(kExposureTime, std::array{ExposureFraction(uint64_t(nanoseconds))});
      AddSigned(block, kShutterSpeed, -std::log2(double(nanoseconds) / double(kSecondNs)));
    }
  }
  if (const auto item = inputs.Dynamic(Item::APERTURE, 4); item && LoadF32Le(item->data()) > 0) {
    const double number = double(LoadF32Le(item->data()));
    AddRational(block, kFNumber, number);
    AddRational(block, kApertureValue, std::log2(number * number));
  }
  if (const auto item = inputs.Dynamic(Item::ISO, 4)) {
    const auto iso = int32_t(LoadU32Le(item->data()));
    if (iso > 0) block->Short(kIso, {uint16_t(std::min(iso, 65535))});
  }
  if (const auto item = inputs.Dynamic(Item::FOCAL_LEN, 4); item && LoadF32Le(item->data()) > 0) {
    AddRational(block, kFocalLength, double(LoadF32Le(item->data())));
  }
}

void AddModes(const TagInputs& inputs, TiffBlock* block) {
  const std::optional<Bytes> modes = inputs.Dynamic(Item::MODES, 2);
  const bool manualExposure = modes && (*modes)[0] == 0;
  const bool manualWhite = modes && (*modes)[1] == 0;
  block->Short(kExposureProgram, {uint16_t(manualExposure ? 1 : 2)});
  block->Short(kExposureMode, {uint16_t(manualExposure ? 1 : 0)});
  block->Short(kWhiteBalance, {uint16_t(manualWhite ? 1 : 0)});
  const std::optional<Bytes> bias = inputs.Dynamic(Item::EV_COMP, 4);
  AddSigned(block, kExposureBias, bias && !manualExposure ? double(LoadF32Le(bias->data())) : 0);
}

void AddTimes(const TagInputs& inputs, TiffBlock* block) {
  const RecordingHeader& header = inputs.header();
  if (header.wallClockStartNs == 0) return;
  const uint64_t wallClock = inputs.frame.chunk->timestamp - header.sensorStartNs + header.wallClockStartNs;
  const CalendarTime t = ToCalendarTime(int64_t(wallClock + uint64_t(header.timeZoneMinutes * kMinuteNs)));
  const std::string date =
      Text("%04lld:%02d:%02d %02d:%02d:%02d", static_cast<long long>(t.year), t.month, t.day, t.hour, t.minute, t.second);
  const int offset = header.timeZoneMinutes;
  const std::string zone = offset == 0 ? "Z" : Text("%c%02d:%02d", offset < 0 ? '-' : '+', std::abs(offset) / 60, std::abs(offset) % 60);
  const std::string subSecond = Text("%09lld", static_cast<long long>(t.nanosecond));
  for (const uint16_t tag : {kDateTime, kDateTimeOriginal, kDateTimeDigitized}) block->Ascii(tag, date);
  for (uint16_t i = 0; i < 3; ++i) {
    block->Ascii(uint16_t(kOffsetTime + i), zone);
    block->Ascii(uint16_t(kSubSecTime + i), subSecond);
  }
}

void AddDegrees(TiffBlock* block, uint16_t tag, double degrees) {
  const double magnitude = std::isfinite(degrees) ? std::fabs(degrees) : 0;
  const double whole = std::floor(magnitude);
  const double minutes = std::floor((magnitude - whole) * 60);
  const double seconds = std::max(((magnitude - whole) * 60 - minutes) * 60, 0.0);
  block->Rationals(tag, std::array{Rational{uint32_t(std::min(whole, 360.0)), 1}, Rational{uint32_t(minutes), 1}, ToRational(seconds)});
}

}  // namespace

CalendarTime ToCalendarTime(int64_t nanoseconds) {
  using namespace std::chrono;
  // Whole seconds first: the start of the earliest day cannot be told in nanoseconds.
  const int64_t fraction = (nanoseconds % kSecondNs + kSecondNs) % kSecondNs;
  const sys_seconds time{seconds(nanoseconds / kSecondNs - (nanoseconds % kSecondNs < 0 ? 1 : 0))};
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  return {int(date.year()),
          int(unsigned(date.month())),
          int(unsigned(date.day())),
          int(clock.hours().count()),
          int(clock.minutes().count()),
          int(clock.seconds().count()),
          fraction};
}

void AddExifTags(const TagInputs& inputs, TiffBlock* block) {
  block->Select(TiffIfdKind::kExif);
  AddExposure(inputs, block);
  AddModes(inputs, block);
  block->Short(kColorSpace, {1});
  AddTimes(inputs, block);
  if (const auto name = inputs.Static(Item::CAMERA_NAME, 1)) {
    block->Ascii(kLensModel, TextOf(*name));
  }
}

void AddGpsTags(const TagInputs& inputs, TiffBlock* block) {
  constexpr size_t kBytes = 36;  // "dddqf"
  std::optional<Bytes> item = inputs.Dynamic(Item::GPS, kBytes);
  if (!item) item = inputs.Static(Item::GPS_START, kBytes);
  if (!item) return;
  block->Select(TiffIfdKind::kGps);
  const double latitude = LoadF64(*item, 0), longitude = LoadF64(*item, 1), altitude = LoadF64(*item, 2);
  block->Byte(kVersionId, {2, 3, 0, 0});
  block->Ascii(kLatitudeRef, latitude >= 0 ? "N" : "S");
  AddDegrees(block, kLatitude, latitude);
  block->Ascii(kLongitudeRef, longitude >= 0 ? "E" : "W");
  AddDegrees(block, kLongitude, longitude);
  if (altitude != 0 && std::isfinite(altitude)) {
    block->Byte(kAltitudeRef, {uint8_t(altitude < 0 ? 1 : 0)});
    AddRational(block, kAltitude, std::fabs(altitude));
  }
  if (const auto milliseconds = int64_t(LoadU64Le(item->data() + 24)); milliseconds > 0 && milliseconds < INT64_MAX / 1000000) {
    const CalendarTime t = ToCalendarTime(milliseconds * 1000000);
    const double seconds = t.second + double(t.nanosecond) / double(kSecondNs);
    block->Rationals(kTimeStamp, std::array{Rational{uint32_t(t.hour), 1}, Rational{uint32_t(t.minute), 1}, ToRational(seconds)});
    block->Ascii(kDateStamp, Text("%04lld:%02d:%02d", static_cast<long long>(t.year), t.month, t.day));
  }
  block->Ascii(kMapDatum, "WGS-84");
}

}  // namespace qx
