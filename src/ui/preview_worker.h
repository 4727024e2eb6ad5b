// The live picture of the settings window: a thread that develops the newest request and drops what nobody waits for any more.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "base/lock.h"
#include "platform/thread.h"
#include "ui/source_settings_dialog.h"

namespace qx {

struct PreviewRequest {
  DevelopOptions options;
  int64_t frame = 0;
  uint64_t number = 0;  // counts from 1
};

/// Frees the pixels through the function that belongs to them.
class PreviewPicture {
 public:
  PreviewPicture() = default;
  PreviewPicture(uint8_t* pixels, int32_t width, int32_t height, void (*freePixels)(uint8_t*))
      : pixels_(pixels, freePixels), width_(width), height_(height) {}

  /// Width × height BGRA pixels of 8 bits, bottom row first; null before the first picture.
  const uint8_t* pixels() const { return pixels_.get(); }
  int32_t width() const { return width_; }
  int32_t height() const { return height_; }

 private:
  std::unique_ptr<uint8_t, void (*)(uint8_t*)> pixels_{nullptr, nullptr};
  int32_t width_ = 0, height_ = 0;
};

/// The rules of the exchange between window and thread, without thread and lock.
class PreviewExchange {
 public:
  /// Replaces the request that nobody has taken yet.
  void Post(const DevelopOptions& options, int64_t frame);
  bool hasPending() const { return hasPending_; }
  PreviewRequest Take();
  /// True when the answer is newer than the picture shown and has replaced it.
  bool Answer(uint64_t number, PreviewPicture picture);
  const PreviewPicture& shown() const { return shown_; }

 private:
  PreviewRequest pending_;
  bool hasPending_ = false;
  PreviewPicture shown_;
  uint64_t shownNumber_ = 0;
};

class PreviewWorker {
 public:
  /// `pictureArrived` is called on the preview thread, with the exchange lock held: it may only post a message to the window.
  /// `preview` and what it refers to outlive the worker.
  PreviewWorker(const SettingsPreview& preview, std::function<void()> pictureArrived);
  /// Waits for the frame that is being developed. `pictureArrived` is not called any more afterwards.
  ~PreviewWorker();
  PreviewWorker(const PreviewWorker&) = delete;
  PreviewWorker& operator=(const PreviewWorker&) = delete;

  /// False when the system gives no thread: there is no preview then.
  [[nodiscard]] bool Start();
  void Request(const DevelopOptions& options, int64_t frame) EXCLUDES(exchangeLock_);
  /// Hands the picture shown to `use`, under the lock that keeps it alive. Not called before there is one.
  void WithPicture(const std::function<void(const PreviewPicture&)>& use) EXCLUDES(exchangeLock_);

 private:
  void Run() EXCLUDES(exchangeLock_);
  std::optional<PreviewRequest> WaitForRequest() EXCLUDES(exchangeLock_);
  PreviewPicture Render(const PreviewRequest& request) const;

  // Fixed after construction.
  const SettingsPreview& preview_;
  const std::function<void()> pictureArrived_;
  // Owned by the window's thread.
  std::unique_ptr<Thread> thread_;

  Mutex exchangeLock_;
  CondVar changed_;
  PreviewExchange exchange_ GUARDED_BY(exchangeLock_);
  bool stopping_ GUARDED_BY(exchangeLock_) = false;
};

}  // namespace qx
