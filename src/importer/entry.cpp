#include "importer/entry.h"

#include <atomic>

#include "host/selectors.h"
#include "importer/async_importer.h"
#include "importer/audio_delivery.h"
#include "importer/clip_info.h"
#include "importer/clip_prefs_selector.h"
#include "importer/diagnostic_log.h"
#include "importer/frame_delivery.h"
#include "importer/host_language.h"
#include "importer/importer_clip.h"
#include "importer/importer_settings.h"
#include "importer/open_clip_registry.h"
#include "importer/stored_prefs.h"
#include "pipeline/frame_pipeline_control.h"
#include "platform/fault_guard.h"

namespace qx {

namespace {

constexpr int32_t kLoggedSelectors = 128;

struct Call {
  int32_t selector;
  host::StdParms* parms;
  void* param1;
  void* param2;
  int32_t result = host::imOtherErr;
};

template <typename Record>
Record* As(void* param) {
  return static_cast<Record*>(param);
}

host::Handle AsHandle(void* param) {
  return static_cast<host::Handle>(param);
}

int32_t Init(const Call& call) {
  InitImporterSettings();
  FillImportInfo(As<host::ImportInfoRec>(call.param1));
  return host::imIsCacheable;
}

int32_t Shutdown(const Call&) {
  ShutdownPipeline();
  return host::imNoErr;
}

/// The clip of `*privateData`; opened first when the host has none yet, and then `*privateData` receives its handle.
int32_t FindOrOpenClip(const Call& call, const host::FileAccessRec8& access, host::Handle* privateData, ImporterClip** clip) {
  if (*privateData == nullptr) {
    const int32_t result = OpenImporterClip(call.parms, access.filepath, access.filetype, privateData);
    if (result != host::imNoErr) return result;
  }
  *clip = ClipOfHandle(*privateData);
  return *clip != nullptr ? host::imNoErr : host::imOtherErr;
}

/// Takes back what OpenImporterClip gave the host. Handles that are not in the registry are ignored.
void CloseImporterClip(const Call& call, host::Handle handle) {
  if (handle == nullptr || !OpenClips().Remove(handle)) return;
  if (ImporterClip* clip = ClipOfHandle(handle)) ReleaseImporterClip(clip);
  if (const host::MemFuncs* memory = MemFuncsOf(call.parms); memory != nullptr && memory->disposeHandle != nullptr) {
    memory->disposeHandle(handle);
  }
}

int32_t OpenFile(const Call& call) {
  auto* record = As<host::FileOpenRec8>(call.param2);
  host::Handle handle = record->privatedata;
  ImporterClip* clip = nullptr;
  if (const int32_t result = FindOrOpenClip(call, record->fileinfo, &handle, &clip); result != host::imNoErr) return result;
  if (!clip->file.isOpen() && !clip->file.Open(clip->path)) {
    if (record->privatedata == nullptr) CloseImporterClip(call, handle);  // the host keeps nothing of a file that it could not open
    return host::imBadFile;
  }
  record->privatedata = handle;
  const host::FileRef file = clip->file.nativeHandle();
  if (call.param1 != nullptr) *As<host::FileRef>(call.param1) = file;
  record->fileinfo.fileref = file;
  record->outExtraMemoryUsage = ClipMemoryBytes(clip->Opened()->clip.get());
  return host::imNoErr;
}

int32_t QuietFile(const Call& call) {
  if (ImporterClip* clip = ClipOfHandle(AsHandle(call.param2))) clip->file.Close();
  if (call.param1 != nullptr) *As<host::FileRef>(call.param1) = host::kNoFile;
  return host::imNoErr;
}

int32_t CloseFile(const Call& call) {
  CloseImporterClip(call, AsHandle(call.param2));
  return host::imNoErr;
}

int32_t GetInfo(const Call& call) {
  const auto* access = As<host::FileAccessRec8>(call.param1);
  auto* record = As<host::FileInfoRec8>(call.param2);
  host::Handle handle = record->privatedata;
  ImporterClip* clip = nullptr;
  if (const int32_t result = FindOrOpenClip(call, *access, &handle, &clip); result != host::imNoErr) return result;
  record->privatedata = handle;
  ApplyStoredPrefs(clip, record->prefs);
  FillFileInfo(clip->Opened()->info, access->filetype, record);
  return host::imNoErr;
}

int32_t GetPrefs(const Call& call) {
  return AnswerPrefsSelector(PrefsOperation::kClip, call.parms, As<host::FileAccessRec8>(call.param1), As<host::GetPrefsRec>(call.param2),
                             RunSourceSettingsDialog);
}

int32_t GetInstancePrefs(const Call& call) {
  auto* record = As<host::GetInstancePrefsRec>(call.param2);
  return AnswerPrefsSelector(PrefsOperation::kInstance, call.parms, As<host::FileAccessRec8>(call.param1),
                             record != nullptr ? &record->prefs : nullptr, RunSourceSettingsDialog);
}

int32_t GetIndPixelFormat(const Call& call) {
  auto* record = As<host::IndPixelFormatRec>(call.param2);
  const ImporterClip* clip = LookupImporterClip(record->privatedata);
  const OutputKind kind = clip != nullptr ? clip->Opened()->outputKind() : OutputKind::kSLog3;
  const std::optional<uint32_t> format = OfferedFormat(Settings(), kind, reinterpret_cast<size_t>(call.param1));
  if (!format) return host::imBadFormatIndex;
  record->outPixelFormat = *format;
  return host::imNoErr;
}

int32_t GetPreferredFrameSize(const Call& call) {
  auto* record = As<host::PreferredFrameSizeRec>(call.param1);
  const ImporterClip* clip = ClipOfHandle(record->inPrivateData);
  return clip != nullptr ? PreferredFrameSize(clip->Opened()->info, record) : int32_t(host::imOtherErr);
}

int32_t GetSourceVideo(const Call& call) {
  auto* request = As<host::SourceVideoRec>(call.param2);
  ImporterClip* clip = ClipOfHandle(AsHandle(request->inPrivateData));
  return clip != nullptr ? DeliverFrame(clip, request, false) : int32_t(host::imOtherErr);
}

int32_t GetTimeInfo(const Call& call) {
  auto* record = As<host::TimeInfoRec8>(call.param2);
  const ImporterClip* clip = ClipOfHandle(record->privatedata);
  return clip != nullptr ? DescribeTimecode(clip->Opened()->info, record) : int32_t(host::imUnsupported);
}

int32_t QueryContentState(const Call& call) {
  QueryHostLanguage(BasicSuiteOf(call.parms));
  return DescribeContentState(As<host::QueryContentStateRec>(call.param1));
}

int32_t Dispatch(const Call& call) {
  switch (call.selector) {
    case host::imInit:
      return Init(call);
    case host::imShutdown:
      return Shutdown(call);
    case host::imQuietFile:
      return QuietFile(call);
    case host::imCloseFile:
      return CloseFile(call);
    case host::imGetIndFormat:
      return DescribeFileFormat(reinterpret_cast<size_t>(call.param1), As<host::IndFormatRec>(call.param2));
    case host::imImportAudio7:
      return ImportAudio(As<host::ImportAudioRec7>(call.param2));
    case host::imGetIndPixelFormat:
      return GetIndPixelFormat(call);
    case host::imGetSupports8:
      return host::malSupports8;
    case host::imGetInfo8:
      return GetInfo(call);
    case host::imGetPrefs8:
      return GetPrefs(call);
    case host::imOpenFile8:
      return OpenFile(call);
    case host::imGetPreferredFrameSize:
      return GetPreferredFrameSize(call);
    case host::imCreateAsyncImporter:
      return CreateAsyncImporter(As<host::AsyncImporterCreationRec>(call.param1));
    case host::imGetSourceVideo:
      return GetSourceVideo(call);
    case host::imGetTimeInfo8:
      return GetTimeInfo(call);
    case host::imQueryContentState:
      return QueryContentState(call);
    case host::imGetSupportsPerInstancePrefs:
      return host::malSupportsPerInstancePrefs;
    case host::imGetInstancePrefs:
      return GetInstancePrefs(call);
    case host::imGetIndColorSpace:
      return DescribeColorSpace(reinterpret_cast<size_t>(call.param1), As<host::ColorSpaceRec>(call.param2));
    default:
      return host::imUnsupported;
  }
}

void LogFirstCall(int32_t selector) {
  static std::atomic<bool> called[kLoggedSelectors];
  if (!LogIsOn() || selector < 0 || selector >= kLoggedSelectors) return;
  if (!called[selector].exchange(true)) LogLine("selector %d first call", selector);
}

}  // namespace

int32_t ImporterEntry(int32_t selector, host::StdParms* parms, void* param1, void* param2) {
  try {
    LogFirstCall(selector);
    Call call{selector, parms, param1, param2};
    uint32_t fault = 0;
    const auto run = [](void* context) {
      auto* running = static_cast<Call*>(context);
      running->result = Dispatch(*running);
    };
    if (CallGuarded(run, &call, &fault)) return call.result;
    LogLine("selector %d: exception %08x", selector, fault);
    return host::imOtherErr;
  } catch (...) {
    return host::imOtherErr;
  }
}

}  // namespace qx
