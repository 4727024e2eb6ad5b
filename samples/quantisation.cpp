#include "samples/quantisation.h"

#include <algorithm>
#include <cmath>

namespace qx {

namespace {

constexpr size_t kMaxCodes = 65536;
constexpr size_t kMaxAppended = 16383;  // bins after the first, beyond which the largest value gets none of its own

/// Codes of the linear values 0 …, starting with 0 and never falling, as the first value of each.
std::vector<uint32_t> FirstValues(const std::vector<int64_t>& codes) {
  std::vector<uint32_t> starts(size_t(codes.back()) + 1);
  size_t value = 0;
  for (size_t code = 0; code < starts.size(); ++code) {
    while (codes[value] < int64_t(code)) ++value;
    starts[code] = uint32_t(value);
  }
  return starts;
}

std::optional<std::vector<uint32_t>> NoiseBins(const QorixTableParameters& p) {
  const double black = p.p72, slope = p.p76, k = p.p84;
  if (slope <= 0) return std::nullopt;
  const double variance = std::max(1 / (k * k), double(p.p80)), deviation = std::sqrt(variance);
  const bool clipped = p.p88 >= 1 && p.p88 <= p.p90;
  const size_t last = clipped ? p.p88 : p.p90;
  std::vector<int64_t> codes;
  for (size_t i = 0; i <= last; ++i) {
    const double above = double(i) - black;
    const double steps = above >= 0 ? (std::sqrt(above * slope + variance) - deviation) * 2 / (k * slope) : above / (deviation * k);
    codes.push_back(int64_t(std::round(steps)));  // halves away from zero
  }
  const int64_t lowest = codes.front();
  for (int64_t& code : codes) code -= lowest;
  const bool sharesCode = clipped && codes[last] == codes[last - 1];
  if (sharesCode && size_t(codes[last]) + 2 <= kMaxCodes) ++codes[last];
  return FirstValues(codes);
}

int64_t CurveCode(uint32_t value, uint32_t values, int64_t highest, bool logarithmic) {
  if (highest >= int64_t(values)) return value;
  const double code = logarithmic ? std::round(std::log2(value + 1.0) / std::log2(values + 1.0) * double(highest))
                                  : double(std::round(float(value) * (float(highest) / float(values))));
  return std::clamp<int64_t>(int64_t(code), 0, highest);
}

std::optional<std::vector<uint32_t>> BitDepthBins(const QorixTableParameters& p) {
  const double bits = std::rint(-double(p.p84)), count = std::rint(double(p.p80));
  if (bits < 1 || bits > 16 || count < 0 || count > 65535) return std::nullopt;
  const int64_t highest = (int64_t(1) << int(bits)) - 1;
  const auto values = uint32_t(count);
  std::vector<uint32_t> starts = {0};
  int64_t before = 0, oneBefore = 0;
  for (uint32_t j = 1; j <= values; ++j) {
    const int64_t code = CurveCode(j, values, highest, p.p76 > 0.5f);
    if (code != before) starts.push_back(j);
    oneBefore = before;
    before = code;
  }
  const bool sharesCode = values > 0 && highest < int64_t(values) && oneBefore == before;
  if (sharesCode && starts.size() <= kMaxAppended) starts.push_back(values);
  return starts;
}

}  // namespace

QorixTableParameters NoiseTable(float k, float black, float slope, float readVariance, uint16_t white, uint16_t clip) {
  return {.p72 = black, .p76 = slope, .p80 = readVariance, .p84 = k, .p88 = clip, .p90 = white};
}

QorixTableParameters BitDepthTable(int bits, bool logarithmic, uint32_t values) {
  return {.p76 = logarithmic ? 1.0f : 0.0f, .p80 = float(values), .p84 = float(-bits), .p90 = uint16_t(values)};
}

std::optional<std::vector<uint32_t>> BinStarts(const QorixTableParameters& parameters) {
  for (const float number : {parameters.p72, parameters.p76, parameters.p80, parameters.p84}) {
    if (!std::isfinite(number)) return std::nullopt;
  }
  if (parameters.p84 == 0) return std::nullopt;
  return parameters.p84 > 0 ? NoiseBins(parameters) : BitDepthBins(parameters);
}

std::vector<uint16_t> CodesOfValues(std::span<const uint32_t> binStarts) {
  std::vector<uint16_t> codes(65536);
  size_t code = 0;
  for (size_t value = 0; value < codes.size(); ++value) {
    while (code + 1 < binStarts.size() && binStarts[code + 1] <= value) ++code;
    codes[value] = uint16_t(code);
  }
  return codes;
}

}  // namespace qx
