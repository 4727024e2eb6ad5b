#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

constexpr int kBarWidth = 40;

}  // namespace

Progress::Progress(std::string label, int64_t total)
    : label_(std::move(label)), total_(std::max<int64_t>(total, 1)), shown_(isatty(2) == 1) {}

Progress::~Progress() {
  if (shown_ && done_ > 0) std::fprintf(stderr, "\r%*s\r", int(label_.size()) + kBarWidth + 30, "");
}

void Progress::Step() {
  const int64_t done = ++done_;
  if (shown_) Draw(done);
}

void Progress::Draw(int64_t done) {
  const std::lock_guard<std::mutex> guard(drawLock_);
  const int percent = int(std::min<int64_t>(done * 100 / total_, 100));
  if (percent <= lastPercent_) return;
  lastPercent_ = percent;
  const int filled = percent * kBarWidth / 100;
  const std::string bar = std::string(size_t(filled), '#') + std::string(size_t(kBarWidth - filled), '.');
  std::fprintf(stderr, "\r%s [%s] %3d %%", label_.c_str(), bar.c_str(), percent);
}

}  // namespace tool
