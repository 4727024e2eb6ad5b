// A preview whose frames are small, counted, and come when the test lets them.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "ui/source_settings_dialog.h"

namespace qx {

/// Pictures of 4 × 2 pixels: bottom row blue, top row red; bytes B, G, R, A. A negative exposure has none.
class FakePreview {
 public:
  explicit FakePreview(int64_t frameCount = 100, int32_t fpsNumerator = 25, int32_t fpsDenominator = 1)
      : description{this, frameCount, fpsNumerator, fpsDenominator, Render, FreePixels} {}

  static constexpr int32_t kWidth = 4, kHeight = 2;

  /// With a closed gate a frame develops until the gate opens.
  void SetGate(bool open) {
    const std::lock_guard guard(lock_);
    gateOpen_ = open;
    changed_.notify_all();
  }

  void WaitUntilRendering() {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [this] { return rendering_; });
  }

  /// Every request that reached the thread so far: exposure and frame.
  std::vector<std::pair<float, int64_t>> seen() {
    const std::lock_guard guard(lock_);
    return seen_;
  }

  const SettingsPreview description;
  /// Pictures that were handed out and not freed, of all previews.
  static inline std::atomic<int> livePictures{0};

 private:
  static int Render(void* context, const DevelopOptions& options, int64_t frame, uint8_t** pixels, int32_t* width, int32_t* height) {
    auto& self = *static_cast<FakePreview*>(context);
    std::unique_lock guard(self.lock_);
    self.seen_.emplace_back(options.exposureEv, frame);
    self.rendering_ = true;
    self.changed_.notify_all();
    self.changed_.wait(guard, [&self] { return self.gateOpen_; });
    self.rendering_ = false;
    if (options.exposureEv < 0) return -1;
    auto picture = std::make_unique<uint8_t[]>(kWidth * kHeight * 4);
    for (int i = 0; i < kWidth * kHeight; ++i) picture[size_t(i * 4 + (i < kWidth ? 0 : 2))] = 255;
    ++livePictures;
    *pixels = picture.release();
    *width = kWidth;
    *height = kHeight;
    return 0;
  }

  static void FreePixels(uint8_t* pixels) {
    const std::unique_ptr<uint8_t[]> freed(pixels);
    --livePictures;
  }

  std::mutex lock_;
  std::condition_variable changed_;
  bool gateOpen_ = true, rendering_ = false;
  std::vector<std::pair<float, int64_t>> seen_;
};

}  // namespace qx
