// Bin starts of the tables that a frame's parameters define. Both families number the codes of the linear values 0, 1, 2 … in rising order.
#include <algorithm>
#include <cmath>

#include "qorix/decoding_table.h"

namespace qx {

namespace {

constexpr double kMaxCodes = 65536;
constexpr size_t kMaxAppendedBins = 16383;
constexpr int32_t kMaxBits = 16;
constexpr double kMaxWhite = 65535;

/// Positive family: steps of k standard deviations of the noise, whose variance is `slope` per linear value above `black` plus `variance`.
class NoiseCurve {
 public:
  explicit NoiseCurve(const TableParameters& p)
      : black_(p.p72), slope_(p.p76), k_(p.p84), variance_(std::max(1 / (k_ * k_), double(p.p80))), deviation_(std::sqrt(variance_)) {}

  /// Rises with the value. Below black the noise does not change, and the steps are equal.
  double CodeOf(uint32_t value) const {
    const double above = value - black_;
    if (above < 0) return std::round(above / (deviation_ * k_));
    return std::round((std::sqrt(above * slope_ + variance_) - deviation_) * 2 / (k_ * slope_));
  }

 private:
  double black_, slope_, k_, variance_, deviation_;
};

bool ComputeNoiseBins(const TableParameters& p, std::vector<uint32_t>* binStarts) {
  if (!(p.p76 > 0)) return false;
  const bool clips = p.p88 >= 1 && p.p88 <= p.p90;  // p88 is the value at which the sensor clips
  const uint32_t last = clips ? p.p88 : p.p90;
  const NoiseCurve curve(p);
  // A tiny k or slope leaves nothing of the roots' difference but its rounding, and makes steps of millions of codes.
  const double lowest = curve.CodeOf(0), highest = curve.CodeOf(last) - lowest;
  if (highest + 1 > kMaxCodes) return false;

  for (uint32_t value = 0; value <= last; ++value) {
    const double code = curve.CodeOf(value) - lowest;
    while (double(binStarts->size()) <= code) binStarts->push_back(value);
  }
  // The clipping value gets a bin of its own, the last one.
  if (clips && curve.CodeOf(last - 1) - lowest == highest && highest + 2 <= kMaxCodes) binStarts->push_back(last);
  return true;
}

/// Negative family: the values 0 … `count` on a scale of `largest` steps, even or logarithmic.
struct BitDepthCurve {
  uint32_t largest = 0, count = 0;
  bool logarithmic = false;

  uint32_t CodeOf(uint32_t value) const {
    if (largest >= count || value == 0) return value;
    const double code = logarithmic ? std::round(std::log2(value + 1.0) / std::log2(count + 1.0) * largest)
                                    : double(std::round(float(value) * (float(largest) / float(count))));
    return uint32_t(std::clamp(code, 0.0, double(largest)));
  }
};

bool ComputeBitDepthBins(const TableParameters& p, std::vector<uint32_t>* binStarts, Message message) {
  const double white = std::rint(double(p.p80));
  int32_t bitDepth = 0;
  if (!CheckBitDepth(p, white, &bitDepth, message)) return false;
  const BitDepthCurve curve = {(uint32_t(1) << bitDepth) - 1, uint32_t(white), p.p76 > 0.5f};
  binStarts->push_back(0);
  uint32_t code = 0, before = 0;
  for (uint32_t value = 1; value <= curve.count; ++value) {
    before = code;
    code = curve.CodeOf(value);
    if (code != before) binStarts->push_back(value);
  }
  // The largest value gets a bin of its own, unless the codes of 14 bits are used up.
  const bool sharesBin = curve.largest < curve.count && code == before;
  if (sharesBin && binStarts->size() <= kMaxAppendedBins) binStarts->push_back(curve.count);
  return true;
}

}  // namespace

bool CheckBitDepth(const TableParameters& parameters, double white, int32_t* bitDepth, Message message) {
  const double bits = std::rint(-double(parameters.p84));
  if (bits >= 1 && bits <= kMaxBits && white >= 0 && white <= kMaxWhite) {
    *bitDepth = int32_t(bits);
    return true;
  }
  const auto printable = [](double number) { return int(std::clamp(number, double(INT32_MIN), double(INT32_MAX))); };
  message.Set("bit depth table: bits %d, white %d", printable(bits), printable(white));
  return false;
}

bool ComputeBinStarts(const TableParameters& parameters, std::vector<uint32_t>* binStarts, Message message) {
  binStarts->clear();
  for (const float number : {parameters.p72, parameters.p76, parameters.p80, parameters.p84}) {
    if (!std::isfinite(number)) return false;
  }
  if (parameters.p84 == 0) return false;
  return parameters.p84 > 0 ? ComputeNoiseBins(parameters, binStarts) : ComputeBitDepthBins(parameters, binStarts, message);
}

}  // namespace qx
