#include "importer/stored_prefs.h"

#include <string>

#include "importer/clip_prefs.h"
#include "importer/diagnostic_log.h"
#include "importer/importer_settings.h"
#include "platform/path.h"

namespace qx {

namespace {

/// As ApplyDevelopOptions answers, but 1 means that another pipeline clip has taken the old one's place.
int ApplyOrReopen(ImporterClip* clip, const DevelopOptions& options, Message message) {
  const int result = ApplyDevelopOptions(clip->Opened()->clip.get(), &options, message);
  if (result != 1) return result;
  auto reopened = std::make_shared<OpenedClip>();
  reopened->clip.reset(OpenClip(clip->path, &options, &reopened->info, message));
  if (reopened->clip == nullptr) return -1;
  clip->Replace(std::move(reopened));
  return 1;
}

}  // namespace

void ApplyStoredPrefs(ImporterClip* clip, const void* prefs) {
  if (prefs == nullptr) return;
  const Bytes block(static_cast<const uint8_t*>(prefs), kClipPrefsBytes);
  const uint32_t generation = ClipPrefsGeneration(block);
  if (generation == 0 || clip->appliedGeneration.exchange(generation) == generation) return;
  DevelopOptions options;
  ReadClipPrefs(block, &options);
  options.slog3Narrow = Settings().slog3Narrow ? 1 : 0;
  MessageBuffer<512> message;
  const int result = ApplyOrReopen(clip, options, message);
  const std::string path = Utf8FromPath(clip->path);
  if (result < 0) {
    LogLine("prefs %s: not applied: %s", path.c_str(), message.text());
    return;
  }
  LogLine("prefs %s: gen %u applied %s, curve %d", path.c_str(), generation, result == 0 ? "on the fly" : "by reopening",
          clip->Opened()->info.outputKind);
}

}  // namespace qx
