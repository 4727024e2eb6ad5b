#include "ui/preview_worker.h"

#include <utility>

namespace qx {

void PreviewExchange::Post(const DevelopOptions& options, int64_t frame) {
  pending_ = {options, frame, pending_.number + 1};
  hasPending_ = true;
}

PreviewRequest PreviewExchange::Take() {
  hasPending_ = false;
  return pending_;
}

bool PreviewExchange::Answer(uint64_t number, PreviewPicture picture) {
  if (number <= shownNumber_) return false;
  shown_ = std::move(picture);
  shownNumber_ = number;
  return true;
}

PreviewWorker::PreviewWorker(const SettingsPreview& preview, std::function<void()> pictureArrived)
    : preview_(preview), pictureArrived_(std::move(pictureArrived)) {}

PreviewWorker::~PreviewWorker() {
  if (thread_ == nullptr) return;
  {
    const LockGuard guard(exchangeLock_);
    stopping_ = true;
    changed_.WakeOne();
  }
  thread_->Join();
}

bool PreviewWorker::Start() {
  thread_ = Thread::Start("qx preview", [this] { Run(); });
  return thread_ != nullptr;
}

void PreviewWorker::Request(const DevelopOptions& options, int64_t frame) {
  const LockGuard guard(exchangeLock_);
  exchange_.Post(options, frame);
  changed_.WakeOne();
}

void PreviewWorker::WithPicture(const std::function<void(const PreviewPicture&)>& use) {
  const LockGuard guard(exchangeLock_);
  if (exchange_.shown().pixels() != nullptr) use(exchange_.shown());
}

void PreviewWorker::Run() {
  while (const std::optional<PreviewRequest> request = WaitForRequest()) {
    PreviewPicture picture = Render(*request);
    if (picture.pixels() == nullptr) continue;
    const LockGuard guard(exchangeLock_);
    if (exchange_.Answer(request->number, std::move(picture)) && !stopping_) pictureArrived_();
  }
}

std::optional<PreviewRequest> PreviewWorker::WaitForRequest() {
  const LockGuard guard(exchangeLock_);
  while (!stopping_ && !exchange_.hasPending()) changed_.Wait(exchangeLock_);
  if (stopping_) return std::nullopt;
  return exchange_.Take();
}

PreviewPicture PreviewWorker::Render(const PreviewRequest& request) const {
  uint8_t* pixels = nullptr;
  int32_t width = 0, height = 0;
  try {
    if (preview_.render(preview_.context, request.options, request.frame, &pixels, &width, &height) != 0) return {};
  } catch (...) {
    return {};  // a request that runs out of memory shows no picture
  }
  return PreviewPicture(pixels, width, height, preview_.freePixels);
}

}  // namespace qx
