// The log lines of a test.
#pragma once

#include <string>
#include <vector>

namespace qx {

/// Collects what is logged during its lifetime. One at a time.
class LogLines {
 public:
  LogLines();
  ~LogLines();
  std::vector<std::string> lines() const;
  /// How many lines begin with `prefix`.
  int Count(const std::string& prefix) const;
};

}  // namespace qx
