// What readers ask of the GPU thread.
#pragma once

#include <cstdint>

#include "develop/develop_params.h"
#include "develop/gpu/raw_upload.h"
#include "pipeline/frame_job.h"
#include "platform/event.h"

namespace qx {

/// A frame of direct mode on its way back: the reader waits for the event and then reads `failed`.
struct DirectCompletion {
  Event arrived;
  bool failed = false;
};

/// Lives on the stack of the thread that posts it and waits for the answer. The GPU thread lets go of it with the answer.
struct GpuRequest {
  enum class Kind : int32_t { kDevelop = 1, kReleaseSessions = 2, kReserveSlot = 3 };
  Kind kind = Kind::kDevelop;
  Clip* clip = nullptr;

  // kDevelop.
  FrameJob* job = nullptr;
  const RawFrame* raw = nullptr;
  const DevelopParams* params = nullptr;  // of the clip; for a session that has to be created
  /// Direct mode: where the read-back is announced. Null in normal mode.
  DirectCompletion* completion = nullptr;
  /// The reader has put the samples into the slot's upload buffer, in this layout.
  bool uploaded = false;
  SampleLayout layout;

  int32_t slot = -1;                            // direct-transfer slot: result of kReserveSlot, input of kDevelop in direct mode
  uint64_t uploadBytes = 0, readBackBytes = 0;  // kReserveSlot: needed sizes, 0 for no upload buffer; kDevelop: samples uploaded

  static constexpr int32_t kDone = 0, kFailed = -1, kNoSlot = 1;
  int32_t result = kFailed;
  Event done;
  GpuRequest* next = nullptr;

  bool isHalf() const { return job->sizeLevel != 0; }
  bool isDirect() const { return completion != nullptr; }
};

/// Requests in the order of their arrival. Not synchronised.
class GpuRequestQueue {
 public:
  GpuRequest* head() const { return head_; }
  void Push(GpuRequest* request) {
    request->next = nullptr;
    (tail_ != nullptr ? tail_->next : head_) = request;
    tail_ = request;
  }
  GpuRequest* Pop() {
    GpuRequest* request = head_;
    head_ = request->next;
    if (head_ == nullptr) tail_ = nullptr;
    return request;
  }

 private:
  GpuRequest* head_ = nullptr;
  GpuRequest* tail_ = nullptr;
};

/// What the GPU thread has in flight: frames of one clip and size class only.
struct GpuFlight {
  int count = 0;
  const Clip* clip = nullptr;
  bool half = false;
};

/// Whether the request at the queue's head may start now: slots always; a direct frame when nothing is in flight; anything else while fewer
/// than `mostInFlight` frames are, and then only a frame of the same clip and size class.
bool MayStart(const GpuRequest& request, const GpuFlight& flight, int mostInFlight);

}  // namespace qx
