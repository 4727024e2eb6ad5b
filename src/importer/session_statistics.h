// How well frame delivery keeps up with the host: one line a second and one for each run of deliveries, in the diagnostic log.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/lock.h"
#include "importer/audio_delivery.h"
#include "pipeline/clip.h"

namespace qx {

struct OpenedClip;

/// One delivery, successful or not. Times in milliseconds of the monotonic clock.
struct Delivery {
  int64_t frame = 0;
  int32_t width = 0;            // delivered pixels
  double startMs = 0;           // when the host asked
  double durationMs = 0;        // from there to the return
  double intervalMs = -1;       // since the previous delivery ended, negative when there was none: the host's pace
  double framePeriodMs = 1e30;  // a delivery that takes longer is late
};

/// The load at the end of a window. The sound counters cover the time since they were last taken.
struct WindowLoad {
  ClipStats pipeline;
  AudioCallCounters audio;
};

/// Asked at most once a second, under the statistics lock; may take the clip lock.
using WindowLoadSampler = std::function<WindowLoad()>;

/// Sorts the samples and returns the one at index floor(count × p), the last one at most; 0 without samples.
double PercentileOf(std::vector<double>* samples, double p);

/// One run of deliveries after the other, whichever clips they come from. A run ends with a pause of more than 1.5 s, with another frame
/// width, or when it is told to. Any thread; takes its lock for all of it, before the clip lock.
class SessionStatistics {
 public:
  /// Counts a delivery and logs the "sum:" line of a window that has lasted a second. Does nothing while the log is off.
  void RecordDelivery(const Delivery& delivery, const WindowLoadSampler& sampleLoad) EXCLUDES(lock_);
  /// Logs the "session:" line of a run of five frames or more; the next delivery starts another run.
  void CloseSession() EXCLUDES(lock_);

 private:
  /// Durations and intervals in milliseconds.
  struct Samples {
    std::vector<double> ours, host;
  };
  struct Window {
    double start = 0;  // seconds
    int32_t frames = 0;
    int64_t skipped = 0;
    Samples samples;
  };
  struct Session {
    double start = 0, lastDelivery = 0;  // seconds
    int32_t frames = 0, late = 0;
    int32_t width = 0;
    int64_t lastFrame = -1, skipped = 0;
    Samples samples;
    // Over the closed windows.
    double readersSum = 0, gpuSum = 0, coresSum = 0;
    int32_t windows = 0;
    int32_t leastReadyAhead = 1 << 30;
  };

  void StartSessionLocked(double seconds) REQUIRES(lock_);
  void CountDeliveryLocked(const Delivery& delivery) REQUIRES(lock_);
  void CloseWindowLocked(double seconds, const WindowLoad& load) REQUIRES(lock_);
  void CloseSessionLocked() REQUIRES(lock_);

  Mutex lock_;
  bool running_ GUARDED_BY(lock_) = false;
  Session session_ GUARDED_BY(lock_);
  Window window_ GUARDED_BY(lock_);
};

/// Records a delivery of a clip in the process's statistics: `startMs`, `durationMs` and `intervalMs` as in Delivery.
void RecordDelivery(const OpenedClip& clip, int64_t frame, int32_t width, double startMs, double durationMs, double intervalMs);
/// Ends the process's current run of deliveries, if there is one.
void CloseSession();

}  // namespace qx
