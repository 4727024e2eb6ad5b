#include "pipeline/gpu_thread.h"

#include <algorithm>
#include <cstring>

#include "base/log.h"
#include "pipeline/clip_impl.h"
#include "platform/clock.h"
#include "platform/timer_resolution.h"

namespace qx {

namespace {

constexpr int kReadBackThreads = 3;
constexpr int kPackedParts = 4, kRgb48Parts = 8;
constexpr int kShutdownLimitMs = 10000;
// Readers let go of their slots within milliseconds.
constexpr double kSlotsLimitMs = 5000;
// A device that answers no more counts as failed.
constexpr double kReadBackLimitMs = 10000;

FrameBuffer& OutputOf(FrameJob& job) {
  return IsPacked(job.gpuOutputCode) ? job.converted : job.developed;
}

/// Reduction happens in the output pass, for the formats that it can reduce.
bool ReducesInPass(const FrameJob& job) {
  return job.sizeLevel == kQuarterSize && IsPacked(job.gpuOutputCode);
}

void CopyInParts(WorkerPool* pool, int parts, const void* from, void* to, uint64_t bytes) {
  RunParts(pool, parts, [&](int part) {
    const uint64_t first = bytes * uint64_t(part) / uint64_t(parts), end = bytes * uint64_t(part + 1) / uint64_t(parts);
    std::memcpy(static_cast<uint8_t*>(to) + first, static_cast<const uint8_t*>(from) + first, size_t(end - first));
    return 0;
  });
}

}  // namespace

GpuThread::GpuThread(GlDriverFactory createDriver, const GpuSwitches& switches)
    : createDriver_(std::move(createDriver)), switches_(switches) {}

GpuThread::~GpuThread() {
  Shutdown();
  Thread* thread = nullptr;
  {
    LockGuard guard(gpuLock_);
    thread = thread_.get();
  }
  if (thread != nullptr) thread->Join();  // which may still need the lock
}

int32_t GpuThread::EnsureStarted() {
  if (status_ != 0) return status_;  // every frame comes here
  LockGuard guard(gpuLock_);
  if (!started_) {
    started_ = true;
    if (!quit_) thread_ = Thread::Start("qx gpu", [this] { Run(); });
    if (thread_ == nullptr) status_ = -1;
  }
  while (status_ == 0) ready_.Wait(gpuLock_);
  return status_;
}

int32_t GpuThread::Post(GpuRequest* request) {
  if (EnsureStarted() <= 0) return GpuRequest::kFailed;
  {
    LockGuard guard(gpuLock_);
    if (quit_) return GpuRequest::kFailed;
    queue_.Push(request);
  }
  posted_.Set();
  request->done.Wait();
  return request->result;
}

void GpuThread::Shutdown() {
  Thread* thread = nullptr;
  {
    LockGuard guard(gpuLock_);
    quit_ = true;
    thread = thread_.get();
  }
  if (thread == nullptr) return;
  posted_.Set();
  if (!thread->JoinFor(kShutdownLimitMs)) LogPipeline("GPU thread still busy");
}

void GpuThread::SetStatus(int32_t status) {
  LockGuard guard(gpuLock_);
  status_ = status;
  ready_.WakeAll();
}

void GpuThread::Run() {
  const FineTimer fineTimer;
  bool usable = false;
  try {
    usable = SetUp();
  } catch (...) {
    // Only std::bad_alloc gets here: without memory for the start there is no GPU.
  }
  SetStatus(usable ? 1 : -1);
  if (usable) Loop();
  TearDown();
}

bool GpuThread::SetUp() {
  driver_ = createDriver_();
  MessageBuffer<512> description;
  if (CreateGpuContext(*driver_, description) != 0 || UseCurrentContext(*driver_, description) != 0) {
    LogPipeline("GL: %s (%s)", description.text(), "no GPU, CPU path");
    return false;
  }
  LogPipeline("GL: %s (%s)", description.text(), "ok");
  if (switches_.outputPass) {
    MessageBuffer<1200> message;
    outputPass_ = BuildOutputPass(message);
    if (outputPass_ == nullptr) LogPipeline("output pass: not built (%s), readback of RG48", message.text());
  }
  const GlLookup lookup = [this](const char* name) { return driver_->Function(name); };
  hasOutputPass_ = outputPass_ != nullptr;
  direct_ = std::make_unique<DirectSlots>(hasOutputPass_ ? LookUpGlFunction<PFNGLBUFFERSTORAGEPROC>(lookup, "glBufferStorage") : nullptr);
  if (switches_.timing) timer_.Create(lookup);
  isDirect_ = switches_.direct && direct_->IsUsable();
  LogPipeline("output: %s", !hasOutputPass_ ? "readback of RG48 (no output pass)"
                            : isDirect_     ? "output pass, direct (readers upload and read back)"
                                            : "output pass, readback in GPU thread");
  readBackPool_ = worker_pool_create(kReadBackThreads);
  return true;
}

void GpuThread::Loop() {
  while (true) {
    driver_->DispatchMessages();
    pending_.Poll(&timer_);
    if (GpuRequest* request = TakeStartable()) {
      Handle(request);
    } else if (flight_.count > 0) {
      CompleteOldest();
    } else if (ShouldLeave()) {
      return;
    } else {
      driver_->Wait(posted_, pending_.empty() ? -1 : 1);
    }
  }
}

GpuRequest* GpuThread::TakeStartable() {
  LockGuard guard(gpuLock_);
  GpuRequest* head = queue_.head();
  if (head == nullptr || !MayStart(*head, flight_, std::min(head->clip->pipeline.config().inFlight, kMostReadBackSlots))) return nullptr;
  return queue_.Pop();
}

bool GpuThread::ShouldLeave() {
  LockGuard guard(gpuLock_);
  return quit_ && queue_.head() == nullptr;  // nobody posts after quit_
}

void GpuThread::TearDown() {
  sessions_.ReleaseAll();
  outputPass_.reset();
  while (!pending_.empty()) {
    pending_.Poll(&timer_);
    SleepMilliseconds(1);
  }
  if (direct_ != nullptr) {
    // A reader may still be copying out of its slot.
    const double start = MonotonicMs();
    while (direct_->AnyBusy() && MonotonicMs() - start < kSlotsLimitMs) SleepMilliseconds(1);
    direct_->Delete();
  }
  timer_ = {};
  driver_.reset();
}

void GpuThread::Answer(GpuRequest* request, int32_t result) {
  request->result = result;
  request->done.Set();
}

void GpuThread::Handle(GpuRequest* request) {
  int32_t result = GpuRequest::kFailed;
  bool answerLater = false;
  (void)NoGlError();  // what an earlier frame left behind must not fail this one, which may be another clip's
  try {
    switch (request->kind) {
      case GpuRequest::Kind::kReserveSlot:
        result = Reserve(request);
        break;
      case GpuRequest::Kind::kReleaseSessions:
        sessions_.Release(*request->clip);
        result = GpuRequest::kDone;
        break;
      case GpuRequest::Kind::kDevelop:
        result = Issue(request, &answerLater);
        if (result != GpuRequest::kDone) DropFailedClip(*request->clip);
        break;
    }
  } catch (...) {
    // Only std::bad_alloc of a small container gets here, before the frame is in flight.
  }
  if (!answerLater) Answer(request, result);
}

void GpuThread::DropFailedClip(const Clip& clip) {
  if (flight_.count == 0) sessions_.Release(clip);
}

int32_t GpuThread::Reserve(GpuRequest* request) {
  const int slot = direct_->Reserve(request->uploadBytes, request->readBackBytes);
  if (slot == DirectSlots::kNoneFree) return GpuRequest::kNoSlot;
  if (slot == DirectSlots::kFailed) {
    LogPipeline("GPU direct buffers failed");
    return GpuRequest::kFailed;
  }
  request->slot = slot;
  return GpuRequest::kDone;
}

int32_t GpuThread::Issue(GpuRequest* request, bool* answerLater) {
  const double start = MonotonicMs();
  const Clip& clip = *request->clip;
  GpuSession* session = sessions_.FindOrCreate(clip, request->isHalf(), *request->params, hasOutputPass_);
  if (session == nullptr) return GpuRequest::kFailed;
  const int slot = nextSlot_;  // free: fewer frames are in flight than there are slots
  GpuTimer::Span span = request->isDirect() ? timer_.Begin() : GpuTimer::Span();
  UploadedSamples samples;
  if (request->uploaded) samples = {direct_->uploadBuffer(request->slot), request->uploadBytes, request->layout};
  MessageBuffer<256> message;
  if (session->Develop(*request->raw, request->raw->frame, slot, request->uploaded ? &samples : nullptr, message) != 0) {
    LogPipeline("GPU frame failed: %s", message.text());
    timer_.Drop(span);
    return GpuRequest::kFailed;
  }
  if (StartReadBack(request, session, slot) != 0) {
    timer_.Drop(span);
    return GpuRequest::kFailed;
  }
  nextSlot_ = (nextSlot_ + 1) % std::min(clip.pipeline.config().inFlight, kMostReadBackSlots);
  if (request->isDirect()) {
    IssueDirect(request, slot, span, start);
    return GpuRequest::kDone;
  }
  const double issueMs = MonotonicMs() - start;
  ring_[size_t((oldest_ + flight_.count) % kMostReadBackSlots)] = {request, session, slot, issueMs};
  ++flight_.count;
  flight_.clip = request->clip;
  flight_.half = request->isHalf();
  *answerLater = true;
  return GpuRequest::kDone;
}

int GpuThread::StartReadBack(GpuRequest* request, GpuSession* session, int slot) {
  const FrameJob& job = *request->job;
  const Size size = session->outputSize();
  // Buffers are made for the clip's sizes; a frame of another size would be written past their ends.
  const bool fits = size == DevelopmentSize(request->clip->sizes, job.sizeLevel) &&
                    PackedFrameBytes(job.gpuOutputCode, size, ReducesInPass(job)) == OutputOf(*request->job).capacity();
  if (!fits) {
    LogPipeline("GPU frame failed: %s", "output size differs from the clip's");
    return -1;
  }
  if (!hasOutputPass_) {
    if (StartReadBackRG48(session->developer(), slot) == 0) return 0;
    LogPipeline("GPU frame failed: %s", "reading the GPU output failed");
    return -1;
  }
  const GLuint readBack = request->isDirect() ? direct_->readBackBuffer(request->slot) : 0;
  if (RunOutputPass(outputPass_.get(), *session->developer(), slot, job.gpuOutputCode, size, ReducesInPass(job), readBack) == 0) return 0;
  LogPipeline("GPU output pass failed");
  return -1;
}

void GpuThread::IssueDirect(GpuRequest* request, int slot, GpuTimer::Span span, double startMs) {
  timer_.End(&span);
  FrameJob& job = *request->job;
  pending_.Add(outputPass_->TakeFence(slot), request->completion, span, job.frame);
  job.times.developMs = MonotonicMs() - startMs;
  AddBusyTime(job.times.developMs);
  LogPipeline("  GPU frame %lld%s: issue %.1f ms (direct%s)", static_cast<long long>(job.frame), kLevelSuffixes[job.sizeLevel],
              job.times.developMs, request->uploaded ? "" : ", own upload");
}

void GpuThread::CompleteOldest() {
  const Flying frame = ring_[size_t(oldest_)];
  FrameJob& job = *frame.request->job;
  const double start = MonotonicMs();
  double waitMs = 0;
  const bool arrived = ReadBack(frame, &waitMs);
  const double readBackMs = MonotonicMs() - start;
  job.times.developMs = frame.issueMs;
  job.times.readBackWaitMs = waitMs;
  job.times.copyMs = readBackMs - waitMs;
  AddBusyTime(frame.issueMs + readBackMs);
  LogPipeline("  GPU frame %lld%s: issue %.1f, wait %.1f, rows %.1f ms", static_cast<long long>(job.frame), kLevelSuffixes[job.sizeLevel],
              frame.issueMs, waitMs, job.times.copyMs);
  oldest_ = (oldest_ + 1) % kMostReadBackSlots;
  --flight_.count;
  if (!arrived) DropFailedClip(*frame.request->clip);
  Answer(frame.request, arrived ? GpuRequest::kDone : GpuRequest::kFailed);
}

bool GpuThread::ReadBack(const Flying& frame, double* waitMs) {
  const bool arrived = hasOutputPass_ ? CopyPacked(frame, waitMs) : CopyRgb48(frame, waitMs);
  if (!arrived) LogPipeline("GPU frame failed: %s", hasOutputPass_ ? "output pass" : "reading the GPU output failed");
  return arrived;
}

bool GpuThread::CopyPacked(const Flying& frame, double* waitMs) {
  const double start = MonotonicMs();
  OutputPass::State state = outputPass_->Poll(frame.slot);
  while (state == OutputPass::State::kPending && MonotonicMs() - start < kReadBackLimitMs) {
    SleepMilliseconds(1);
    state = outputPass_->Poll(frame.slot);
  }
  *waitMs = MonotonicMs() - start;
  const uint8_t* bytes = state == OutputPass::State::kReady ? outputPass_->Map(frame.slot) : nullptr;
  if (bytes == nullptr) return false;
  FrameBuffer& output = OutputOf(*frame.request->job);
  CopyInParts(readBackPool_.get(), kPackedParts, bytes, output.data(), output.capacity());
  outputPass_->Unmap(frame.slot);
  return NoGlError();
}

bool GpuThread::CopyRgb48(const Flying& frame, double* waitMs) {
  const double start = MonotonicMs();
  const uint16_t* codes = ReadBackRG48(frame.session->developer(), frame.slot);
  *waitMs = MonotonicMs() - start;
  if (codes == nullptr) return false;
  FrameBuffer& output = OutputOf(*frame.request->job);
  CopyInParts(readBackPool_.get(), kRgb48Parts, codes, output.data(), output.capacity());
  return true;
}

}  // namespace qx
