#include "samples/recording_maker.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <future>
#include <thread>

#include "samples/quantisation.h"
#include "samples/recording_items.h"
#include "samples/scene.h"

namespace qx {

namespace {

constexpr uint64_t kFirstFrameNs = 50'000'000;  // after the recording's start
constexpr double kHollowBytesPerSample = 1.25;
constexpr uint32_t kTableNumber = 1;
constexpr int kShadingColumns = 17, kShadingRows = 13;

bool IsOneOf(int64_t slot, const std::vector<int64_t>& slots) {
  return std::find(slots.begin(), slots.end(), slot) != slots.end();
}

uint64_t SlotTime(const QorixRecordingOptions& options, int64_t slot) {
  const QorixRate rate = options.file.header.capture;
  const double seconds = double(slot) * rate.denominator / rate.numerator;
  return options.file.header.sensorStartNs + kFirstFrameNs + uint64_t(std::llround(seconds * 1e9));
}

uint64_t SoundTime(const QorixRecordingOptions& options, uint64_t sampleFrame) {
  const double seconds = options.sound.startSeconds + double(sampleFrame) / options.sound.rate;
  return uint64_t(int64_t(SlotTime(options, 0)) + std::llround(seconds * 1e9));
}

QorixTableParameters TableOf(const QorixRecordingOptions& options) {
  // The scene's sensor holds 6,000 electrons at full scale and reads out with 3 of noise; its values are in steps of the range.
  const float step = float((1 << options.bits) - 1 - QorixSceneBlack(options.bits)) / 6000;
  const auto white = uint16_t((1 << options.bits) - 1);
  switch (options.table) {
    case QorixTable::kNone:
      return options.format.table;
    case QorixTable::kNoise:
      return NoiseTable(options.quantization, float(QorixSceneBlack(options.bits)), step, 9 * step * step, white);
    default:
      return BitDepthTable(options.codeBits, options.table == QorixTable::kBitDepthLog, white);
  }
}

void FillHeader(QorixRecordingOptions* options) {
  QorixHeader& header = options->file.header;
  const QorixFrameFormat& format = options->format;
  const uint32_t scale = options->resize ? 2 : 1;
  header.sensorWidth = uint16_t(scale * (uint32_t(format.left) + format.width));
  header.sensorHeight = uint16_t(scale * (uint32_t(format.top) + format.height));
  header.fullField = {0, 0, header.sensorWidth, header.sensorHeight};
  header.crop = {0, 0, uint16_t(scale * format.width), uint16_t(scale * format.height)};
  header.white = (1u << options->bits) - 1;
  header.black.fill(QorixSceneBlack(options->bits));
  header.quantization = options->table == QorixTable::kNoise ? options->quantization : 0;
}

/// One frame, ready to be written.
struct Picture {
  QorixFrameSlices slices;
  bool good = false;
};

/// The sample frame that sounds when the frame of the flash is shown.
std::optional<int64_t> ClickOf(const QorixRecordingOptions& options) {
  if (!options.flashSlot) return options.sound.click;
  const QorixRate rate = options.file.header.capture;
  const double seconds = double(*options.flashSlot) * rate.denominator / rate.numerator - options.sound.startSeconds;
  return std::llround(seconds * options.sound.rate);
}

Picture MakePicture(const QorixRecordingOptions& options, int64_t slot) {
  Picture picture;
  picture.good = EncodeFrame(options.format, CodedSamples(options, slot), &picture.slices);
  return picture;
}

/// Sizes of slices that are not there.
QorixFrameSlices HollowSlices(const QorixFrameFormat& format) {
  QorixFrameSlices slices;
  const auto bytes = uint32_t(kHollowBytesPerSample * format.width * format.rowsPerSlice);
  slices.sizes.assign(QorixSliceCount(format), bytes);
  slices.crcs.assign(slices.sizes.size(), 0);
  return slices;
}

/// Writes the chunks of one recording in the order of their time.
class Recorder {
 public:
  Recorder(const QorixRecordingOptions& options, const QorixSink& sink) : options_(options), writer_(sink) {}

  bool Run(QorixRecordingContents* contents, const QorixProgress& progress);

