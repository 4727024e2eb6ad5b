// Time: a monotonic clock for durations, the local time of day for log lines, processor time for statistics.
#pragma once

#include <cstdint>

namespace qx {

/// Milliseconds of a monotonic clock with sub-microsecond resolution.
double MonotonicMs();

struct LocalTime {
  int hour = 0, minute = 0, second = 0, millisecond = 0;
};
LocalTime LocalTimeNow();

/// Kernel and user processor time of this process, in seconds.
double ProcessCpuSeconds();

}  // namespace qx
