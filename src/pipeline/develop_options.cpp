#include "pipeline/develop_options.h"

#include <algorithm>

#include "base/grow_buffer.h"
#include "platform/file.h"

namespace qx {

namespace {

constexpr OutputKind kKindOfCurve[] = {OutputKind::kSLog3, OutputKind::kDaVinciIntermediate, OutputKind::kRec709, OutputKind::kLinear};
// What sessions get for a curve of the LUT's own.
constexpr OutputKind kKindBelowLut = OutputKind::kSLog3;
constexpr uint32_t kDemosaicMethods = 4;

float Strength(int32_t percent) {
  return float(std::clamp(percent, 0, 100)) / 100;
}

}  // namespace

void SetDefaultDevelopOptions(DevelopOptions* options) {
  *options = {};
}

std::u16string_view LutTextOf(const DevelopOptions& options) {
  const std::u16string_view text(options.lutPath, std::size(options.lutPath));
  return text.substr(0, text.find(u'\0'));
}

int DeriveDevelopParams(const DevelopOptions& options, const CubeLut* lut, DerivedOptions* derived, Message message) {
  const bool isKnownCurve = uint32_t(options.outputCurve) < std::size(kKindOfCurve);
  if (!isKnownCurve && lut == nullptr) return message.Fail("output curve %d is not supported yet", options.outputCurve);
  if (uint32_t(options.demosaic) >= kDemosaicMethods) return message.Fail("bad demosaic %d", options.demosaic);

  *derived = {};
  DevelopParams& params = derived->params;
  params.demosaic = Demosaic(options.demosaic);
  params.warpStrength = Strength(options.warpPercent);
  params.vignetteStrength = Strength(options.vignettePercent);
  params.exposureEv = options.exposureEv;
  if (options.whiteBalanceOn != 0 && options.kelvin > 0) {
    params.whiteBalanceOn = 1;
    params.whitePoint = WhitePointFromKelvinTint(options.kelvin, options.tint);
  }
  params.lut = lut;
  params.outputKind = isKnownCurve ? kKindOfCurve[options.outputCurve] : kKindBelowLut;
  derived->outputKind = lut != nullptr ? OutputKind::kLut : params.outputKind;
  derived->slog3Narrow = options.slog3Narrow != 0;
  return 0;
}

int LoadLutFile(const std::filesystem::path& path, CubeLut* lut, Message message) {
  FreeCubeLut(lut);
  File file;
  if (!file.Open(path)) return message.Fail("cannot open the LUT");
  const uint64_t size = file.size();
  if (size == 0 || size > kMaxCubeFileBytes) return message.Fail("cannot read the LUT");
  GrowBuffer<char> text;
  if (!text.Reserve(size)) return message.Fail("out of memory");
  if (!file.ReadExactly(0, text.data(), size)) return message.Fail("cannot read the LUT");
  return ParseCubeLut({text.data(), size_t(size)}, lut, message);
}

bool NeedsReopen(const DevelopOptions& inForce, const DevelopOptions& wanted) {
  return inForce.outputCurve != wanted.outputCurve || (inForce.slog3Narrow != 0) != (wanted.slog3Narrow != 0) ||
         (inForce.cpuOnly != 0) != (wanted.cpuOnly != 0) || inForce.hasLut() != wanted.hasLut();
}

}  // namespace qx
