#include "standin/prefs_block.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <filesystem>
#include <type_traits>

namespace standin {

namespace {

static_assert(std::endian::native == std::endian::little, "the block is little-endian and copied as it is");

// Byte offsets of the block's fields.
enum Offset : size_t {
  kMagic = 0,
  kVersion = 4,
  kLength = 8,
  kGeneration = 12,
  kCurve = 16,
  kCpuOnly = 20,
  kNarrowRange = 24,
  kDemosaic = 28,
  kWarp = 32,
  kVignette = 36,
  kOne = 40,
  kWhiteBalance = 44,
  kExposure = 48,
  kKelvin = 56,
  kTint = 64,
  kPathLength = 72,  // version 2: the path itself
  kPath = 76,
};
constexpr size_t kMostUsed = 1024;
constexpr size_t kOldPathUnits = 260;

template <typename T>
T Load(const PrefsBlock& block, size_t offset) {
  T value;
  std::memcpy(&value, block.data() + offset, sizeof(value));
  return value;
}

template <typename T>
void Store(PrefsBlock* block, size_t offset, std::type_identity_t<T> value) {
  std::memcpy(block->data() + offset, &value, sizeof(value));
}

std::string OldPath(const PrefsBlock& block) {
  std::u16string path(kOldPathUnits - 1, u'\0');
  std::memcpy(path.data(), block.data() + kPathLength, path.size() * 2);
  const std::u8string utf8 = std::filesystem::path(path.substr(0, path.find(u'\0'))).u8string();
  return std::string(utf8.begin(), utf8.end());
}

std::string PathOf(const PrefsBlock& block, uint32_t version, uint32_t length) {
  if (version == 2) return length >= kPathLength + kOldPathUnits * 2 ? OldPath(block) : "";
  const uint32_t pathLength = Load<uint32_t>(block, kPathLength);
  if (pathLength > length - kPath) return "";
  return std::string(block.begin() + kPath, block.begin() + kPath + pathLength);
}

}  // namespace

bool ReadBlock(const PrefsBlock& block, BlockSettings* settings) {
  if (block.size() < kPath || std::memcmp(block.data(), "QXPS", 4) != 0) return false;
  const uint32_t version = Load<uint32_t>(block, kVersion), length = Load<uint32_t>(block, kLength);
  if (version < 2 || length < kPath || length > block.size()) return false;
  *settings = {};
  settings->version = version;
  settings->generation = Load<uint32_t>(block, kGeneration);
  settings->curve = Load<int32_t>(block, kCurve);
  settings->cpuOnly = Load<uint32_t>(block, kCpuOnly) != 0;
  settings->narrowRange = Load<uint32_t>(block, kNarrowRange) != 0;
  settings->demosaic = Load<int32_t>(block, kDemosaic);
  settings->warpPercent = Load<int32_t>(block, kWarp);
  settings->vignettePercent = Load<int32_t>(block, kVignette);
  settings->whiteBalanceOn = Load<uint32_t>(block, kWhiteBalance) != 0;
  settings->exposureEv = Load<float>(block, kExposure);
  settings->kelvin = Load<double>(block, kKelvin);
  settings->tint = Load<double>(block, kTint);
  settings->lutPath = PathOf(block, version, length);
  return true;
}

bool WriteBlock(const BlockSettings& settings, PrefsBlock* block) {
  const size_t used = std::min(block->size(), kMostUsed);
  if (used < kPath || settings.lutPath.size() > used - kPath) return false;
  std::fill(block->begin(), block->begin() + ptrdiff_t(used), uint8_t(0));
  std::memcpy(block->data() + kMagic, "QXPS", 4);
  Store<uint32_t>(block, kVersion, 3);
  Store<uint32_t>(block, kLength, uint32_t(used));
  Store<uint32_t>(block, kGeneration, settings.generation);
  Store<int32_t>(block, kCurve, settings.curve);
  Store<uint32_t>(block, kCpuOnly, settings.cpuOnly ? 1 : 0);
  Store<uint32_t>(block, kNarrowRange, settings.narrowRange ? 1 : 0);
  Store<int32_t>(block, kDemosaic, settings.demosaic);
  Store<int32_t>(block, kWarp, settings.warpPercent);
  Store<int32_t>(block, kVignette, settings.vignettePercent);
  Store<uint32_t>(block, kOne, 1);
  Store<uint32_t>(block, kWhiteBalance, settings.whiteBalanceOn ? 1 : 0);
  Store<float>(block, kExposure, settings.exposureEv);
  Store<double>(block, kKelvin, settings.kelvin);
  Store<double>(block, kTint, settings.tint);
  Store<uint32_t>(block, kPathLength, uint32_t(settings.lutPath.size()));
  std::copy(settings.lutPath.begin(), settings.lutPath.end(), block->begin() + kPath);
  return true;
}

}  // namespace standin
