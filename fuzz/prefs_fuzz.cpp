// Settings blocks as a project file may hold them: whatever the bytes, the options are in their ranges, and what was read, written and
// read again is the same.
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "importer/clip_prefs.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void CheckRanges(const qx::DevelopOptions& options) {
  Require(options.outputCurve >= 0 && options.outputCurve <= 3);
  Require(options.demosaic >= 0 && options.demosaic <= 3);
  Require(options.warpPercent >= 0 && options.warpPercent <= 100);
  Require(options.vignettePercent >= 0 && options.vignettePercent <= 100);
  Require(options.exposureEv >= -4 && options.exposureEv <= 4);
  Require(qx::LutTextOf(options).size() < std::size(options.lutPath));
}

bool Same(const qx::DevelopOptions& a, const qx::DevelopOptions& b) {
  return !qx::NeedsReopen(a, b) && qx::LutTextOf(a) == qx::LutTextOf(b) && a.exposureEv == b.exposureEv &&
         a.whiteBalanceOn == b.whiteBalanceOn && std::bit_cast<uint64_t>(a.kelvin) == std::bit_cast<uint64_t>(b.kelvin) &&
         std::bit_cast<uint64_t>(a.tint) == std::bit_cast<uint64_t>(b.tint) && a.demosaic == b.demosaic && a.warpPercent == b.warpPercent &&
         a.vignettePercent == b.vignettePercent;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const qx::Bytes block(data, size);
  qx::DevelopOptions options;
  const bool valid = qx::ReadClipPrefs(block, &options) != 0;
  CheckRanges(options);
  Require(valid || (!options.hasLut() && qx::ClipPrefsGeneration(block) == 0));

  std::vector<uint8_t> written(qx::kClipPrefsBytes);
  if (qx::WriteClipPrefs(options, 7, written) != 0) {
    options.lutPath[0] = 0;  // UTF-16 of a version 2 block that is no text
    Require(qx::WriteClipPrefs(options, 7, written) == 0);
  }
  qx::DevelopOptions again;
  Require(qx::ReadClipPrefs(written, &again) == 1 && qx::ClipPrefsGeneration(written) == 7);
  Require(Same(options, again));
  return 0;
}
