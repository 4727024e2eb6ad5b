#include "pipeline/processor_path.h"

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "pipeline/delivery.h"
#include "platform/clock.h"

namespace qx {

namespace {

/// The clip's session of a size class, created when missing; null with a log line.
ProcessorSession* FindSession(Clip& clip, bool half) REQUIRES(clip.processorLock) {
  std::unique_ptr<ProcessorSession>& session = clip.sessions[half];
  if (session != nullptr) return session.get();
  DevelopParams params = clip.derived.params;
  params.scaleCode = half ? 2 : 0;
  params.slots = clip.pipeline.config().inFlight;
  MessageBuffer<256> message;
  session = clip.pipeline.backend().createSession(*clip.camera, params, clip.pipeline.developPool(), message);
  if (session != nullptr && session->OutputSize() != (half ? clip.sizes.half : clip.sizes.full)) {
    // Buffers are made for the clip's sizes; a session that disagrees would write past their ends.
    session.reset();
    message.view().Fail("output size differs from the clip's");
  }
  if (session == nullptr) LogPipeline("CPU session: %s", message.text());
  if (!half) clip.hasFullSession = session != nullptr;
  return session.get();
}

/// Float BGRA straight from the session's float image, so that values above 1 survive.
int DevelopFloat(ProcessorSession& session, FrameJob& job, const RawFrame& raw, int32_t sourceFrame, Message message) {
  Clip& clip = *job.clip;
  const Size size = LevelSize(clip.sizes, job.sizeLevel);
  job.converted = TakeBuffer(clip, FormatRowBytes(OutputPixelFormat::kBgraFloat, size.width) * uint64_t(size.height));
  if (job.converted.data() == nullptr) return message.Fail("out of memory");
  if (session.Develop(raw, sourceFrame, nullptr, message) != 0) return -1;
  if (!WriteFloatBgra(session, session.OutputSize(), job.sizeLevel == kQuarterSize, reinterpret_cast<float*>(job.converted.data()),
                      clip.pipeline.developPool())) {
    return message.Fail("out of memory");
  }
  job.convertedFormat = OutputPixelFormat::kBgraFloat;
  job.convertedReady = true;
  return 0;
}

/// Straight into the host's format: the 16-bit frame, which is half again as large as 8-bit BGRA, is neither written nor kept.
int DevelopPacked(ProcessorSession& session, FrameJob& job, const RawFrame& raw, int32_t sourceFrame, OutputPixelFormat format,
                  Message message) {
  const Size size = session.OutputSize();
  FrameBuffer packed = TakeBuffer(*job.clip, FormatRowBytes(format, size.width) * uint64_t(size.height));
  if (packed.data() == nullptr) return message.Fail("out of memory");
  if (session.DevelopPacked(raw, sourceFrame, format, packed.data(), message) != 0) {
    ReturnBuffer(*job.clip, std::move(packed));
    return -1;
  }
  job.converted = std::move(packed);
  job.convertedFormat = format;
  job.convertedReady = true;
  return 0;
}

/// The 16-bit frame, for quarter frames, which are made of it, and for hosts that ask in several formats by turns.
int DevelopRgb(ProcessorSession& session, FrameJob& job, const RawFrame& raw, int32_t sourceFrame, Message message) {
  const Size size = session.OutputSize();
  FrameBuffer developed = TakeBuffer(*job.clip, FormatRowBytes(OutputPixelFormat::kRgb48, size.width) * uint64_t(size.height));
  if (developed.data() == nullptr) return message.Fail("out of memory");
  if (session.Develop(raw, sourceFrame, reinterpret_cast<uint16_t*>(developed.data()), message) != 0) {
    ReturnBuffer(*job.clip, std::move(developed));
    return -1;
  }
  job.developed = std::move(developed);
  return 0;
}

}  // namespace

bool DevelopOnProcessor(FrameJob& job, const RawFrame& raw, int32_t sourceFrame) {
  Clip& clip = *job.clip;
  LockGuard guard(clip.processorLock);
  ProcessorSession* session = FindSession(clip, job.sizeLevel != kFullSize);
  if (session == nullptr) return false;
  const OutputPixelFormat format = clip.hostFormat;
  const bool wantsFloat = clip.info.outputKind == int32_t(OutputKind::kLinear) && format == OutputPixelFormat::kBgraFloat;
  const bool packs = IsPacked(format) && job.sizeLevel != kQuarterSize && !clip.formatsMixed;
  const double start = MonotonicMs();
  MessageBuffer<256> message;
  const int result = wantsFloat ? DevelopFloat(*session, job, raw, sourceFrame, message)
                     : packs    ? DevelopPacked(*session, job, raw, sourceFrame, format, message)
                                : DevelopRgb(*session, job, raw, sourceFrame, message);
  job.times.developMs = MonotonicMs() - start;
  if (result != 0) LogPipeline("CPU frame %d: %s", sourceFrame, message.text());
  return result == 0;
}

}  // namespace qx
