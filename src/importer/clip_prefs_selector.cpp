#include "importer/clip_prefs_selector.h"

#include <span>
#include <string>

#include "base/utf.h"
#include "host/selectors.h"
#include "importer/clip_prefs.h"
#include "importer/clip_preview.h"
#include "importer/default_options.h"
#include "importer/diagnostic_log.h"
#include "importer/file_refresh.h"
#include "importer/host_language.h"
#include "importer/host_suite.h"
#include "platform/owner_window.h"
#include "platform/path.h"

namespace qx {

namespace {

/// One call with a block to read and write.
struct PrefsCall {
  const char* operation;
  std::u16string path;
  std::span<uint8_t> block;
};

struct Choice {
  DevelopOptions options;
  bool useForNewClips = false;
};

/// Writes the options, without their LUT when its path does not fit. False in that case.
bool WritePrefs(const PrefsCall& call, DevelopOptions* options, uint32_t generation) {
  if (WriteClipPrefs(*options, generation, call.block) == 0) return true;
  options->lutPath[0] = 0;
  [[maybe_unused]] const int written = WriteClipPrefs(*options, generation, call.block);  // fits every block of 76 bytes
  return false;
}

/// 0 means "never applied": the count leaves it out when it starts over.
uint32_t NextGeneration(uint32_t generation) {
  return generation + 1 != 0 ? generation + 1 : 1;
}

int32_t WriteFirstPrefs(const PrefsCall& call) {
  DevelopOptions options;
  LoadDefaultOptions(&options);
  WritePrefs(call, &options, 1);
  LogLine("%s: defaults, no window", call.operation);
  return host::imNoErr;
}

/// As SettingsDialogFunction answers.
int ShowWindow(const PrefsCall& call, Choice* choice, SettingsDialogFunction showWindow) {
  SettingsDialogRequest request;
  request.ownerWindow = FindOwnerWindow();
  LogLine("%s: window, owner %p", call.operation, request.ownerWindow);
  request.clipPath = PathFromUtf16(call.path);
  request.languageIndex = HostLanguage();

  MessageBuffer<256> message;
  const std::unique_ptr<ClipPreview> preview = ClipPreview::Open(request.clipPath, choice->options, message);
  SettingsPreview window;
  if (preview != nullptr) {
    window = preview->ForWindow();
    request.preview = &window;
  } else {
    LogLine("%s: no preview: %s", call.operation, message.text());
  }
  message.Clear();
  const int result = showWindow(request, &choice->options, &choice->useForNewClips, message);
  if (result < 0) LogLine("%s: %s", call.operation, message.text());
  return result;
}

void StoreChoice(const PrefsCall& call, Choice* choice, uint32_t generation) {
  DevelopOptions& options = choice->options;
  if (!WritePrefs(call, &options, generation)) {
    LogLine("%s: LUT path does not fit the %d-byte prefs block of this clip — saved without LUT", call.operation, int(call.block.size()));
  }
  if (choice->useForNewClips) SaveDefaultOptions(options);
  LogLine("%s: window OK, gen %u, curve %d, lut %s, ev %.2f, wb %d (%.0f K, %.0f), algo %d, warp %d, vignette %d, cpu %d%s", call.operation,
          generation, options.outputCurve, options.hasLut() ? "on" : "off", double(options.exposureEv), options.whiteBalanceOn,
          options.kelvin, options.tint, options.demosaic, options.warpPercent, options.vignettePercent, options.cpuOnly,
          choice->useForNewClips ? ", saved as default" : "");
  RefreshClip(call.path);
}

int32_t EditPrefs(const PrefsCall& call, SettingsDialogFunction showWindow) {
  const uint32_t generation = ClipPrefsGeneration(call.block);
  Choice choice;
  if (ReadClipPrefs(call.block, &choice.options) == 0) LoadDefaultOptions(&choice.options);
  const int result = ShowWindow(call, &choice, showWindow);
  if (result == kSettingsWindowFaulted) return host::imOtherErr;
  if (result < 0) return host::imCancel;
  if (result == 0) {
    LogLine("%s: window cancelled", call.operation);
    return host::imCancel;
  }
  StoreChoice(call, &choice, NextGeneration(generation));
  return host::imNoErr;
}

}  // namespace

int32_t AnswerPrefsSelector(PrefsOperation operation, const host::StdParms* parms, const host::FileAccessRec8* access,
                            host::GetPrefsRec* record, SettingsDialogFunction showWindow) {
  if (const host::SPBasicSuite* basic = BasicSuiteOf(parms)) {
    KeepBasicSuite(basic);
    QueryHostLanguage(basic);
  }
  if (record == nullptr) return host::imOtherErr;
  PrefsCall call{operation == PrefsOperation::kClip ? "imGetPrefs8" : "imGetInstancePrefs", {}, {}};
  if (access != nullptr && access->filepath != nullptr) call.path = access->filepath;
  const int32_t length = record->prefsLength;
  LogLine("%s %s: prefs %p, length %d, firstTime %d", call.operation, Utf8FromUtf16(call.path).c_str(), record->prefs, length,
          int(record->firstTime));
  if (record->prefs == nullptr) {
    record->prefsLength = int32_t(kClipPrefsBytes);
    return host::imNoErr;
  }
  if (length < int32_t(kSmallestClipPrefs)) {
    LogLine("%s: prefs block %d bytes is too small", call.operation, length);
    return host::imOtherErr;
  }
  call.block = {static_cast<uint8_t*>(record->prefs), size_t(length)};
  if (operation == PrefsOperation::kClip && record->firstTime != 0) return WriteFirstPrefs(call);
  return EditPrefs(call, showWindow);
}

}  // namespace qx
