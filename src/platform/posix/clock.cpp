#include "platform/clock.h"

#include <sys/resource.h>
#include <time.h>

namespace qx {

double MonotonicMs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return double(now.tv_sec) * 1e3 + double(now.tv_nsec) * 1e-6;
}

LocalTime LocalTimeNow() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  tm local;
  localtime_r(&now.tv_sec, &local);
  return {local.tm_hour, local.tm_min, local.tm_sec, int(now.tv_nsec / 1000000)};
}

double ProcessCpuSeconds() {
  rusage usage;
  if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
  const auto seconds = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) * 1e-6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace qx
