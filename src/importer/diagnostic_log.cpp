#include "importer/diagnostic_log.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "base/lock.h"
#include "platform/clock.h"
#include "platform/thread.h"

namespace qx {

namespace {

struct LogFile {
  Mutex writeLock;
  std::filesystem::path path GUARDED_BY(writeLock);
};

// Never destroyed: threads of the pipeline may still write while the process ends.
LogFile& TheLogFile() {
  static LogFile* const file = new LogFile;
  return *file;
}

void WriteLine(const char* message) {
  const LocalTime now = LocalTimeNow();
  char stamp[64];
  std::snprintf(stamp, sizeof(stamp), "%02d:%02d:%02d.%03d [%lu] ", now.hour, now.minute, now.second, now.millisecond, CurrentThreadId());
  LogFile& file = TheLogFile();
  LockGuard guard(file.writeLock);
  std::ofstream out(file.path, std::ios::out | std::ios::app);
  if (out) out << stamp << message << '\n';
}

}  // namespace

void SetLogPath(const std::string& path) {
  LogFile& file = TheLogFile();
  {
    LockGuard guard(file.writeLock);
    file.path = std::u8string(path.begin(), path.end());
  }
  SetLogSink(path.empty() ? nullptr : WriteLine);
}

void LogLine(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  LogV(format, arguments);
  va_end(arguments);
}

}  // namespace qx
