#include "tests/gpu_support/log_lines.h"

#include <algorithm>
#include <mutex>

#include "base/log.h"

namespace qx {

namespace {

std::mutex collectedLock;
std::vector<std::string> collected;

}  // namespace

LogLines::LogLines() {
  const std::lock_guard<std::mutex> guard(collectedLock);
  collected.clear();
  SetLogSink([](const char* message) {
    const std::lock_guard<std::mutex> inner(collectedLock);
    collected.push_back(message);
  });
}

LogLines::~LogLines() {
  SetLogSink(nullptr);
}

std::vector<std::string> LogLines::lines() const {
  const std::lock_guard<std::mutex> guard(collectedLock);
  return collected;
}

int LogLines::Count(const std::string& prefix) const {
  const std::vector<std::string> all = lines();
  return int(std::count_if(all.begin(), all.end(), [&](const std::string& line) { return line.starts_with(prefix); }));
}

}  // namespace qx
