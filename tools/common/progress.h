// A progress bar on standard error, shown only on a terminal.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>

namespace tool {

/// The bar is drawn anew when the percentage rises, and wiped at the end. Any thread.
class Progress {
 public:
  /// `total` may be 0 when only Show() is used.
  explicit Progress(std::string label, size_t total = 0);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(size_t done, size_t total);
  /// One more of the total is done.
  void Step() { Show(++steps_, total_); }

 private:
  const std::string label_;
  const size_t total_;
  const bool onTerminal_;
  std::atomic<size_t> steps_{0};
  std::mutex drawLock_;
  int lastPercent_ = -1;  // guarded by drawLock_
};

}  // namespace tool
