#include "tests/support/log_capture.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "base/log.h"

namespace qx {

namespace {

std::mutex collectedLock;
std::vector<std::string> collected;

}  // namespace

LogCapture::LogCapture() {
  Take();
  SetLogSink([](const char* message) {
    const std::lock_guard<std::mutex> guard(collectedLock);
    collected.push_back(message);
  });
}

LogCapture::~LogCapture() {
  SetLogSink(nullptr);
}

std::vector<std::string> LogCapture::lines() const {
  const std::lock_guard<std::mutex> guard(collectedLock);
  return collected;
}

std::vector<std::string> LogCapture::Take() const {
  const std::lock_guard<std::mutex> guard(collectedLock);
  return std::exchange(collected, {});
}

int LogCapture::Count(const std::string& line) const {
  const std::vector<std::string> all = lines();
  return int(std::count(all.begin(), all.end(), line));
}

std::string LogCapture::Find(const std::string& prefix) const {
  for (const std::string& line : lines()) {
    if (line.starts_with(prefix)) return line;
  }
  return "";
}

}  // namespace qx
