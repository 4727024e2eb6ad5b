#include "sound_options.h"

#include "option_helpers.h"

namespace tool {

void AddSoundOptions(CLI::App* command, SoundOptions* sound) {
  using Encoding = qx::SampleEncoding;
  command->option_defaults()->group("Sound");
  AddChoice<Encoding>(command, "--tone", "a quiet tone in that sample format (u8 and f64: .zip only)",
                      {{"u8", Encoding::kU8},
                       {"s16", Encoding::kS16},
                       {"s24", Encoding::kS24},
                       {"s32", Encoding::kS32},
                       {"f32", Encoding::kF32},
                       {"f64", Encoding::kF64}},
                      [sound](Encoding encoding) {
                        sound->present = true;
                        sound->wav.encoding = encoding;
                      });
  command->add_option("--tone-rate", sound->wav.rate, "sample rate")->check(CLI::Range(1, 768000))->capture_default_str();
  command->add_option("--tone-channels", sound->wav.channels, "channels")->check(CLI::Range(1, 64))->capture_default_str();
  command->add_option("--tone-start", sound->startSeconds, "seconds from the first frame to the sound")->capture_default_str();

  command->option_defaults()->group("Sound (.zip)");
  using Told = qx::SoundOffsetTold;
  AddChoice<Told>(command, "--tone-told", "where the archive tells that start [comment]",
                  {{"comment", Told::kInComment}, {"bext", Told::kInBext}, {"no", Told::kNot}}, [sound](Told told) { sound->told = told; });
  command->add_option("--tone-tail", sound->tailSeconds, "seconds it goes on after the picture")->capture_default_str();
  command->add_flag("--wav-extensible", sound->wav.extensible, "WAVE_FORMAT_EXTENSIBLE");
  command->add_flag("--wav-rf64", sound->wav.rf64, "RF64 with ds64");
  command->add_flag("--wav-list", sound->wav.oddChunk, "a LIST chunk of odd size before the samples");
  command->add_option("--wav-claim", sound->wav.claimedMore, "bytes that the WAV's head promises beyond what is there");
}

std::string ApplySound(const SoundOptions& options, qx::ArchiveOptions* archive) {
  if (!options.present) return {};
  archive->sound = {.wav = options.wav, .startSeconds = options.startSeconds, .tailSeconds = options.tailSeconds, .told = options.told};
  return {};
}

std::string ApplySound(const SoundOptions& options, qx::QorixSoundOptions* recording) {
  if (!options.present) return {};
  switch (options.wav.encoding) {
    case qx::SampleEncoding::kS16:
      recording->format = 1;
      break;
    case qx::SampleEncoding::kS24:
      recording->format = 2;
      break;
    case qx::SampleEncoding::kS32:
      recording->format = 3;
      break;
    case qx::SampleEncoding::kF32:
      recording->format = 4;
      break;
    default:
      return "--tone u8 and f64 are only for recordings that end in .zip";
  }
  recording->rate = options.wav.rate;
  recording->channels = options.wav.channels;
  recording->startSeconds = options.startSeconds;
  return {};
}

}  // namespace tool
