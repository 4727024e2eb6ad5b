#include "importer/frame_delivery.h"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "base/lock.h"
#include "develop/geometry.h"
#include "host/pixel_formats.h"
#include "host/selectors.h"
#include "importer/diagnostic_log.h"
#include "importer/host_formats.h"
#include "importer/session_statistics.h"
#include "pipeline/frame_pipeline_control.h"
#include "platform/clock.h"

namespace qx {

namespace {

constexpr size_t kLoggedFormats = 12;
constexpr const char* kLevelNames[] = {"full", "half", "quarter"};

const char* IntentName(int32_t intent) {
  static constexpr const char* kNames[] = {"export",    "stopped",  "scrubbing",      "preroll", "playing",         "prefetch",
                                           "thumbnail", "analysis", "export preview", "proxies", "distant prefetch"};
  return intent >= 0 && intent < int32_t(std::size(kNames)) ? kNames[intent] : "unknown";
}

bool IsBgra(uint32_t format) {
  const HostFormat* known = FindHostFormat(format);
  return known != nullptr && known->bgra;
}

bool IsExport(int32_t intent) {
  return intent == host::kIntentExport || intent == host::kIntentExportPreview || intent == host::kIntentExportProxies;
}

std::string FourCCText(uint32_t format) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) {
    const char c = char(format >> (8 * i));
    text[i] = c >= 0x20 && c < 0x7F ? c : '?';  // "any format" is 0, which would end the line
  }
  return text;
}

// Process-wide state of requests: what was logged last, how many run, when the last one ended.
class RequestTrace {
 public:
  std::atomic<long> inFlight{0};

  void LogFormats(const std::string& text) EXCLUDES(formatsLock_) {
    LockGuard guard(formatsLock_);
    if (text == lastFormats_) return;
    lastFormats_ = text;
    LogLine("request formats: %s", text.c_str());
  }

  /// True when the request's shape differs from the last one's.
  bool IsNewShape(int32_t intent, int32_t width, int32_t height, int32_t quality) {
    const uint64_t key =
        (((uint64_t(int64_t(intent) + 1) << 16 ^ uint32_t(width)) << 16 ^ uint32_t(height)) << 16) ^ uint64_t(int64_t(quality));
    return lastKey_.exchange(key) != key;
  }

  bool IsFirstBuffer() { return !bufferLogged_.exchange(true); }

  double LastEndMs() const { return lastEndMs_; }
  void SetLastEndMs(double ms) { lastEndMs_ = ms; }

 private:
  std::atomic<uint64_t> lastKey_{UINT64_MAX};
  std::atomic<bool> bufferLogged_{false};
  std::atomic<double> lastEndMs_{0};
  Mutex formatsLock_;
  std::string lastFormats_ GUARDED_BY(formatsLock_);
};

RequestTrace& Trace() {
  static RequestTrace* const trace = new RequestTrace;
  return *trace;
}

host::PPix CreateBuffer(ImporterClip* clip, const host::SourceVideoRec& request, uint32_t format, Size size) {
  host::PPix frame = nullptr;
  const host::ColorSpaceId id = request.opaqueColorSpaceIdentifier;
  const bool idGiven = id.parts[0] != 0 || id.parts[1] != 0;
  host::SuiteError error;
  if (idGiven && Settings().tagFrames && clip->ppixCreator2.Available()) {
    error = clip->ppixCreator2->createColorManagedPPix(&frame, host::kPPixReadWrite, format, size.width, size.height, false, 0, 1, 1, id);
  } else {
    const host::Rect bounds = {0, 0, size.width, size.height};
    error = clip->ppixCreator->createPPix(&frame, host::kPPixReadWrite, format, &bounds);
  }
  if (Trace().IsFirstBuffer()) {
    LogLine("frame PPix: creator2 %p, color space id %s", static_cast<const void*>(clip->ppixCreator2.get()), idGiven ? "given" : "none");
  }
  return error < 0 ? nullptr : frame;
}

bool DevelopIntoBuffer(const ImporterClip& clip, Clip* opened, host::PPix frame, int64_t frameNumber, int32_t level, uint32_t format) {
  char* pixels = nullptr;
  int32_t rowBytes = 0;
  if (clip.ppix->getPixels(frame, host::kPPixReadWrite, &pixels) < 0 || pixels == nullptr) return false;
  if (clip.ppix->getRowBytes(frame, &rowBytes) < 0 || rowBytes < 0) return false;
  const HostFormat* known = FindHostFormat(format);
  return known != nullptr && GetFrame(opened, frameNumber, frameNumber, level, known->output, reinterpret_cast<uint8_t*>(pixels),
                                      uint32_t(rowBytes), nullptr, nullptr) == 0;
}

struct InFlight {
  const long parallel = ++Trace().inFlight;
  ~InFlight() { --Trace().inFlight; }
};

}  // namespace

std::optional<uint32_t> OfferedFormat(const ImporterSettings& settings, OutputKind kind, size_t index) {
  std::vector<uint32_t> offered;
  if (kind == OutputKind::kLinear) {
    offered = {host::kBgraLinear, host::kBgraFloat};
  } else if (!settings.explicitFormats.empty()) {
    offered = settings.explicitFormats;
  } else {
    offered = settings.defaultFormats;
    offered.insert(offered.end(), {host::kVuyaFloat709, host::kV210_709, host::kUyvy709});
  }
  return index < offered.size() ? std::optional(offered[index]) : std::nullopt;
}

