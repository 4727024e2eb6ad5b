// The transfer curves of the output encodings and the bucket tables of the log curves.
#include <algorithm>
#include <bit>
#include <cmath>

#include "develop/encoding.h"

namespace qx {

namespace {

// Above this every log curve is far past white.
constexpr float kLargestTableInput = 1000000;
constexpr float kWhiteCode = 65535;

// DaVinci Intermediate, as its maker publishes it.
template <typename T>
T DaVinciIntermediate(T x) {
  if (x <= T(0.00262409)) return x * T(10.44426855);
  return (std::log2(x + T(0.0075)) + T(7.0)) * T(0.07329248);
}

// S-Log3 in full-range code values, as its maker publishes it: 18 % grey is code 420 of 1023, black 95.
template <typename T>
T SLog3(T x) {
  if (x >= T(0.01125)) return (T(420) + std::log10((x + T(0.01)) / T(0.19)) * T(261.5)) / T(1023);
  return (x * (T(171.2102946929) - T(95)) / T(0.01125) + T(95)) / T(1023);
}

// The float nearest to the power, whatever the C library's own float version makes of it: frames are the same on every system.
float Power(float base, double exponent) {
  return float(std::pow(double(base), exponent));
}

float BucketStart(uint32_t bucket) {
  return std::bit_cast<float>(bucket << 16);
}

struct CurveTable {
  explicit CurveTable(double (*curve)(double)) {
    for (uint32_t i = 0; i < uint32_t(kCurveBuckets); ++i) buckets[i] = MakeBucket(curve, BucketStart(i), BucketStart(i + 1));
  }

  static CurveBucket MakeBucket(double (*curve)(double), float start, float end) {
    // Written so that bounds that are not numbers end here too.
    if (!(start <= kLargestTableInput && end <= kLargestTableInput)) return {kWhiteCode, 0};
    const double atStart = curve(double(start)) * kWhiteCode, atEnd = curve(double(end)) * kWhiteCode;
    return {float(atStart), float((atEnd - atStart) / (double(end) - double(start)))};
  }

  std::array<CurveBucket, kCurveBuckets> buckets;
};

}  // namespace

float Knee(float x, float k, float white) {
  if (x <= k) return x;
  if (white <= 1) return std::min(x, 1.0f);
  const float t = (x - k) / (white - k);
  if (t >= 1) return 1;
  // The exponent gives the curve slope 1 at k, so that it leaves the straight part without a corner.
  return k + (1 - k) * (1 - Power(1 - t, double((white - k) / (1 - k))));
}

float Oetf709(float x) {
  const float limited = x > 0 ? std::min(x, 1.0f) : 0.0f;
  return limited < 0.018f ? 4.5f * limited : 1.099f * Power(limited, 0.45) - 0.099f;
}

float Encode709(float x, float white) {
  return Oetf709(Knee(x, 0.8f, white));
}

float EncodeDaVinciIntermediate(float x) {
  return DaVinciIntermediate(x);
}

float EncodeSLog3(float x) {
  return SLog3(x);
}

const CurveBucket* GetCurveTable(OutputKind kind) {
  if (kind == OutputKind::kDaVinciIntermediate) {
    static const CurveTable table(DaVinciIntermediate<double>);
    return table.buckets.data();
  }
  if (kind == OutputKind::kSLog3) {
    static const CurveTable table(SLog3<double>);
    return table.buckets.data();
  }
  return nullptr;
}

float CurveLookup(const CurveBucket* table, OutputKind kind, float x) {
  if (x < 0) return (kind == OutputKind::kDaVinciIntermediate ? EncodeDaVinciIntermediate(x) : EncodeSLog3(x)) * kWhiteCode;
  if (x > kLargestTableInput) return kWhiteCode;
  // Minus zero belongs to bucket 0, so its sign bit is dropped.
  const uint32_t bucket = (std::bit_cast<uint32_t>(x) & 0x7FFFFFFF) >> 16;
  return table[bucket].base + table[bucket].slope * (x - BucketStart(bucket));
}

uint16_t RoundTo16(float v) {
  if (!(v > 0)) return 0;
  return v >= kWhiteCode ? uint16_t(65535) : uint16_t(std::floor(v + 0.5f));
}

}  // namespace qx
