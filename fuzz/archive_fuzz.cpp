// A whole archive: open it, build its timeline, read a few frames each way.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "media/frame_timeline.h"
#include "media/sound_placement.h"
#include "rawzip/archive_source.h"

namespace {

constexpr size_t kMaxInput = 64 << 10;
constexpr int64_t kMaxFuzzSlots = 1 << 20;  // longer timelines are fine but slow under the sanitizers

void CheckTimeline(const qx::SourceTimeline& source, const qx::FrameTimeline& timeline) {
  if (timeline.length < 1 || timeline.map.size() != size_t(timeline.length)) std::abort();
  for (const qx::DisplaySlot& slot : timeline.map) {
    if (slot.frame < 0 || size_t(slot.frame) >= source.frames.size()) std::abort();
  }
  for (size_t i = 1; i < source.frames.size(); ++i) {
    if (timeline.slots[i] <= timeline.slots[i - 1] || timeline.timesUs[i] <= timeline.timesUs[i - 1]) std::abort();
  }
  for (const double seconds : {-1.0, 0.0, 0.5, 1e9}) {
    const int32_t frame = qx::frame_at_time(source, seconds);
    if (frame < 0 || size_t(frame) >= source.frames.size()) std::abort();
  }
}

void ReadSound(const qx::ByteSource& file, const qx::SoundPlacement& sound) {
  if (!sound.offered) return;
  constexpr int64_t kMostFrames = 64;
  std::vector<uint8_t> samples(size_t(kMostFrames) * sound.blockAlign);
  for (const int64_t first : {int64_t(0), sound.lead, sound.length() - 1}) {
    const int64_t covered = qx::read_sound_frames(file, sound, first, kMostFrames, samples.data());
    if (covered != std::min(kMostFrames, sound.length() - first)) std::abort();  // what is offered is in the file
  }
}

void ReadFrames(const qx::ByteSource& file) {
  const qx::FrameSourcePtr reader = qx::archive_frame_source_open(file, qx::Message());
  if (!reader) return;
  qx::RawFrame frame;
  uint64_t sum = 0;
  for (int32_t i = reader->FrameCount() - 1; i >= std::max(0, reader->FrameCount() - 3); --i) {
    for (const uint32_t flags : {qx::kReadPacked, qx::kReadUnpacked}) {
      if (reader->ReadFrame(i, &frame, flags) < 0) continue;
      for (const uint8_t byte : frame.data) sum += byte;
      if (frame.samples == nullptr) continue;
      const uint64_t count = uint64_t(frame.described->width) * frame.described->height;
      for (uint64_t s = 0; s < count; ++s) sum += frame.samples[s];
    }
  }
  if (sum == UINT64_MAX) std::abort();  // the sum must not be optimised away
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxInput) return 0;
  const qx::MemorySource file({data, size});
  qx::SourceTimeline source;
  qx::MessageBuffer<256> message;
  if (qx::archive_source_open(&source, file, 0, message) < 0) {
    if (message.empty()) std::abort();
    return 0;
  }
  const int64_t span = source.frames.back().number / 2 - source.frames.front().number / 2;
  qx::FrameTimeline timeline;
  if (span < kMaxFuzzSlots && qx::frame_timeline_build(&timeline, source, message) == 0) {
    CheckTimeline(source, timeline);
    ReadSound(file, timeline.sound);
    if (qx::frame_timeline_mark_bad(&timeline, 0, message) == 0) CheckTimeline(source, timeline);
  }
  ReadFrames(file);
  return 0;
}