 private:
  void WriteTables();
  void WriteBlobs();
  void WriteSlot(int64_t slot, const Picture& picture);
  void WriteSideChunks(int64_t slot, uint32_t number);
  void WriteSoundUntil(uint64_t timeNs);
  void WriteSoundChunk(uint32_t chunk);
  std::shared_future<Picture> NextPicture(int64_t slot);
  std::shared_future<Picture> StartPicture(int64_t slot);
  bool HasPicture(int64_t slot) const {
    return !options_.hollow && !IsOneOf(slot, options_.droppedSlots) && !IsOneOf(slot, options_.lostSlots);
  }

  const QorixRecordingOptions& options_;
  QorixWriter writer_;
  std::deque<std::shared_future<Picture>> coming_;
  std::vector<std::shared_future<Picture>> kept_;  // of each distinct picture, when the scene repeats
  int64_t nextToStart_ = 0;
  std::vector<QorixRecordedFrame> frames_;
  uint32_t frameNumber_ = 0;
  uint64_t frameTime_ = 0;
  uint32_t soundChunk_ = 0;
};

bool Recorder::Run(QorixRecordingContents* contents, const QorixProgress& progress) {
  writer_.Begin(options_.file);
  WriteTables();
  WriteBlobs();
  frameNumber_ = options_.file.framesBefore;
  const Picture hollow = {HollowSlices(options_.format), true};
  for (int64_t slot = 0; slot < options_.frames && writer_.ok(); ++slot) {
    const std::shared_future<Picture> coming = HasPicture(slot) ? NextPicture(slot) : std::shared_future<Picture>();
    const Picture& picture = coming.valid() ? coming.get() : hollow;
    if (!picture.good) return false;
    WriteSoundUntil(SlotTime(options_, slot));
    WriteSlot(slot, picture);
    if (progress) progress(size_t(slot) + 1, size_t(options_.frames));
  }
  WriteSoundUntil(SlotTime(options_, options_.frames));
  const bool written = writer_.Finish();
  if (contents != nullptr) *contents = {writer_.chunks(), frames_, writer_.offset()};
  return written;
}

void Recorder::WriteTables() {
  if (!options_.tableChunk) return;
  if (const auto starts = BinStarts(options_.format.table)) writer_.WriteTable(kTableNumber, *starts, options_.format.table.p90);
}

void Recorder::WriteBlobs() {
  const QorixHeader& header = options_.file.header;
  if (options_.shadingMaps) {
    const int scale = options_.resize ? 2 : 1;
    const int fieldWidth = header.sensorWidth / scale, fieldHeight = header.sensorHeight / scale;
    for (uint32_t map = 0; map < 2; ++map) {
      writer_.WriteBlob(kQorixShadingMap, map + 1,
                        ShadingMapBlob(kShadingColumns, kShadingRows - int(map), options_.format, fieldWidth, fieldHeight));
    }
  }
  if (!options_.cameraModules) return;
  for (uint32_t module = 0; module < 2; ++module) {
    writer_.WriteBlob(kQorixCameraModule, module, SceneModuleItems(options_, module).Encoded());
  }
}

std::shared_future<Picture> Recorder::NextPicture(int64_t slot) {
  const size_t atOnce = std::max(1u, std::thread::hardware_concurrency());
  nextToStart_ = std::max(nextToStart_, slot);
  for (; nextToStart_ < options_.frames && coming_.size() < atOnce; ++nextToStart_) {
    if (HasPicture(nextToStart_)) coming_.push_back(StartPicture(nextToStart_));
  }
  std::shared_future<Picture> picture = coming_.front();
  coming_.pop_front();
  return picture;
}

std::shared_future<Picture> Recorder::StartPicture(int64_t slot) {
  const auto start = [this, slot] { return std::async(std::launch::async, MakePicture, std::cref(options_), slot).share(); };
  if (options_.distinctPictures <= 0 || slot == options_.flashSlot) return start();
  kept_.resize(size_t(options_.distinctPictures));
  std::shared_future<Picture>& kept = kept_[size_t(slot % options_.distinctPictures)];
  if (!kept.valid()) kept = start();
  return kept;
}

void Recorder::WriteSlot(int64_t slot, const Picture& picture) {
  if (IsOneOf(slot, options_.droppedSlots)) return;
  const uint32_t number = frameNumber_++;
  if (IsOneOf(slot, options_.lostSlots)) return writer_.CountLostFrame(number);
  WriteSideChunks(slot, number);
  if (!IsOneOf(slot, options_.stalledSlots) || frames_.empty()) frameTime_ = SlotTime(options_, slot);
  if (options_.frameItems) writer_.WriteFrameItems(number, SceneFrameItems(options_, slot));
  const size_t chunk = writer_.chunks().size();
  for (int copy = 0; copy < (IsOneOf(slot, options_.repeatedSlots) ? 2 : 1); ++copy) {
    if (options_.hollow) {
      writer_.WriteHollowFrame(options_.format, picture.slices, number, frameTime_);
    } else {
      writer_.WriteSlices(options_.format, picture.slices, number, frameTime_);
    }
  }
  frames_.push_back({slot, number, frameTime_, chunk});
}

void Recorder::WriteSideChunks(int64_t slot, uint32_t number) {
  const uint64_t timeNs = SlotTime(options_, slot);
  if (options_.motionEvery > 0 && slot % options_.motionEvery == 0) {
    QorixFields sample;
    sample.U64(timeNs).F32(0.01f).F32(-0.02f).F32(0.03f);
    writer_.WriteMotion(uint32_t(slot / options_.motionEvery), timeNs, 1, sample.bytes());
  }
  if (options_.unknownEvery > 0 && slot % options_.unknownEvery == 0) {
    writer_.WriteChunk({.tag = QorixTag("QXZZ"),
                        .seq = uint32_t(slot / options_.unknownEvery),
                        .timestampNs = timeNs,
                        .head = {1, 2, 3},
                        .body = QorixFields().Text("of a later version").bytes()});
  }
  if (options_.foreignEvery > 0 && slot % options_.foreignEvery == 0) {
    QorixChunk foreign = FrameChunk(options_.format, {}, number, timeNs);
    foreign.sessionId = ~options_.file.sessionId;
    writer_.WriteChunk(std::move(foreign));
  }
}

void Recorder::WriteSoundUntil(uint64_t timeNs) {
  if (options_.sound.format == 0) return;
  for (; SoundTime(options_, uint64_t(soundChunk_) * options_.sound.chunkFrames) < timeNs; ++soundChunk_) WriteSoundChunk(soundChunk_);
}

void Recorder::WriteSoundChunk(uint32_t chunk) {
  QorixSoundOptions sound = options_.sound;
  sound.click = ClickOf(options_);
  const auto isIn = [chunk](const std::vector<uint32_t>& list) { return std::find(list.begin(), list.end(), chunk) != list.end(); };
  if (isIn(sound.missingChunks)) return;
  const uint64_t first = uint64_t(chunk) * sound.chunkFrames;
  QorixSoundChunk written = {.seq = chunk,
                             .timestampNs = SoundTime(options_, first),
                             .firstSample = sound.firstSample + first,
                             .sampleFrames = sound.chunkFrames,
                             .rate = isIn(sound.foreignChunks) ? sound.rate / 2 : sound.rate,
                             .channels = sound.channels,
                             .format = sound.format,
                             .samples = SoundBytes(sound, first, sound.chunkFrames)};
  if (isIn(sound.oddSizedChunks)) written.samples.resize(written.samples.size() - std::min<size_t>(3, written.samples.size()));
  writer_.WriteSound(written);
}

/// The scene is RGGB; other patterns begin one column or row later. The pattern at the frame's corner depends on its place on the sensor.
int FramePattern(const QorixRecordingOptions& options) {
  return (options.file.header.cfaCode & 3) ^ (options.format.left & 1) ^ (options.format.top & 1) << 1;
}

}  // namespace

QorixFileOptions SceneFileOptions() {
  QorixFileOptions file;
  file.header.sensorStartNs = 5'000'000'000'000;
  file.header.wallClockStartNs = 1'749'896'100'000'000'000;  // 2025-06-14 10:15:00 UTC
  file.header.timeZoneMinutes = 120;
  for (size_t i = 0; i < file.header.recordingId.size(); ++i) file.header.recordingId[i] = uint8_t(17 * i);
  return file;
}

std::string CheckQorixRecording(const QorixRecordingOptions& o) {
  const uint32_t width = o.format.width, height = o.format.height;
  const QorixRate capture = o.file.header.capture;
  const int codedBits = o.bits - o.format.sampleShift;
  const QorixRecordingOptions completed = Completed(o);
  const struct {
    bool holds;
    const char* otherwise;
  } rules[] = {
      {width >= 16 && height >= 16, "width and height must be at least 16"},
      {o.bits >= 8 && o.bits <= 16, "bits must be 8 to 16"},
      {o.frames >= 1 && o.frames <= 1'000'000, "a recording has 1 to 1000000 frames"},
      {capture.numerator != 0 && capture.denominator != 0, "the capture rate must not be 0"},
      {o.format.sampleShift == 0 || o.table == QorixTable::kNone, "choose a table or a sample shift, not both"},
      {codedBits >= 1, "the sample shift leaves nothing of the samples"},
      {o.format.coder != 0 || o.table != QorixTable::kNone || codedBits <= 14, "coder 0 takes at most 14 bits"},
      {o.format.predictor <= 1, "the slice predictor is 0 or 1"},
      {o.format.rowsPerSlice >= 1, "a slice has at least one row"},
      {o.format.layout != 3 || (o.format.boundary >= 1 && o.format.boundary < QorixSliceCount(o.format)),
       "the layout must change at one of the slices 1 to the last"},
      {o.table == QorixTable::kNone || BinStarts(completed.format.table).has_value(), "these numbers give no table"},
      {o.table == QorixTable::kNone || o.bits <= 14 || o.format.coder != 0, "codes of more than 14 bits need coder 1"},
      {o.sound.format == 0 || (o.sound.rate > 0 && o.sound.chunkFrames > 0 && o.sound.channels > 0),
       "sound needs a rate, channels and a chunk length"},
      {o.sound.format <= 4 || o.sound.format == 255, "sound formats are 1 to 4 (255: unknown)"},
  };
  for (const auto& rule : rules) {
    if (!rule.holds) return rule.otherwise;
  }
  return {};
}

QorixRecordingOptions Completed(const QorixRecordingOptions& options) {
  QorixRecordingOptions completed = options;
  if (options.table != QorixTable::kNone) {
    completed.format.mode = 1;
    completed.format.table = TableOf(options);
    completed.format.table.number = options.tableChunk ? kTableNumber : 0xFFFFFFFF;
  }
  if (options.fillHeader) FillHeader(&completed);
  QorixItemList items;
  if (options.staticItems) items = SceneStaticItems(completed);
  completed.file.staticItems = items.Append(options.file.staticItems);
  completed.fillHeader = completed.staticItems = false;
  return completed;
}

bool MakeRecording(const QorixRecordingOptions& options, const QorixSink& sink, QorixRecordingContents* contents,
                   const QorixProgress& progress) {
  const QorixRecordingOptions completed = Completed(options);
  return Recorder(completed, sink).Run(contents, progress);
}

std::vector<uint16_t> LinearSamples(const QorixRecordingOptions& options, int64_t slot) {
  const int pattern = FramePattern(options), skipX = pattern & 1, skipY = pattern >> 1;
  const int width = options.format.width + skipX, height = options.format.height + skipY;
  if (slot == options.flashSlot) {
    return std::vector<uint16_t>(size_t(options.format.width) * options.format.height, uint16_t((1 << options.bits) - 1));
  }
  const int picture = int(options.distinctPictures > 0 ? slot % options.distinctPictures : slot);
  std::vector<uint16_t> scene = MakeNoisyMosaic(width, height, options.bits, QorixSceneBlack(options.bits), options.seed, picture);
  if (pattern == 0) return scene;
  std::vector<uint16_t> samples;
  samples.reserve(size_t(options.format.width) * options.format.height);
  for (int y = skipY; y < height; ++y) {
    const auto row = scene.begin() + ptrdiff_t(y) * width + skipX;
    samples.insert(samples.end(), row, row + options.format.width);
  }
  return samples;
}

std::vector<uint16_t> CodedSamples(const QorixRecordingOptions& options, int64_t slot) {
  std::vector<uint16_t> samples = LinearSamples(options, slot);
  for (uint16_t& sample : samples) sample = uint16_t(sample >> options.format.sampleShift);
  if (options.table == QorixTable::kNone) return samples;
  const auto starts = BinStarts(TableOf(options));
  if (!starts) return samples;
  const std::vector<uint16_t> codes = CodesOfValues(*starts);
  for (uint16_t& sample : samples) sample = codes[sample];
  return samples;
}

}  // namespace qx
