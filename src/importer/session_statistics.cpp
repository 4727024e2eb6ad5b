#include "importer/session_statistics.h"

#include <algorithm>

#include "importer/audio_delivery.h"
#include "importer/diagnostic_log.h"
#include "importer/importer_clip.h"

namespace qx {

namespace {

constexpr double kLongestPause = 1.5;  // seconds
constexpr double kWindowSeconds = 1.0;
constexpr double kLongestInterval = 1000;  // milliseconds; longer ones are pauses of the user, not the host's pace
constexpr int32_t kLeastSessionFrames = 5;
constexpr double kMedian = 0.5, kP95 = 0.95;

// Never destroyed: host threads may still deliver while the process ends.
SessionStatistics& ProcessStatistics() {
  static SessionStatistics* const statistics = new SessionStatistics;
  return *statistics;
}

WindowLoad LoadOf(const OpenedClip& clip) {
  WindowLoad load;
  GetClipStats(clip.clip.get(), &load.pipeline);
  load.audio = TakeAudioCallCounters();
  return load;
}

}  // namespace

double PercentileOf(std::vector<double>* samples, double p) {
  if (samples->empty()) return 0;
  std::sort(samples->begin(), samples->end());
  return (*samples)[std::min(size_t(double(samples->size()) * p), samples->size() - 1)];
}

void SessionStatistics::RecordDelivery(const Delivery& delivery, const WindowLoadSampler& sampleLoad) {
  if (!LogIsOn()) return;
  const double seconds = delivery.startMs / 1000;
  LockGuard guard(lock_);
  if (running_ && (seconds - session_.lastDelivery > kLongestPause || delivery.width != session_.width)) CloseSessionLocked();
  if (!running_) StartSessionLocked(seconds);
  CountDeliveryLocked(delivery);
  if (seconds - window_.start >= kWindowSeconds) CloseWindowLocked(seconds, sampleLoad());
}

void SessionStatistics::CloseSession() {
  LockGuard guard(lock_);
  CloseSessionLocked();
}

void SessionStatistics::StartSessionLocked(double seconds) {
  session_ = Session();
  window_ = Window();
  session_.start = window_.start = seconds;
  running_ = true;
}

void SessionStatistics::CountDeliveryLocked(const Delivery& delivery) {
  const bool jumpedAhead = session_.lastFrame >= 0 && delivery.frame > session_.lastFrame + 1;
  const int64_t skipped = jumpedAhead ? delivery.frame - session_.lastFrame - 1 : 0;
  window_.skipped += skipped;
  session_.skipped += skipped;
  ++window_.frames;
  ++session_.frames;
  if (delivery.durationMs > delivery.framePeriodMs) ++session_.late;

  window_.samples.ours.push_back(delivery.durationMs);
  session_.samples.ours.push_back(delivery.durationMs);
  if (session_.frames > 1 && delivery.intervalMs >= 0 && delivery.intervalMs < kLongestInterval) {
    window_.samples.host.push_back(delivery.intervalMs);
    session_.samples.host.push_back(delivery.intervalMs);
  }
  session_.lastDelivery = delivery.startMs / 1000;
  session_.lastFrame = delivery.frame;
  session_.width = delivery.width;
}

void SessionStatistics::CloseWindowLocked(double seconds, const WindowLoad& load) {
  const ClipStats& pipeline = load.pipeline;
  const double audioAverageMs = load.audio.calls > 0 ? double(load.audio.totalMicroseconds) / 1000 / load.audio.calls : 0;
  LogLine(
      "sum: %dx, %.1f fr/s, skipped %d, ours med %.1f / p95 %.1f ms, Premiere med %.1f / p95 %.1f ms, ready ahead %d, queued %d, "
      "running %d, readers busy %.0f %%, GPU thread busy %.0f %%, process %.1f cores; audio %ld calls, avg %.2f / max %.2f ms",
      session_.width, window_.frames / (seconds - window_.start), int(window_.skipped), PercentileOf(&window_.samples.ours, kMedian),
      PercentileOf(&window_.samples.ours, kP95), PercentileOf(&window_.samples.host, kMedian), PercentileOf(&window_.samples.host, kP95),
      pipeline.readyAhead, pipeline.queued, pipeline.reading, pipeline.readerLoad * 100, pipeline.gpuLoad * 100, pipeline.processLoad,
      long(load.audio.calls), audioAverageMs, double(load.audio.longestMicroseconds) / 1000);
  session_.readersSum += pipeline.readerLoad;
  session_.gpuSum += pipeline.gpuLoad;
  session_.coresSum += pipeline.processLoad;
  ++session_.windows;
  session_.leastReadyAhead = std::min(session_.leastReadyAhead, pipeline.readyAhead);
  window_ = Window();
  window_.start = seconds;
}

void SessionStatistics::CloseSessionLocked() {
  if (!running_) return;
  running_ = false;
  if (session_.frames < kLeastSessionFrames) return;
  const double duration = session_.lastDelivery - session_.start;
  // A run shorter than a window was never looked into: its loads and its least ready-ahead are unknown, which all of them show as 0.
  const double windows = std::max(session_.windows, 1);
  const int32_t leastReadyAhead = session_.windows > 0 ? session_.leastReadyAhead : 0;
  LogLine(
      "session: %.1f s, %dx%s, frames %d (%.1f/s), Premiere skipped %d, ours med %.1f / p95 %.1f ms, Premiere med %.1f / p95 %.1f ms, "
      "ours longer than frame period %d, readers busy %.0f %%, GPU thread busy %.0f %%, process %.1f cores, min ready ahead %d",
      duration, session_.width, "", session_.frames, session_.frames / std::max(duration, 0.001), int(session_.skipped),
      PercentileOf(&session_.samples.ours, kMedian), PercentileOf(&session_.samples.ours, kP95),
      PercentileOf(&session_.samples.host, kMedian), PercentileOf(&session_.samples.host, kP95), session_.late,
      session_.readersSum / windows * 100, session_.gpuSum / windows * 100, session_.coresSum / windows, leastReadyAhead);
}

void RecordDelivery(const OpenedClip& clip, int64_t frame, int32_t width, double startMs, double durationMs, double intervalMs) {
  if (!LogIsOn()) return;
  const double framePeriodMs = double(clip.info.fpsDenominator) * 1000 / clip.info.fpsNumerator;
  ProcessStatistics().RecordDelivery({frame, width, startMs, durationMs, intervalMs, framePeriodMs}, [&clip] { return LoadOf(clip); });
}

void CloseSession() {
  ProcessStatistics().CloseSession();
}

}  // namespace qx
