#include "samples/archive_maker.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <future>
#include <thread>

namespace qx {

namespace {

constexpr int kMaxFrames = 1'000'000;
constexpr uint32_t kTimeCodeRates = 100;  // two digits number the frames of a second

uint32_t RoundedRate(const SampleRate& rate) {
  return uint32_t(std::max(1L, std::lround(rate.value())));
}

bool IsOneOf(int64_t slot, const std::vector<int64_t>& slots) {
  return std::find(slots.begin(), slots.end(), slot) != slots.end();
}

std::vector<int64_t> RecordedSlots(const ArchiveOptions& options) {
  std::vector<int64_t> slots;
  for (int64_t slot = 0; slot < options.frames; ++slot) {
    if (!IsOneOf(slot, options.droppedSlots)) slots.push_back(slot);
  }
  if (options.reversed) std::reverse(slots.begin(), slots.end());
  return slots;
}

/// The frame count at which slot 0 stands: the mark's, or one hour.
int64_t TimecodeStart(const ArchiveOptions& options) {
  const auto& mark = options.timecodeMark;
  return mark && mark->source != 0 ? mark->start : int64_t(RoundedRate(options.recording.fps)) * 3600;
}

std::vector<uint8_t> MakeFrame(const ArchiveOptions& options, int64_t slot) {
  const SampleRate fps = options.recording.fps;
  DngDescription dng = DescribeSceneFrame(options.picture, int(slot));
  dng.frameRate = {int32_t(fps.numerator), int32_t(fps.denominator)};
  dng.privateTimecode = options.timecodeMark;
  const uint32_t rate = RoundedRate(fps);
  const uint32_t captureRate = options.recording.captureFps;
  if (captureRate != 0) dng.reelName = options.recording.name + "-" + std::to_string(captureRate) + "t" + std::to_string(rate) + "fps";
  if (options.timeCodes && rate < kTimeCodeRates) dng.timeCodes = SmpteTimeCode(TimecodeStart(options) + slot, rate);
  return EncodeSceneDng(options.picture, dng, SceneSamples(options.picture, int(slot)));
}

/// What the comment says of the picture, before the caller's own lines.
void AddPictureLines(const ArchiveOptions& options, RecordingOptions* recording) {
  const SceneDngOptions& picture = options.picture;
  std::vector<std::pair<std::string, std::string>> lines = {
      {"Width", std::to_string(picture.width)},
      {"Height", std::to_string(picture.height)},
      {"BitsPerSample", std::to_string(picture.bits)},
      {"RawType", "CinemaDNG"},
      {"RawQuantizationType", "linear"},
      {"AppVersion", "qorix-sample"},
  };
  std::vector<std::pair<std::string, std::string>>& own = recording->comment;
  std::erase_if(lines, [&own](const auto& line) {
    return std::any_of(own.begin(), own.end(), [&line](const auto& ownLine) { return ownLine.first == line.first; });
  });
  own.insert(own.begin(), lines.begin(), lines.end());
}

int64_t FirstSlot(const ArchiveOptions& options) {
  const std::vector<int64_t> slots = RecordedSlots(options);
  return *std::min_element(slots.begin(), slots.end());
}

/// Seconds of a slot in the clip that plays.
double SlotSeconds(const ArchiveOptions& options, int64_t slot) {
  return double(slot) / options.recording.fps.value();
}

/// Sound seconds over clip seconds in slow motion, whose sound is stretched with the picture.
double StretchOf(const ArchiveOptions& options) {
  const uint32_t captureRate = options.recording.captureFps;
  return captureRate != 0 ? captureRate / options.recording.fps.value() : 1;
}

/// When the first recorded frame was taken, by the clock that the time codes show.
double FirstFrameClock(const ArchiveOptions& options) {
  const uint32_t rate = RoundedRate(options.recording.fps);
  const int64_t start = TimecodeStart(options);
  const double startSeconds = start == int64_t(rate) * 3600 ? 3600 : double(start) / options.recording.fps.value();
  return startSeconds + SlotSeconds(options, FirstSlot(options));
}

std::vector<uint8_t> MakeSound(const ArchiveOptions& options) {
  WavOptions wav = options.sound->wav;
  if (options.sound->told == SoundOffsetTold::kInBext) {
    wav.timeReference = uint64_t(std::llround((FirstFrameClock(options) + options.sound->startSeconds) * wav.rate));
  }
  return WriteWav(wav, SceneSoundBytes({wav.encoding, wav.rate, wav.channels, SoundClick(options)}, 0, SoundFrames(options)));
}

void AddSoundLines(const ArchiveOptions& options, RecordingOptions* recording) {
  if (!options.sound) return;
  auto& lines = recording->comment;
  if (options.sound->told == SoundOffsetTold::kInComment) {
    lines.emplace_back("AudioOffsetUs", std::to_string(std::llround(options.sound->startSeconds * 1e6)));
  }
  if (const double stretch = StretchOf(options); stretch != 1) lines.emplace_back("AudioStretch", std::to_string(stretch));
}

RecordingOptions LayoutOf(const ArchiveOptions& options) {
  RecordingOptions recording = options.recording;
  recording.sensorNumbering = true;
  AddSoundLines(options, &recording);
  AddPictureLines(options, &recording);
  return recording;
}

}  // namespace

std::string CheckArchive(const ArchiveOptions& options) {
  if (std::string reason = CheckSceneDng(options.picture); !reason.empty()) return reason;
  if (std::string reason = CheckRecording(options.recording); !reason.empty()) return reason;
  if (options.frames < 1 || options.frames > kMaxFrames) return "a clip has 1 to 1000000 frames";
  for (const auto* slots : {&options.droppedSlots, &options.recording.unindexedSlots, &options.recording.corruptSlots}) {
    for (const int64_t slot : *slots) {
      if (slot < 0 || slot >= options.frames) return "no frame " + std::to_string(slot) + " in a clip of " + std::to_string(options.frames);
    }
  }
  if (RecordedSlots(options).empty()) return "no frame would be left";
  if (options.sound) {
    const WavOptions& wav = options.sound->wav;
    if (wav.rate < 1 || wav.rate > 768000 || wav.channels < 1 || wav.channels > 64) return "sound has 1 to 64 channels of up to 768000 Hz";
    if (std::abs(options.sound->startSeconds) > 3600) return "the sound must start within an hour of the picture";
  }
  const auto& mark = options.timecodeMark;
  if (mark && (mark->source < 0 || mark->source > 2 || mark->start < 0))
    return "the time code mark needs source 0 to 2 and a start of 0 or more";
  return {};
}

bool MakeArchive(const ArchiveOptions& options, ZipSink sink, const ArchiveProgress& progress) {
  RecordingWriter writer(LayoutOf(options), std::move(sink));
  const std::vector<int64_t> slots = RecordedSlots(options);
  const size_t atOnce = std::max(1u, std::thread::hardware_concurrency());
  std::deque<std::future<std::vector<uint8_t>>> coming;
  size_t started = 0;
  for (size_t written = 0; written < slots.size(); ++written) {
    for (; started < slots.size() && coming.size() < atOnce; ++started) {
      coming.push_back(std::async(std::launch::async, MakeFrame, std::cref(options), slots[started]));
    }
    const std::vector<uint8_t> dng = coming.front().get();
    coming.pop_front();
    if (!writer.AddFrame(slots[written], dng)) return false;
    if (progress) progress(written + 1, slots.size());
  }
  if (options.sound) writer.AddSound(options.recording.name + ".wav", MakeSound(options));
  for (const auto& [name, bytes] : options.members) writer.AddMember(name, bytes);
  return writer.Finish();
}

uint64_t SoundFrames(const ArchiveOptions& options) {
  const double end = SlotSeconds(options, options.frames - FirstSlot(options)) + options.sound->tailSeconds * StretchOf(options);
  return uint64_t(std::max(0LL, std::llround((end - options.sound->startSeconds) * options.sound->wav.rate)));
}

std::optional<int64_t> SoundClick(const ArchiveOptions& options) {
  if (options.picture.flashFrame < 0) return std::nullopt;
  const double seconds = SlotSeconds(options, options.picture.flashFrame - FirstSlot(options)) - options.sound->startSeconds;
  return std::llround(seconds * options.sound->wav.rate);
}

std::array<uint8_t, 8> SmpteTimeCode(int64_t frames, uint32_t rate) {
  const auto bcd = [](int64_t value) { return uint8_t(value / 10 << 4 | value % 10); };
  const int64_t seconds = frames / rate;
  return {bcd(frames % rate), bcd(seconds % 60), bcd(seconds / 60 % 60), bcd(seconds / 3600 % 24)};
}

}  // namespace qx
