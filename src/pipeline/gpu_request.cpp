#include "pipeline/gpu_request.h"

namespace qx {

bool MayStart(const GpuRequest& request, const GpuFlight& flight, int mostInFlight) {
  if (request.kind == GpuRequest::Kind::kReserveSlot) return true;
  if (flight.count == 0) return true;
  if (request.kind != GpuRequest::Kind::kDevelop || request.isDirect()) return false;
  return flight.count < mostInFlight && request.clip == flight.clip && request.isHalf() == flight.half;
}

}  // namespace qx
