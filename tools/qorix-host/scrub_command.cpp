#include <fmt/core.h>

#include <algorithm>
#include <random>

#include "commands.h"
#include "host/selectors.h"
#include "tools/common/progress.h"

namespace tool {

namespace {

// What a hand on the timeline does: jumps, small steps forwards and backwards, and asking for the same frame again.
int64_t NextFrame(int64_t frame, int64_t frames, std::mt19937_64* random) {
  switch ((*random)() % 6) {
    case 0:
      frame = int64_t((*random)() % uint64_t(frames));
      break;
    case 1:
    case 2:
      frame += 1 + int64_t((*random)() % 4);
      break;
    case 3:
    case 4:
      frame -= 1 + int64_t((*random)() % 4);
      break;
    default:
      break;
  }
  return std::clamp<int64_t>(frame, 0, frames - 1);
}

}  // namespace

int RunScrub(const CommonOptions& common, const ScrubOptions& options) {
  Session session = OpenSession(common);
  if (session.failure != kOk) return session.failure;
  standin::FrameRequest request;
  if (!MakeRequest(session, common, qx::host::kIntentScrubbing, &request)) return kUsage;
  std::mt19937_64 random(options.seed);
  DeliveryTimes times;
  int64_t failed = 0;
  const double start = NowMs();
  {
    Progress progress("scrubbing", size_t(options.requests));
    for (int i = 0; i < options.requests; ++i) {
      request.frame = NextFrame(request.frame, session.facts.frames, &random);
      const double asked = NowMs();
      int32_t result = 0;
      if (!session.clip->GetFrame(request, &result)) ++failed;
      times.Add(NowMs() - asked);
      progress.Step();
    }
  }
  fmt::print("{} requests in {:.2f} s, {} {}: failed {}; delivery median {:.1f} ms, p95 {:.1f} ms\n", options.requests,
             (NowMs() - start) / 1000, common.size, common.format, failed, times.Quantile(0.5), times.Quantile(0.95));
  const int clean = session.Finish();
  return failed > 0 ? int(kFrameFailed) : clean;
}

}  // namespace tool
