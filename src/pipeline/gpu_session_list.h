// The clips' sessions on the graphics card: a few at a time, across all clips.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "develop/gpu/gpu_session.h"

namespace qx {

class Clip;

/// Most recently used sessions stay. GPU thread only.
class GpuSessionList {
 public:
  static constexpr size_t kMostSessions = 3;

  /// The clip's session of a size class, created when missing (the session used longest ago makes way); null with the log line "GPU session
  /// failed: %s". `params`: the clip's; size class and slots are filled in here.
  GpuSession* FindOrCreate(const Clip& clip, bool half, const DevelopParams& params, bool hasOutputPass);
  /// Destroys the clip's sessions.
  void Release(const Clip& clip);
  void ReleaseAll() { entries_.clear(); }
  size_t count() const { return entries_.size(); }

 private:
  struct Entry {
    const Clip* clip;
    bool half;
    uint64_t stamp;
    std::unique_ptr<GpuSession> session;
  };
  std::vector<Entry> entries_;
  uint64_t lastStamp_ = 0;
};

}  // namespace qx
