#include "importer/importer_clip.h"

#include <optional>

#include "base/ascii.h"
#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "importer/default_options.h"
#include "importer/diagnostic_log.h"
#include "importer/host_language.h"
#include "importer/importer_settings.h"
#include "importer/open_clip_registry.h"
#include "platform/environment.h"
#include "platform/path.h"

namespace qx {

namespace {

int32_t CurveFromName(const std::string& name) {
  struct Row {
    const char* name;
    int32_t curve;
  };
  for (const Row& row : {Row{"di", 1}, Row{"rec709", 2}, Row{"linear", 3}}) {
    if (EqualsIgnoringAsciiCase(name, row.name)) return row.curve;
  }
  return 0;
}

// The range that is told to the host is a setting of the process, not of a clip.
void SetRange(DevelopOptions* options) {
  options->slog3Narrow = Settings().slog3Narrow ? 1 : 0;
}

// Opens with the user's defaults, and once more with the built-in ones unless the environment chose the curve. `options` tells what was
// used.
ClipPtr OpenWithDefaults(const std::filesystem::path& path, DevelopOptions* options, ClipInfo* info) {
  const std::string name = Utf8FromPath(path);
  const std::optional<std::string> curve = ReadEnvironment("QORIX_IMPORT_CURVE", 16);
  LoadDefaultOptions(options);
  SetRange(options);
  if (curve) options->outputCurve = CurveFromName(*curve);
  MessageBuffer<512> message;
  ClipPtr clip(OpenClip(path, options, info, message));
  if (clip == nullptr && !curve) {
    LogLine("open %s: defaults from the registry failed: %s — converter defaults", name.c_str(), message.text());
    SetDefaultDevelopOptions(options);
    SetRange(options);
    message.Clear();
    clip.reset(OpenClip(path, options, info, message));
  }
  if (clip == nullptr) LogLine("open %s: not ours: %s", name.c_str(), message.text());
  return clip;
}

// A host that took the file for the other kind has not read it: its name ends wrongly.
bool IsAnnouncedAsOtherKind(const std::filesystem::path& path, const ClipInfo& info, uint32_t fileType) {
  const bool isQorix = info.isQorix != 0;
  if (fileType != (isQorix ? host::kFileTypeRawZip : host::kFileTypeQorix)) return false;
  LogLine("open %s: announced as a %s, is a %s — not opened under this name; rename it to end in %s", Utf8FromPath(path).c_str(),
          isQorix ? "RAW-ZIP archive" : ".qorix recording", isQorix ? ".qorix recording" : "RAW-ZIP archive", isQorix ? ".qorix" : ".zip");
  return true;
}

bool AcquireSuites(const host::SPBasicSuite* basic, ImporterClip* clip) {
  clip->ppixCreator = {basic, host::kPPixCreatorSuiteName, host::kPPixCreatorSuiteVersion};
  clip->ppix = {basic, host::kPPixSuiteName, host::kPPixSuiteVersion};
  clip->time = {basic, host::kTimeSuiteName, host::kTimeSuiteVersion};
  if (!clip->ppixCreator.Available() || !clip->ppix.Available() || !clip->time.Available()) return false;
  clip->ppixCreator2 = {basic, host::kPPixCreator2SuiteName, host::kPPixCreator2SuiteVersion};
  return true;
}

int64_t TicksPerFrame(const host::TimeSuite& time, const ClipInfo& info) {
  int64_t ticksPerSecond = 0;
  if (time.getTicksPerSecond(&ticksPerSecond) < 0 || info.fpsNumerator < 1) return 0;
  return ticksPerSecond / info.fpsNumerator * info.fpsDenominator;
}

host::Handle MakePrivateData(const host::StdParms* parms, ImporterClip* clip) {
  const host::MemFuncs* memory = MemFuncsOf(parms);
  if (memory == nullptr || memory->newHandle == nullptr) return nullptr;
  const host::Handle handle = memory->newHandle(sizeof(clip));
  if (handle == nullptr) return nullptr;
  if (*handle == nullptr) {
    if (memory->disposeHandle != nullptr) memory->disposeHandle(handle);
    return nullptr;
  }
  std::memcpy(*handle, &clip, sizeof(clip));
  return handle;
}

void LogOpened(const std::filesystem::path& path, const ClipInfo& info, const DevelopOptions& options) {
  LogLine(
      "open %s: %dx%d (half %dx%d, quarter %dx%d), %lld frames, %d/%d fps, audio %d (%d ch, %d Hz, %lld), tc %s, %s; curve %d, lut %s, "
      "ev %.2f",
      Utf8FromPath(path).c_str(), info.fullWidth, info.fullHeight, info.halfWidth, info.halfHeight, info.quarterWidth, info.quarterHeight,
      static_cast<long long>(info.frameCount), info.fpsNumerator, info.fpsDenominator, info.hasAudio, info.audioChannels, info.audioRate,
      static_cast<long long>(info.audioSamples), info.timecode, info.label, info.outputKind, options.hasLut() ? "on" : "off",
      double(options.exposureEv));
}

}  // namespace

int32_t OpenImporterClip(const host::StdParms* parms, const char16_t* path, int32_t fileType, host::Handle* privateData) {
  if (path == nullptr) return host::imBadFile;
  auto clip = std::make_unique<ImporterClip>();
  clip->path = PathFromUtf16(path);
  auto opened = std::make_shared<OpenedClip>();
  DevelopOptions options;
  opened->clip = OpenWithDefaults(clip->path, &options, &opened->info);
  if (opened->clip == nullptr) return host::imBadFile;
  if (IsAnnouncedAsOtherKind(clip->path, opened->info, uint32_t(fileType))) return host::imBadFile;

  const host::SPBasicSuite* basic = BasicSuiteOf(parms);
  QueryHostLanguage(basic);
  if (!AcquireSuites(basic, clip.get())) return host::imOtherErr;
  clip->ticksPerFrame = TicksPerFrame(*clip->time.get(), opened->info);
  const host::Handle handle = MakePrivateData(parms, clip.get());
  if (handle == nullptr) return host::imMemErr;
  LogOpened(clip->path, opened->info, options);
  clip->Replace(std::move(opened));
  OpenClips().Insert(handle);
  clip.release();  // owned by its reference count now
  *privateData = handle;
  return host::imNoErr;
}

void AddReference(ImporterClip* clip) {
  clip->references.fetch_add(1, std::memory_order_relaxed);
}

void ReleaseImporterClip(ImporterClip* clip) {
  if (clip->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete clip;
}

ImporterClip* ClipOfHandle(host::Handle privateData) {
  if (privateData == nullptr || *privateData == nullptr) return nullptr;
  ImporterClip* clip = nullptr;
  std::memcpy(&clip, *privateData, sizeof(clip));
  return clip;
}

}  // namespace qx
