// A progress bar on standard error, shown only on a terminal.
#pragma once

#include <cstddef>
#include <string>

namespace tool {

/// Show() as often as there is news; the bar is drawn anew when the percentage changes, and wiped at the end. One thread.
class Progress {
 public:
  explicit Progress(std::string label);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(size_t done, size_t total);

 private:
  std::string label_;
  bool onTerminal_;
  int lastPercent_ = -1;
};

}  // namespace tool
