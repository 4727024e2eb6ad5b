#include "pipeline/clip.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "platform/path.h"

namespace qx {

namespace {

// What an editor or a supporter needs to know about the file itself, once for each clip.
void LogSource(const SourceTimeline& source) {
  for (const std::string* note : {&source.openMessage, &source.damageNote, &source.indexNote, &source.numberingNote}) {
    if (!note->empty()) LogPipeline("source: %s", note->c_str());
  }
}

int OpenSources(Clip& clip, Message message) {
  const PipelineBackend& backend = clip.pipeline.backend();
  clip.indexFile = backend.openFile(clip.path);
  clip.framesFile = backend.openFile(clip.path);
  if (clip.indexFile == nullptr || clip.framesFile == nullptr) return message.Fail("cannot open the file");
  if (backend.openTimeline(&clip.source, *clip.indexFile, message) != 0) return -1;
  LogSource(clip.source);
  {
    LockGuard guard(clip.lock);
    if (frame_timeline_build(&clip.timeline, clip.source, message) != 0) return -1;
  }
  if (backend.openFrames(&clip.openingFrames, *clip.framesFile, message) != 0) return -1;
  clip.camera = clip.openingFrames->CameraData();
  if (clip.camera == nullptr || !IsBayer(*clip.camera)) return message.Fail("CFA is not Bayer");
  return 0;
}

int TakeOptions(Clip& clip, const DevelopOptions* options, Message message) {
  DevelopOptions taken;
  SetDefaultDevelopOptions(&taken);
  if (options != nullptr) taken = *options;
  std::unique_ptr<CubeLut> lut;
  if (taken.hasLut()) {
    lut = std::make_unique<CubeLut>();
    if (LoadLutFile(LutPathOf(taken), lut.get(), message) != 0) return -1;
  }
  LockGuard guard(clip.lock);
  LockGuard processorGuard(clip.processorLock);
  if (DeriveDevelopParams(taken, lut.get(), &clip.derived, message) != 0) return -1;
  clip.lut = std::move(lut);
  clip.options = taken;
  clip.processorOnly = taken.cpuOnly != 0;
  clip.info.outputKind = int32_t(clip.derived.outputKind);
  clip.info.slog3Narrow = clip.derived.slog3Narrow;
  return 0;
}

void DescribeSizes(Clip& clip) {
  int32_t widthAlign = 0;
  {
    LockGuard guard(clip.processorLock);
    widthAlign = clip.derived.params.widthAlign;
  }
  clip.sizes = ComputeOutputSizes(*clip.camera, widthAlign);
  ClipInfo& info = clip.info;
  info.fullWidth = clip.sizes.full.width;
  info.fullHeight = clip.sizes.full.height;
  info.halfWidth = clip.sizes.half.width;
  info.halfHeight = clip.sizes.half.height;
  info.quarterWidth = clip.sizes.quarter.width;
  info.quarterHeight = clip.sizes.quarter.height;
}

void DescribeContainer(const SourceTimeline& source, ClipInfo* info) {
  static constexpr const char* kLevelNames[] = {"Lossless", "HQ", "SQ", "LT"};
  const Message label(info->label, sizeof info->label);
  info->isQorix = source.kind == ContainerKind::kQorix;
  if (!info->isQorix) {
    label.Set("CinemaDNG RAW-ZIP");
  } else {
    const bool named = source.qualityLevel >= 0 && source.qualityLevel < int32_t(std::size(kLevelNames));
    label.Set(".qorix RAW%s%s", named ? " " : "", named ? kLevelNames[source.qualityLevel] : "");
  }
}

void DescribeTimeline(const FrameTimeline& timeline, ClipInfo* info) {
  info->frameCount = timeline.length;
  info->fpsNumerator = int32_t(timeline.rateNumerator);
  info->fpsDenominator = int32_t(timeline.rateDenominator);
  Message(info->timecode, sizeof info->timecode)
      .Set("%02d:%02d:%02d:%02d", timeline.timecodeHours, timeline.timecodeMinutes, timeline.timecodeSeconds, timeline.timecodeFrames);
}

int OpenParts(Clip& clip, const DevelopOptions* options, Message message) {
  if (OpenSources(clip, message) != 0 || TakeOptions(clip, options, message) != 0) return -1;
  DescribeSizes(clip);
  DescribeContainer(clip.source, &clip.info);
  {
    LockGuard guard(clip.lock);
    DescribeTimeline(clip.timeline, &clip.info);
    clip.sound = clip.timeline.sound;
  }
  DescribeSound(clip.sound, &clip.info);
  const ClipInfo& info = clip.info;
  // A camera description that leaves no picture is refused here, not frame by frame.
  const bool hasPicture = info.fullWidth > 0 && info.fullHeight > 0;
  if (!hasPicture || info.frameCount < 1 || info.fpsNumerator < 1 || info.fpsDenominator < 1) return message.Fail("empty clip");
  return 0;
}

}  // namespace

std::filesystem::path LutPathOf(const DevelopOptions& options) {
  return PathFromUtf16(LutTextOf(options));
}

Clip* OpenClipIn(FramePipeline& pipeline, const std::filesystem::path& path, const DevelopOptions* options, ClipInfo* info,
                 Message message) {
  ClipPtr clip(new (std::nothrow) Clip(pipeline));
  if (clip == nullptr) {
    message.Fail("out of memory");
    return nullptr;
  }
  clip->path = path;
  if (OpenParts(*clip, options, message) != 0) return nullptr;
  if (info != nullptr) *info = clip->info;
  return clip.release();
}

Clip* OpenClip(const std::filesystem::path& path, const DevelopOptions* options, ClipInfo* info, Message message) {
  return OpenClipIn(ProcessPipeline(), path, options, info, message);
}

void CloseClip(Clip* clip) {
  const std::unique_ptr<Clip> closing(clip);
  if (clip == nullptr) return;
  CancelClipJobs(clip);
  clip->pipeline.gpu().ReleaseSessions(*clip);
  {
    LockGuard guard(clip->processorLock);
    for (std::unique_ptr<ProcessorSession>& session : clip->sessions) session.reset();
  }
  // What is left goes with the clip: no reader and no request knows it any more. Each reader's frames close before its file.
  LockGuard guard(clip->lock);
  while (FrameJob* job = clip->jobs.first()) ReleaseJob(*clip, job);
}

uint64_t ClipMemoryBytes(Clip* clip) {
  constexpr uint64_t kDevelopedBytes = 6, kSessionBytes = 56;  // per pixel
  const uint64_t pixels = uint64_t(clip->sizes.full.width) * uint64_t(clip->sizes.full.height);
  return pixels * (kDevelopedBytes + (clip->hasFullSession ? kSessionBytes : 0)) + clip->pipeline.config().clipCacheBytes;
}

}  // namespace qx
