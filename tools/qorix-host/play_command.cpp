#include <fmt/core.h>

#include <chrono>
#include <thread>

#include "commands.h"
#include "host/selectors.h"
#include "plugin_log.h"
#include "tools/common/progress.h"

namespace tool {

namespace {

void SleepUntilMs(double when) {
  const double wait = when - NowMs();
  if (wait > 0) std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(wait));
}

}  // namespace

// A frame is asked for when its turn comes and must be there before the next one's; frames whose turn is already over are dropped, as a
// host does that keeps the sound in time.
int RunPlay(const CommonOptions& common, const PlayOptions& options) {
  CommonOptions logged = common;
  logged.readLog = true;
  Session session = OpenSession(logged);
  if (session.failure != kOk) return session.failure;
  PluginLog& log = *session.log;
  standin::FrameRequest request;
  if (!MakeRequest(session, common, qx::host::kIntentPlaying, &request)) return kUsage;
  const double fps = options.fps > 0 ? options.fps : session.facts.framesPerSecond();
  const double period = 1000 / fps;
  const int64_t frames = options.frames > 0 ? std::min(options.frames, session.facts.frames) : session.facts.frames;

  int32_t result = 0;
  request.intent = qx::host::kIntentPreroll;
  session.clip->GetFrame(request, &result);  // playback starts with the first frame shown
  request.intent = qx::host::kIntentPlaying;
  session.clip->Flush();  // what was read ahead before playback is no part of it
  log.TakeRuns();

  DeliveryTimes times;
  int64_t late = 0, dropped = 0, failed = 0;
  {
    Progress progress("playing", size_t(frames));
    const double start = NowMs();
    for (int64_t frame = 0; frame < frames; ++frame) {
      progress.Step();
      const double due = start + double(frame) * period;
      if (NowMs() >= due + period) {
        ++dropped;
        continue;
      }
      SleepUntilMs(due);
      request.frame = frame;
      const double asked = NowMs();
      const standin::HostFrame delivered = session.clip->GetFrame(request, &result);
      const double done = NowMs();
      times.Add(done - asked);
      if (!delivered) ++failed;
      if (done > due + period) ++late;
    }
  }
  fmt::print("{} frames at {:.3f} frames/s, {} {}: late {}, dropped {}, failed {}; delivery median {:.1f} ms, p95 {:.1f} ms\n", frames, fps,
             common.size, common.format, late, dropped, failed, times.Quantile(0.5), times.Quantile(0.95));
  session.clip->Flush();
  const std::vector<RunSummary> runs = log.TakeRuns();
  if (!runs.empty()) fmt::print("The plug-in's own account:\n");
  for (const RunSummary& run : runs) fmt::print("{}", RunText(run));
  const int clean = session.Finish();
  return failed > 0 ? int(kFrameFailed) : clean;
}

}  // namespace tool
