// The host-facing record of one opened clip: handle → block → ImporterClip, shared by reference count.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>

#include "host/records.h"
#include "host/suites.h"
#include "importer/host_suite.h"
#include "pipeline/clip.h"
#include "platform/file.h"

namespace qx {

/// Created by OpenImporterClip with one reference; each asynchronous importer adds one. Fixed after opening but for the atomics and the
/// file handle, which the host's open, quiet and close calls (never concurrent for one clip) change.
struct ImporterClip {
  std::atomic<int32_t> references{1};
  ClipPtr clip;
  ClipInfo info;
  HostSuite<host::PPixCreatorSuite> ppixCreator;
  HostSuite<host::PPixCreator2Suite> ppixCreator2;  // may be absent
  HostSuite<host::PPixSuite> ppix;
  HostSuite<host::TimeSuite> time;
  int64_t ticksPerFrame = 0;
  File file;
  std::atomic<int32_t> sizeLevel{0};  // of the latest request
  std::filesystem::path path;

  OutputKind outputKind() const { return OutputKind(info.outputKind); }
  /// Display frame of a host time.
  int64_t FrameAt(int64_t ticks) const { return ticks / (ticksPerFrame != 0 ? ticksPerFrame : 1); }
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
