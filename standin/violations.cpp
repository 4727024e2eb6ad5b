#include "standin/violations.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace standin {

namespace {

struct List {
  std::mutex lock;
  std::vector<std::string> lines;
};

List& TheList() {
  static List* const list = new List;
  return *list;
}

}  // namespace

void ReportViolation(const char* format, ...) {
  char line[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  const std::lock_guard<std::mutex> guard(TheList().lock);
  TheList().lines.emplace_back(line);
}

std::vector<std::string> Violations() {
  const std::lock_guard<std::mutex> guard(TheList().lock);
  return TheList().lines;
}

}  // namespace standin
