#include "platform/clock.h"

#include <windows.h>

namespace qx {

namespace {

double SecondsOf(const FILETIME& time) {
  return double((uint64_t(time.dwHighDateTime) << 32) | time.dwLowDateTime) * 1e-7;
}

}  // namespace

double MonotonicMs() {
  static const double millisecondsPerTick = [] {
    LARGE_INTEGER ticksPerSecond;
    QueryPerformanceFrequency(&ticksPerSecond);
    return 1e3 / double(ticksPerSecond.QuadPart);
  }();
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return double(ticks.QuadPart) * millisecondsPerTick;
}

LocalTime LocalTimeNow() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  return {now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

double ProcessCpuSeconds() {
  FILETIME created, ended, kernel, user;
  if (GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user) == 0) return 0;
  return SecondsOf(kernel) + SecondsOf(user);
}

}  // namespace qx
