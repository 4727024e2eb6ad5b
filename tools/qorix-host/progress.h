// A progress bar on standard error, shown only on a terminal.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace tool {

/// Step() from any thread.
class Progress {
 public:
  Progress(std::string label, int64_t total);
  ~Progress();
  void Step();

 private:
  void Draw(int64_t done);

  std::string label_;
  int64_t total_;
  bool shown_;
  std::atomic<int64_t> done_{0};
  std::mutex drawLock_;
  int lastPercent_ = -1;  // guarded by drawLock_
};

}  // namespace tool
