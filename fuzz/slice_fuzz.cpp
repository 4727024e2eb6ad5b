// Feeds bytes to the slice decoders: coding, width, rows and flat threshold in the first five, the slice behind them. Every variant must
// give the same result and, for good slices, the same samples: alone, and in lock step with slices that are cut off.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "base/byte_reader.h"
#include "qorix/slice_codec.h"

namespace {

using Samples = std::vector<uint16_t>;

constexpr size_t kHeaderBytes = 5;

qx::SliceFormat FormatOf(qx::Bytes header) {
  qx::SliceFormat format;
  format.coder = header[0] & 1;
  if ((header[0] & 2) != 0) format.layout = format.coder == 0 ? qx::SliceLayout::kInterleaved : qx::SliceLayout::kTwoPart;
  format.predictor = header[0] >> 2 & 1;
  format.width = header[1];
  format.rows = header[2] & 15;
  format.flatThreshold = qx::LoadU16Le(&header[3]);
  return format;
}

/// Slices that end earlier and earlier, the first one whole, decoded as one group.
std::vector<std::optional<Samples>> DecodeWith(const qx::SliceVariant& variant, qx::Bytes slice, const qx::SliceFormat& format) {
  constexpr size_t kCuts[] = {0, 1, 9, 40};
  std::vector<std::vector<uint8_t>> bytes;  // copies of their own size, so that reading past the end is seen
  std::vector<Samples> out(4, Samples(size_t(format.width) * format.rows));
  for (const size_t cut : kCuts) bytes.emplace_back(slice.begin(), slice.end() - ptrdiff_t(cut < slice.size() ? cut : slice.size()));
  std::vector<qx::SliceJob> jobs;
  for (size_t i = 0; i < 4; ++i) jobs.push_back({bytes[i], format, out[i].data(), false});
  qx::SliceScratch scratch;
  variant.decodeGroup(jobs, scratch, format.width * sizeof(uint16_t));

  std::vector<std::optional<Samples>> results(4);
  for (size_t i = 0; i < 4; ++i) {
    if (jobs[i].good) results[i] = out[i];
  }
  Samples alone(out[0].size());
  results.emplace_back();
  if (variant.decode(bytes[0], format, scratch, alone.data(), format.width * sizeof(uint16_t))) results.back() = alone;
  return results;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < kHeaderBytes || size > 16384) return 0;
  const qx::Bytes input(data, size);
  const qx::SliceFormat format = FormatOf(input.first(kHeaderBytes));
  const auto variants = qx::slice_variants();
  const auto expected = DecodeWith(variants[0], input.subspan(kHeaderBytes), format);
  for (const qx::SliceVariant& variant : variants) {
    if (variant.usable && DecodeWith(variant, input.subspan(kHeaderBytes), format) != expected) std::abort();
  }
  return 0;
}
