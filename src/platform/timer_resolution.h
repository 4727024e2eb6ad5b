// How exactly short waits end.
#pragma once

namespace qx {

/// While one lives, waits of this process end within a millisecond of their time. Systems that wait that exactly anyway do nothing.
class FineTimer {
 public:
  FineTimer();
  ~FineTimer();
  FineTimer(const FineTimer&) = delete;
  FineTimer& operator=(const FineTimer&) = delete;
};

}  // namespace qx
