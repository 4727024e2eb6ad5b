#include "tools/common/progress.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace tool {

namespace {

constexpr int kBarWidth = 40;

}  // namespace

Progress::Progress(std::string label, size_t total) : label_(std::move(label)), total_(total), onTerminal_(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
  if (lastPercent_ >= 0) fmt::print(stderr, "\r{:{}}\r", "", label_.size() + kBarWidth + 10);
}

void Progress::Show(size_t done, size_t total) {
  if (!onTerminal_ || total == 0) return;
  const int percent = int(done * 100 / total);
  const std::lock_guard<std::mutex> guard(drawLock_);
  if (percent <= lastPercent_) return;
  lastPercent_ = percent;
  const int filled = percent * kBarWidth / 100;
  fmt::print(stderr, "\r{} [{:#<{}}{:.<{}}] {:3} %", label_, "", filled, "", kBarWidth - filled, percent);
  std::fflush(stderr);
}

}  // namespace tool
