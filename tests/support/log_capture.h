// The log lines of a test.
#pragma once

#include <string>
#include <vector>

namespace qx {

/// Collects what is logged during its lifetime, by any thread; without one the log is off. One at a time.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  std::vector<std::string> lines() const;
  /// The lines so far, which are forgotten.
  std::vector<std::string> Take() const;
  int Count(const std::string& line) const;
  /// The first line that begins with `prefix`; "" when there is none.
  std::string Find(const std::string& prefix) const;
};

}  // namespace qx