FormatChoice ChooseFormat(std::span<const host::FrameFormat> accepted, uint32_t defaultFormat) {
  FormatChoice choice;
  bool sizeTaken = false;
  for (const host::FrameFormat& entry : accepted) {
    const bool known = FindHostFormat(entry.pixelFormat) != nullptr;
    if (!known && entry.pixelFormat != host::kAnyPixelFormat) continue;
    if (!sizeTaken) {
      choice.askedWidth = entry.width;
      choice.askedHeight = entry.height;
      sizeTaken = true;
    }
    if (known && choice.format == 0) choice.format = entry.pixelFormat;
    if (IsBgra(entry.pixelFormat) && choice.bgraFallback == 0) choice.bgraFallback = entry.pixelFormat;
  }
  if (choice.format == 0) choice.format = defaultFormat;
  return choice;
}

std::string FormatListText(std::span<const host::FrameFormat> accepted) {
  std::string text;
  for (const host::FrameFormat& entry : accepted.first(std::min(accepted.size(), kLoggedFormats))) {
    if (!text.empty()) text += ' ';
    text += FourCCText(entry.pixelFormat);
  }
  return text;
}

int32_t ChooseSizeLevel(const ClipInfo& info, int32_t intent, int32_t askedWidth, int32_t askedHeight) {
  const bool shows = (intent >= host::kIntentStopped && intent <= host::kIntentThumbnail) || intent == host::kIntentDistantPrefetch;
  if (!shows || info.halfWidth == 0 || askedWidth < 1 || askedHeight < 1) return kFullSize;
  if (askedWidth > info.halfWidth || askedHeight > info.halfHeight) return kFullSize;
  const bool fitsQuarter = info.quarterWidth != 0 && askedWidth <= info.quarterWidth && askedHeight <= info.quarterHeight;
  return fitsQuarter ? kQuarterSize : kHalfSize;
}

int32_t DeliverFrame(ImporterClip* clip, host::SourceVideoRec* request, bool async) {
  if (request->outFrame == nullptr) return host::imOtherErr;
  const double startMs = MonotonicMs();
  const InFlight inFlight;
  const OpenedClipPtr opened = clip->Opened();  // the whole request sees one, whatever imGetInfo8 does meanwhile
  const int64_t frameNumber = clip->FrameAt(request->inFrameTime);
  const size_t entries = request->inFrameFormats != nullptr ? size_t(std::max(request->inNumFrameFormats, 0)) : 0;
  const std::span<const host::FrameFormat> accepted(request->inFrameFormats, entries);
  FormatChoice choice = ChooseFormat(accepted, Settings().defaultFormats[0]);
  if (LogIsOn()) Trace().LogFormats(FormatListText(accepted));

  const int32_t intent = request->inIntent;
  const int32_t level = ChooseSizeLevel(opened->info, intent, choice.askedWidth, choice.askedHeight);
  if (Trace().IsNewShape(intent, choice.askedWidth, choice.askedHeight, request->inQuality)) {
    LogLine("request: intent %d (%s), asked %dx%d, quality %d -> giving %s", intent, IntentName(intent), choice.askedWidth,
            choice.askedHeight, request->inQuality, kLevelNames[level]);
  }
  clip->sizeLevel = level;
  SetExportMode(IsExport(intent));
  if (opened->outputKind() == OutputKind::kLinear && !IsBgra(choice.format)) {
    choice.format = choice.bgraFallback != 0 ? choice.bgraFallback : host::kBgraLinear;
  }

  const Size size = LevelSize(opened->info, level);
  const host::PPix frame = CreateBuffer(clip, *request, choice.format, size);
  if (frame == nullptr) return host::imMemErr;
  const double bufferMs = MonotonicMs();
  const bool delivered = DevelopIntoBuffer(*clip, opened->clip.get(), frame, frameNumber, level, choice.format);
  const double endMs = MonotonicMs();

  const double lastEndMs = Trace().LastEndMs();
  const std::string formatText = FourCCText(choice.format);
  LogLine(
      "deliver %lld %s %dx%d %.4s: ppix %.1f, frame %.1f ms; since last %.1f ms; parallel %ld; intent %d ratio %.2f rate %.2f quality %d",
      static_cast<long long>(frameNumber), async ? "async" : "sync", size.width, size.height, formatText.c_str(), bufferMs - startMs,
      endMs - bufferMs, lastEndMs > 0 ? startMs - lastEndMs : 0.0, inFlight.parallel, intent, request->inPlaybackRatio,
      request->inPlaybackRate, request->inQuality);
  RecordDelivery(*opened, frameNumber, size.width, startMs, endMs - startMs, lastEndMs > 0 ? startMs - lastEndMs : -1.0);
  Trace().SetLastEndMs(endMs);
  if (!delivered) {
    LogLine("frame %lld (%dx%d %.4s): FAIL", static_cast<long long>(frameNumber), size.width, size.height, formatText.c_str());
    clip->ppix->dispose(frame);
    *request->outFrame = nullptr;
    return host::imFrameNotFound;
  }
  *request->outFrame = frame;
  return host::imNoErr;
}

}  // namespace qx
