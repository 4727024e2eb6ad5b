// What the playback statistics show about a clip and the pipeline.
#include "pipeline/clip_impl.h"

namespace qx {

void GetClipStats(Clip* clip, ClipStats* stats) {
  *stats = {};
  {
    LockGuard guard(clip->lock);
    for (const FrameJob* job = clip->jobs.first(); job != nullptr; job = job->nextInClip.get()) {
      const JobState state = job->state;
      stats->queued += state == JobState::kQueued;
      stats->reading += state == JobState::kReading;
      stats->readyAhead += state == JobState::kReady && job->frame > clip->history.lastRequested();
    }
    stats->jobs = clip->jobs.count();
  }
  const PipelineLoads loads = clip->pipeline.SampleLoads();
  stats->readerLoad = loads.readers;
  stats->gpuLoad = loads.gpu;
  stats->processLoad = loads.process;
}

}  // namespace qx
