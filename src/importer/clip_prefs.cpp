#include "importer/clip_prefs.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "base/utf.h"

namespace qx {

namespace {

constexpr uint32_t kMagic = 0x53505851;  // "QXPS"
constexpr uint32_t kVersion = 3;
constexpr uint32_t kUtf16PathVersion = 2;  // the LUT's path as UTF-16, and no length before it
constexpr size_t kUtf16PathOffset = 72;
constexpr size_t kPathUnits = std::size(DevelopOptions().lutPath);  // with the terminator
constexpr size_t kSmallestUtf16Prefs = kUtf16PathOffset + kPathUnits * 2;
constexpr uint32_t kConstantField = 1;

constexpr int32_t kLastCurve = 3, kLastDemosaic = 3, kWholePercent = 100;
constexpr float kExposureLimit = 4;

struct Header {
  uint32_t magic, version, length, generation;
};

Header ReadHeader(ByteReader* reader) {
  return {reader->U32Le(), reader->U32Le(), reader->U32Le(), reader->U32Le()};
}

/// The part of the block that is in use; empty when the block is not valid.
Bytes UsedPart(Bytes block) {
  ByteReader reader(block);
  const Header header = ReadHeader(&reader);
  const bool valid = reader.ok() && header.magic == kMagic && header.version >= kUtf16PathVersion && header.length >= kSmallestClipPrefs &&
                     header.length <= block.size();
  return valid ? block.first(header.length) : Bytes();
}

/// Takes a path of at most 259 units; a longer one leaves none. What stands behind a terminator does not count.
void TakePath(std::u16string_view path, DevelopOptions* options) {
  path = path.substr(0, path.find(u'\0'));
  if (path.size() < kPathUnits) path.copy(options->lutPath, path.size());
}

void ReadUtf16Path(Bytes used, DevelopOptions* options) {
  if (used.size() < kSmallestUtf16Prefs) return;
  ByteReader reader(used);
  reader.Seek(kUtf16PathOffset);
  std::u16string path;
  for (size_t i = 0; i + 1 < kPathUnits; ++i) path += char16_t(reader.U16Le());
  TakePath(path, options);
}

void ReadUtf8Path(ByteReader* reader, DevelopOptions* options) {
  const uint32_t length = reader->U32Le();
  if (length == 0 || length > reader->remaining()) return;
  const Bytes text = reader->Take(length);
  const auto path = StrictUtf16FromUtf8({reinterpret_cast<const char*>(text.data()), text.size()});
  if (path && path->size() < kPathUnits) TakePath(*path, options);
}

/// Exposure is limited to ±4 stops; what is no number is none.
float LimitExposure(float ev) {
  return std::isnan(ev) ? 0 : std::clamp(ev, -kExposureLimit, kExposureLimit);
}

/// A cursor that writes little-endian numbers into a block whose size was compared with the fields' before.
class BlockWriter {
 public:
  explicit BlockWriter(std::span<uint8_t> block) : block_(block) {}
  void Put(uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) block_[at_++] = uint8_t(value >> (8 * i));
  }
  void U32(uint32_t value) { Put(value, 4); }
  void I32(int32_t value) { Put(uint32_t(value), 4); }
  void F32(float value) { Put(std::bit_cast<uint32_t>(value), 4); }
  void F64(double value) { Put(std::bit_cast<uint64_t>(value), 8); }
  void Text(std::string_view text) {
    U32(uint32_t(text.size()));
    std::copy(text.begin(), text.end(), block_.begin() + ptrdiff_t(at_));
  }

 private:
  std::span<uint8_t> block_;
  size_t at_ = 0;
};

}  // namespace

int WriteClipPrefs(const DevelopOptions& options, uint32_t generation, std::span<uint8_t> block) {
  if (block.size() < kSmallestClipPrefs) return -1;
  block = block.first(std::min(block.size(), kClipPrefsBytes));
  const std::optional<std::string> lutPath = StrictUtf8FromUtf16(LutTextOf(options));
  if (!lutPath || lutPath->size() > block.size() - kSmallestClipPrefs) return -1;

  std::fill(block.begin(), block.end(), uint8_t(0));
  BlockWriter out(block);
  out.U32(kMagic);
  out.U32(kVersion);
  out.U32(uint32_t(block.size()));
  out.U32(generation);
  out.I32(options.outputCurve);
  out.U32(options.cpuOnly != 0 ? 1 : 0);
  out.U32(options.slog3Narrow != 0 ? 1 : 0);
  out.I32(options.demosaic);
  out.I32(options.warpPercent);
  out.I32(options.vignettePercent);
  out.U32(kConstantField);
  out.U32(options.whiteBalanceOn != 0 ? 1 : 0);
  out.F32(options.exposureEv);
  out.U32(0);
  out.F64(options.kelvin);
  out.F64(options.tint);
  out.Text(*lutPath);
  return 0;
}

int ReadClipPrefs(Bytes block, DevelopOptions* options) {
  SetDefaultDevelopOptions(options);
  const Bytes used = UsedPart(block);
  if (used.empty()) return 0;
  ByteReader reader(used);
  const Header header = ReadHeader(&reader);
  options->outputCurve = std::clamp(int32_t(reader.U32Le()), 0, kLastCurve);
  options->cpuOnly = reader.U32Le() != 0 ? 1 : 0;
  options->slog3Narrow = reader.U32Le() != 0 ? 1 : 0;
  options->demosaic = std::clamp(int32_t(reader.U32Le()), 0, kLastDemosaic);
  options->warpPercent = std::clamp(int32_t(reader.U32Le()), 0, kWholePercent);
  options->vignettePercent = std::clamp(int32_t(reader.U32Le()), 0, kWholePercent);
  reader.Skip(4);
  options->whiteBalanceOn = reader.U32Le() != 0 ? 1 : 0;
  options->exposureEv = LimitExposure(reader.F32Le());
  reader.Skip(4);
  options->kelvin = std::bit_cast<double>(reader.U64Le());
  options->tint = std::bit_cast<double>(reader.U64Le());
  if (header.version == kUtf16PathVersion) {
    ReadUtf16Path(used, options);
  } else {
    ReadUtf8Path(&reader, options);
  }
  return 1;
}

uint32_t ClipPrefsGeneration(Bytes block) {
  const Bytes used = UsedPart(block);
  if (used.empty()) return 0;
  ByteReader reader(used);
  return ReadHeader(&reader).generation;
}

}  // namespace qx
