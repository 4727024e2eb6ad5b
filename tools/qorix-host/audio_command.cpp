#include <fmt/core.h>

#include <algorithm>

#include "commands.h"
#include "host/selectors.h"
#include "tools/common/progress.h"
#include "wav_file.h"

namespace tool {

namespace {

struct Sound {
  int64_t first = 0, end = 0;
  double slowestMs = 0;
};

/// Pulls the range in blocks and writes it. False with a reason and an exit code.
bool Export(const Session& session, const AudioOptions& options, Sound* sound, int* code, std::string* error) {
  WavFile file(options.output, uint32_t(session.facts.audioRate), uint16_t(session.facts.audioChannels));
  std::vector<std::vector<float>> block;
  Progress progress("sound", size_t((sound->end - sound->first + options.block - 1) / options.block));
  for (int64_t at = sound->first; at < sound->end; at += options.block) {
    const auto count = uint32_t(std::min<int64_t>(options.block, sound->end - at));
    const double start = NowMs();
    const int32_t result = session.clip->GetSound(at, count, session.facts.audioChannels, &block);
    sound->slowestMs = std::max(sound->slowestMs, NowMs() - start);
    if (result != qx::host::imNoErr) {
      *error = fmt::format("sound at sample frame {} failed (result {})", at, result);
      *code = kFrameFailed;
      return false;
    }
    if (!file.Append(block)) break;
    progress.Step();
  }
  *code = kWriteFailed;
  return file.Finish(error);
}

}  // namespace

int RunAudio(const CommonOptions& common, const AudioOptions& options) {
  Session session = OpenSession(common);
  if (session.failure != kOk) return session.failure;
  const standin::ClipFacts& facts = session.facts;
  int code = kOk;
  std::string error;
  Sound sound{options.first, facts.audioFrames};
  if (options.count > 0 && options.count < sound.end - sound.first) sound.end = sound.first + options.count;
  const double start = NowMs();
  if (!facts.hasAudio) {
    error = common.clipPath + ": the clip has no sound that the plug-in offers (qorix-check says why)";
    code = kNoSound;
  } else if (sound.first >= sound.end) {
    error = fmt::format("nothing from sample frame {} on (the sound has {})", sound.first, facts.audioFrames);
    code = kUsage;
  } else if (Export(session, options, &sound, &code, &error)) {
    code = kOk;
    const double seconds = (NowMs() - start) / 1000, length = double(sound.end - sound.first) / facts.audioRate;
    fmt::print("{}: {} sample frames ({:.2f} s) of {} channels at {} Hz in {:.2f} s: {:.0f} times real time; slowest block {:.2f} ms\n",
               options.output, sound.end - sound.first, length, facts.audioChannels, facts.audioRate, seconds, length / seconds,
               sound.slowestMs);
  }
  if (code != kOk) fmt::print(stderr, "qorix-host: {}\n", error);
  const int clean = session.Finish();
  return code != kOk ? code : clean;
}

}  // namespace tool
