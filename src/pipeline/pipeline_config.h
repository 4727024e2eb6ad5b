// The numbers that the frame pipeline runs with: how many threads, how far ahead, how much memory.
#pragma once

#include <cstdint>

#include "platform/environment.h"

namespace qx {

constexpr int32_t kMaxReaders = 8;

/// Fixed when the pipeline is created, read without a lock afterwards.
struct PipelineConfig {
  int32_t viewReaders = 1;              // readers that work in view mode
  int32_t exportReaders = 1;            // reader threads created, viewReaders … kMaxReaders; all work in export mode
  int32_t prefetch = 6;                 // frames queued ahead of the last requested one
  int32_t inFlight = 3;                 // frames that the GPU thread keeps in flight, at most 8
  uint64_t clipCacheBytes = 838860800;  // per clip in view mode; twice as much in export mode
  int32_t copyThreads = 1;              // view copy pool
  int32_t exportCopyThreads = 1;        // export copy pool
  int32_t developThreads = 0;           // development on the processor; the reader itself works too
};

/// The configuration of a machine with `processors` logical processors, tuned by variables of at most 63 bytes:
///   QORIX_IMPORT_TUNE      "readers,prefetch,inFlight": readers 1 … 8, the others above 0; a missing or wrong one keeps its default
///   QORIX_IMPORT_CLIPMB    clip cache in MiB, above 0
///   QORIX_IMPORT_XREADERS  reader threads of export mode, at least 1
///   QORIX_IMPORT_COPYTH    threads of the view copy pool, at least 1
PipelineConfig MakePipelineConfig(int processors, const EnvironmentLookup& environment);

}  // namespace qx
