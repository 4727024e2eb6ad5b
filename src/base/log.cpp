#include "base/log.h"

#include <atomic>

namespace qx {

namespace {

std::atomic<LogSink> logSink{nullptr};
std::atomic<bool> cpuOnlyFlag{false};

}  // namespace

void SetLogSink(LogSink sink) {
  logSink.store(sink, std::memory_order_release);
}

LogSink GetLogSink() {
  return logSink.load(std::memory_order_acquire);
}

void LogPipeline(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  LogV(format, arguments);
  va_end(arguments);
}

void LogV(const char* format, va_list arguments) {
  const LogSink sink = GetLogSink();
  if (sink == nullptr) return;
  MessageBuffer<1024> line;
  line.view().SetV(format, arguments);
  sink(line.text());
}

void SetCpuOnly(bool cpuOnly) {
  cpuOnlyFlag.store(cpuOnly, std::memory_order_release);
}

bool CpuOnly() {
  return cpuOnlyFlag.load(std::memory_order_acquire);
}

}  // namespace qx
