#include "pipeline/frame_reader.h"

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "pipeline/delivery.h"
#include "pipeline/processor_path.h"
#include "platform/clock.h"

namespace qx {

namespace {

constexpr int kMaxRetries = 3;
constexpr int kConversionParts = 8;

int32_t SourceFrameOf(Clip& clip, int64_t displayFrame) {
  LockGuard guard(clip.lock);
  return clip.timeline.map[size_t(displayFrame)].frame;
}

/// False when no whole frame is left to show instead.
bool MarkBad(Clip& clip, int32_t sourceFrame) {
  LockGuard guard(clip.lock);
  return frame_timeline_mark_bad(&clip.timeline, sourceFrame, Message()) == 0;
}

bool Holds(const ReaderSlot& slot, int32_t sourceFrame, bool unpacked) {
  return slot.cachedFrame == sourceFrame && (slot.cachedUnpacked || !unpacked);
}

}  // namespace

void FrameReader::Run() {
  while (FrameJob* job = pipeline_.TakeJob(index_)) {
    const double start = MonotonicMs();
    bool ready = false;
    try {
      ready = Work(*job);
    } catch (...) {
      // Only std::bad_alloc of a small container gets here: the frame fails, the reader goes on.
    }
    pipeline_.AddReaderBusyTime(MonotonicMs() - start);
    FinishJob(job, ready);
  }
}

bool FrameReader::Work(FrameJob& job) {
  Clip& clip = *job.clip;
  ReaderSlot& slot = clip.slots[size_t(index_)];
  retries_ = 0;
  if (!OpenSlot(clip, slot)) return false;

  bool onProcessor = CpuOnly() || clip.processorOnly || clip.gpuFailed;
  if (!onProcessor && pipeline_.gpu().EnsureStarted() <= 0) {
    // Known before the read, so that the frame is read once, in the form that the processor needs.
    sourceFrame_ = SourceFrameOf(clip, job.frame);
    GiveUpGpu(clip);
    onProcessor = true;
  }
  if (!ReadRaw(job, slot, onProcessor)) return false;
  if (!onProcessor && !DevelopOnGpu(job, slot.raw)) {
    GiveUpGpu(clip);
    job.times.readBackWaitMs = job.times.copyMs = 0;  // of a frame that did not come
    if (!ReadRaw(job, slot, true)) return false;
    onProcessor = true;
  }
  if (onProcessor && !DevelopOnProcessor(job, slot.raw, sourceFrame_)) return false;
  ConvertAhead(job);
  return true;
}

bool FrameReader::OpenSlot(const Clip& clip, ReaderSlot& slot) {
  if (slot.frames != nullptr) return true;
  slot.file = pipeline_.backend().openFile(clip.path);
  if (slot.file == nullptr) {
    LogPipeline("reader %d: %s", index_, "cannot open");
    return false;
  }
  MessageBuffer<256> message;
  if (pipeline_.backend().openFrames(&slot.frames, *slot.file, message) != 0) {
    LogPipeline("reader %d: %s", index_, message.text());
    return false;
  }
  slot.cachedFrame = -1;
  return true;
}

bool FrameReader::ReadRaw(FrameJob& job, ReaderSlot& slot, bool unpacked) {
  const double start = MonotonicMs();
  const int32_t wanted = SourceFrameOf(*job.clip, job.frame);
  while (true) {
    sourceFrame_ = SourceFrameOf(*job.clip, job.frame);
    if (Holds(slot, sourceFrame_, unpacked)) break;
    slot.cachedFrame = -1;
    if (slot.frames->ReadFrame(sourceFrame_, &slot.raw, unpacked ? kReadUnpacked : kReadPacked) == 0) {
      slot.cachedFrame = sourceFrame_;
      slot.cachedUnpacked = unpacked;
      if (const char* damage = slot.frames->LastDamage(); *damage != '\0') LogPipeline("frame %d: %s", sourceFrame_, damage);
      break;
    }
    LogPipeline("frame %d unreadable: %s", sourceFrame_, slot.frames->LastMessage());
    if (!MarkBad(*job.clip, sourceFrame_) || retries_ == kMaxRetries) return false;
    ++retries_;
  }
  if (sourceFrame_ != wanted) LogPipeline("frame %d: frame %d is shown instead", wanted, sourceFrame_);
  job.times.readMs += MonotonicMs() - start;
  return true;
}

void FrameReader::GiveUpGpu(Clip& clip) {
  if (!clip.gpuFailed.exchange(true)) LogPipeline("frame %d: GPU failed, CPU from now on", sourceFrame_);
}

bool FrameReader::DevelopOnGpu(FrameJob& job, const RawFrame& raw) {
  Clip& clip = *job.clip;
  GpuPath& gpu = pipeline_.gpu();
  job.gpuOutputCode = ChooseGpuOutputCode(gpu.HasOutputPass(), clip.hostFormat, OutputKind(clip.info.outputKind), job.sizeLevel);
  const bool converts = IsPacked(job.gpuOutputCode);
  const Size size = converts ? LevelSize(clip.sizes, job.sizeLevel) : DevelopmentSize(clip.sizes, job.sizeLevel);
  FrameBuffer& buffer = converts ? job.converted : job.developed;
  buffer = TakeBuffer(clip, FormatRowBytes(job.gpuOutputCode, size.width) * uint64_t(size.height));
  if (buffer.data() == nullptr || gpu.Develop(job, raw) != 0) {
    ReturnBuffer(clip, std::move(buffer));
    return false;
  }
  job.usedGpu = true;
  job.convertedFormat = job.gpuOutputCode;
  job.convertedReady = converts;
  return true;
}

void FrameReader::ConvertAhead(FrameJob& job) {
  Clip& clip = *job.clip;
  const OutputPixelFormat format = clip.hostFormat;
  if (!IsPacked(format) || job.developed.data() == nullptr) return;
  const Size size = LevelSize(clip.sizes, job.sizeLevel);
  const uint64_t rowBytes = FormatRowBytes(format, size.width);
  job.converted = TakeBuffer(clip, rowBytes * uint64_t(size.height));
  if (job.converted.data() == nullptr) return;  // the request converts for itself
  ConvertFrame(job, clip.sizes, format, job.converted.data(), int64_t(rowBytes), pipeline_.viewCopyPool(), kConversionParts);
  job.convertedFormat = format;
  job.convertedReady = true;
}

}  // namespace qx
