#include "importer/default_options.h"

#include <array>
#include <optional>

#include "importer/clip_prefs.h"
#include "platform/settings_store.h"

namespace qx {

namespace {

constexpr char kDefaultsName[] = "Defaults";

}  // namespace

void LoadDefaultOptions(DevelopOptions* options) {
  std::array<uint8_t, kClipPrefsBytes> block;
  const std::optional<size_t> size = ReadUserSetting(kDefaultsName, block);
  ReadClipPrefs(Bytes(block).first(size.value_or(0)), options);
}

void SaveDefaultOptions(const DevelopOptions& options) {
  std::array<uint8_t, kClipPrefsBytes> block;
  if (WriteClipPrefs(options, 0, block) != 0) return;
  [[maybe_unused]] const bool saved = WriteUserSetting(kDefaultsName, block);
}

}  // namespace qx
