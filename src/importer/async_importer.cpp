#include "importer/async_importer.h"

#include <atomic>

#include "host/selectors.h"
#include "importer/diagnostic_log.h"
#include "importer/frame_delivery.h"
#include "importer/importer_clip.h"
#include "importer/session_statistics.h"
#include "platform/fault_guard.h"

namespace qx {

namespace {

constexpr int32_t kLoggedSelectors = 16;

int32_t InitiateRead(const host::AsyncRequestRec* request) {
  auto* clip = static_cast<ImporterClip*>(request->inPrivateData);
  const int64_t frame = clip->FrameAt(request->sourceVideo.inFrameTime);
  const int32_t level = clip->sizeLevel;
  PrefetchFrame(clip->Opened()->clip.get(), frame, level);
  LogLine("initiate %lld%s", static_cast<long long>(frame), kLevelSuffixes[level]);
  return host::aiNoError;
}

int32_t GetFrameNow(host::SourceVideoRec* request) {
  const int32_t result = DeliverFrame(static_cast<ImporterClip*>(request->inPrivateData), request, true);
  if (result == host::imNoErr) return host::aiNoError;
  return result == host::imOtherErr ? host::aiUnknownError : host::aiFrameNotFound;
}

int32_t RefuseSelector(int32_t selector) {
  static std::atomic<bool> logged[kLoggedSelectors];
  if (selector >= 0 && selector < kLoggedSelectors && LogIsOn() && !logged[selector].exchange(true)) {
    LogLine("async selector %d (unsupported) first call", selector);
  }
  return host::aiUnsupported;
}

int32_t Dispatch(int32_t selector, void* param) {
  switch (selector) {
    case host::aiInitiateAsyncRead:
      return InitiateRead(static_cast<host::AsyncRequestRec*>(param));
    case host::aiCancelAsyncRead:
      return host::aiNoError;
    case host::aiFlush:
      CancelClipJobs(static_cast<ImporterClip*>(param)->Opened()->clip.get());
      CloseSession();
      return host::aiNoError;
    case host::aiGetFrame:
      return GetFrameNow(static_cast<host::SourceVideoRec*>(param));
    case host::aiClose:
      ReleaseImporterClip(static_cast<ImporterClip*>(param));
      return host::aiNoError;
    default:
      return RefuseSelector(selector);
  }
}

}  // namespace

int32_t CreateAsyncImporter(host::AsyncImporterCreationRec* record) {
  ImporterClip* clip = ClipOfHandle(record->inPrivateData);
  if (clip == nullptr) return host::imOtherErr;
  AddReference(clip);
  record->outAsyncEntry = AsyncImporterEntry;
  record->outAsyncPrivateData = clip;
  return host::imNoErr;
}

int32_t AsyncImporterEntry(int32_t selector, void* param) {
  try {
    struct Call {
      int32_t selector;
      void* param;
      int32_t result;
    } call{selector, param, host::aiUnknownError};
    const auto run = [](void* context) {
      auto* running = static_cast<Call*>(context);
      running->result = Dispatch(running->selector, running->param);
    };
    uint32_t fault = 0;
    if (!CallGuarded(run, &call, &fault)) LogLine("async selector %d: exception %08x", selector, fault);
    return call.result;
  } catch (...) {
    return host::aiUnknownError;
  }
}

}  // namespace qx
