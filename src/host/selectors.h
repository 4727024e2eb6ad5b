// Selectors and results of the host's importer interface (version 23).
#pragma once

#include <cstdint>

namespace qx::host {

enum Selector : int32_t {
  imInit = 0,
  imShutdown = 1,
  imQuietFile = 8,
  imCloseFile = 9,
  imGetIndFormat = 14,
  imImportAudio7 = 25,
  imGetIndPixelFormat = 27,
  imGetSupports8 = 36,
  imGetInfo8 = 37,
  imGetPrefs8 = 38,
  imOpenFile8 = 39,
  imGetPreferredFrameSize = 45,
  imCreateAsyncImporter = 46,
  imGetSourceVideo = 47,
  imGetTimeInfo8 = 52,
  imQueryContentState = 57,
  imGetSupportsPerInstancePrefs = 71,
  imGetInstancePrefs = 72,
  imGetIndColorSpace = 73,
};

enum Result : int32_t {
  imNoErr = 0,
  imBadFile = 2,
  imUnsupported = 3,
  imMemErr = 4,
  imOtherErr = 5,
  imIterateFrameSizes = 24,
  imFrameNotFound = 28,
  malSupports8 = 101,
  malSupportsPerInstancePrefs = 102,
  imCancel = 300,
  imBadFormatIndex = 301,
  imIsCacheable = 400,
};

/// Selectors and results of an asynchronous importer's entry.
enum AsyncSelector : int32_t {
  aiInitiateAsyncRead = 0,
  aiCancelAsyncRead = 1,
  aiFlush = 2,
  aiGetFrame = 3,
  aiClose = 4,
  aiContinueToWaitForAsyncIO = 5,
  aiSelectEfficientRenderTime = 6,
};

enum AsyncResult : int32_t {
  aiNoError = 0,
  aiUnsupported = 1,
  aiUnknownError = 2,
  aiFrameNotFound = 3,
};

/// Why the host wants a frame.
enum Intent : int32_t {
  kIntentUnknown = -1,
  kIntentExport = 0,
  kIntentStopped = 1,
  kIntentScrubbing = 2,
  kIntentPreroll = 3,
  kIntentPlaying = 4,
  kIntentPrefetch = 5,
  kIntentThumbnail = 6,
  kIntentAnalysis = 7,
  kIntentExportPreview = 8,
  kIntentExportProxies = 9,
  kIntentDistantPrefetch = 10,
};

}  // namespace qx::host
