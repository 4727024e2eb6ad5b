// The host-facing record of one opened clip: handle → block → ImporterClip, shared by reference count.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "base/lock.h"
#include "host/records.h"
#include "host/suites.h"
#include "importer/host_suite.h"
#include "pipeline/clip.h"
#include "platform/file.h"

namespace qx {

/// A pipeline clip with what it said of itself when it was opened.
struct OpenedClip {
  ClipPtr clip;
  ClipInfo info;

  OutputKind outputKind() const { return OutputKind(info.outputKind); }
};
using OpenedClipPtr = std::shared_ptr<const OpenedClip>;

/// Created by OpenImporterClip with one reference; each asynchronous importer adds one. Fixed after opening but for the atomics, the
/// pipeline clip in use, and the file handle, which the host's open, quiet and close calls (never concurrent for one clip) change.
struct ImporterClip {
  std::atomic<int32_t> references{1};
  HostSuite<host::PPixCreatorSuite> ppixCreator;
  HostSuite<host::PPixCreator2Suite> ppixCreator2;  // may be absent
  HostSuite<host::PPixSuite> ppix;
  HostSuite<host::TimeSuite> time;
  int64_t ticksPerFrame = 0;
  File file;
  std::atomic<int32_t> sizeLevel{0};  // of the latest request
  std::filesystem::path path;
  std::atomic<uint32_t> appliedGeneration{0};  // of the settings block applied last

  /// The pipeline clip in use. Changed settings can put another in its place at any time; whoever works with one keeps it for as long as
  /// that takes, and the last one to let go closes it.
  OpenedClipPtr Opened() const EXCLUDES(openedLock_) {
    LockGuard guard(openedLock_);
    return opened_;
  }
  void Replace(OpenedClipPtr opened) EXCLUDES(openedLock_) {
    LockGuard guard(openedLock_);
    opened_.swap(opened);  // the old one is let go after the lock: closing waits for readers
  }
  /// Display frame of a host time.
  int64_t FrameAt(int64_t ticks) const { return ticks / (ticksPerFrame != 0 ? ticksPerFrame : 1); }

 private:
  mutable Mutex openedLock_;
  OpenedClipPtr opened_ GUARDED_BY(openedLock_);
};

/// Opens a clip and gives it a host handle. 0 with the handle, 2 not ours, 4 no handle from the host, 5 a suite is missing; nothing stays
/// open after a failure.
int32_t OpenImporterClip(const host::StdParms* parms, const char16_t* path, int32_t fileType, host::Handle* privateData);

void AddReference(ImporterClip* clip);
/// Destroys the clip when the last reference goes.
void ReleaseImporterClip(ImporterClip* clip);

/// Follows the handle chain without asking the registry; null when a link is null.
ImporterClip* ClipOfHandle(host::Handle privateData);

}  // namespace qx
