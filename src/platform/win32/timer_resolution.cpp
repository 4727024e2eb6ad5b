#include "platform/timer_resolution.h"

#include <windows.h>
// Beneath windows.h, whose types it uses.
#include <timeapi.h>

namespace qx {

namespace {

constexpr UINT kMilliseconds = 1;

}  // namespace

FineTimer::FineTimer() {
  timeBeginPeriod(kMilliseconds);
}

FineTimer::~FineTimer() {
  timeEndPeriod(kMilliseconds);
}

}  // namespace qx
