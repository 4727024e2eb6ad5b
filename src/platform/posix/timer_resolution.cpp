#include "platform/timer_resolution.h"

namespace qx {

FineTimer::FineTimer() = default;

FineTimer::~FineTimer() = default;

}  // namespace qx
