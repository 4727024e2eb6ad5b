#include "qorix/qorix_source.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

#include "qorix/qorix_rates.h"
#include "qorix/qorix_sound.h"

namespace qx {

namespace {

constexpr int kPoolThreads = 7;
constexpr int kFramesTriedFirst = 8;

std::string Formatted(size_t size, const char* format, ...) QX_PRINTF(2, 3);
std::string Formatted(size_t size, const char* format, ...) {
  std::string text(size, '\0');
  va_list arguments;
  va_start(arguments, format);
  Message(text.data(), text.size()).SetV(format, arguments);
  va_end(arguments);
  text.resize(std::char_traits<char>::length(text.c_str()));
  return text;
}

const ChunkRecord& FrameChunk(const RecordingScan& scan, size_t frame) {
  return scan.records[size_t(scan.frames[frame].record)];
}

void FillRates(const RecordingScan& scan, SourceTimeline* source) {
  const RecordingRates rates = RatesOf(scan.header);
  source->fps = rates.fps;
  source->captureFps = rates.captureFps;
  source->fpsSource = rates.fpsFromHeader ? FpsSource::kRecording : FpsSource::kDefault;
  source->speedChanged = rates.speedChanged;
}

void FillFrames(const RecordingScan& scan, SourceTimeline* source, QorixState* state) {
  source->frames.resize(scan.frames.size());
  for (size_t i = 0; i < scan.frames.size(); ++i) {
    const ChunkRecord& chunk = FrameChunk(scan, i);
    FrameRecord& frame = source->frames[i];
    frame.entry = int32_t(i);
    frame.number = frame.nameNumber = scan.frameSlots[i];
    frame.timestampNs = int64_t(chunk.timestamp);
    source->largestFrameBytes = std::max<uint64_t>(source->largestFrameBytes, chunk.totalSize);
    if (chunk.totalSize > scan.fileSize - chunk.offset) ++state->truncatedFrames;
  }
  source->firstTimestampNs = source->frames[0].timestampNs;
  source->firstNumber = source->frames.front().number;
  source->lastNumber = source->frames.back().number;
  source->missingFrames = std::max<int64_t>(0, source->lastNumber - source->firstNumber - int64_t(source->frames.size()) + 1);
  source->duplicates = scan.repeatedFrames;
  source->indexState = 1;
  source->indexRows = int32_t(source->frames.size());
  source->indexNote =
      Formatted(256, ".qorix: %d frames, timeline by sensor timestamps, slots by timestamp step (spec §6.4)", int(source->frames.size()));
  source->numberingResult = 1;
  source->numberingNote =
      Formatted(160, ".qorix slots — sensor timestamp step, first %lld", static_cast<long long>(source->frames[0].number));
}

// A frame whose time stamp does not advance is shown one playback period later.
void FillTimes(const RecordingScan& scan, SourceTimeline* source) {
  const uint64_t first = FrameChunk(scan, 0).timestamp;
  uint64_t latest = first;
  source->captureTimes.assign(source->frames.size(), 0);
  for (size_t i = 1; i < source->frames.size(); ++i) {
    const uint64_t timestamp = FrameChunk(scan, i).timestamp;
    const double before = source->captureTimes[i - 1];
    if (timestamp > latest) {
      source->captureTimes[i] = std::max(double(timestamp - first) / 1e9 * (source->captureFps / source->fps), before);
      latest = timestamp;
    } else {
      source->captureTimes[i] = before + 1 / source->fps;
    }
  }
}

void FillTimecode(const RecordingScan& scan, SourceTimeline* source) {
  const std::optional<Bytes> item = recording_find_meta(scan, Item::TIMECODE);
  source->timecodeSource = -1;
  source->timecodeStart = item && item->size() >= 4 ? int64_t(LoadU32Le(item->data())) : OneHourOfFrames(source->fps);
}

void FillLevel(const RecordingHeader& header, SourceTimeline* source, QorixState* state) {
  struct Level {
    float k;
    const char* name;
  };
  static constexpr Level kLevels[] = {{0, "Lossless"}, {0.5f, "HQ"}, {1, "SQ"}, {2, "LT"}};
  const float k = header.present ? std::max(header.quantization, 0.0f) : 0;
  source->qualityLevel = -1;
  for (int i = 0; i < 4; ++i) {
    if (k != kLevels[i].k) continue;
    source->qualityLevel = i;
    state->levelName = kLevels[i].name;
  }
}

void FillRawType(const RecordingScan& scan, QorixState* state) {
  const std::optional<Bytes> item = recording_find_meta(scan, Item::RAW_TYPE);
  if (!item || item->size() < 2 || ((*item)[0] & 0xF8) != 8) return;
  state->hasRawType = true;
  state->rawTypeCode = (*item)[0];
  state->rawTypeFlag = (*item)[1] != 0;
}

// Numbers go on from part to part. A metadata chunk tells of its frame even when that is gone.
int64_t FramesBefore(const RecordingScan& scan) {
  if (scan.header.partNumber == 0) return 0;
  int64_t before = INT64_MAX;
  for (const ChunkRecord& record : scan.records) {
    if (record.tag == kTagFrame) before = std::min(before, int64_t(record.seq));
    if (record.tag == kTagMetadata) before = std::min(before, int64_t(record.key2));
  }
  return before;
}

void FillTotals(const RecordingScan& scan, QorixState* state) {
  int64_t total = int64_t(FrameChunk(scan, scan.frames.size() - 1).seq) + 1;
  for (const ChunkRecord& record : scan.records) {
    if (record.tag == kTagPeriodicIndex) total = std::max(total, int64_t(record.key1));
  }
  if (scan.trailer.present) {
    const auto written = int64_t(scan.trailer.frameCount);
    total = scan.trailer.isLastPart() ? written : std::max(total, written);
  }
  state->framesTotal = total;
  state->framesLost = std::max<int64_t>(0, total - int64_t(scan.frames.size()));
  state->framesBefore = FramesBefore(scan);
  state->framesLostHere = std::max<int64_t>(0, state->framesLost - state->framesBefore);
}

// What is counted and how much of it there is, when it is not 0, each behind the ones before.
void AddCount(std::string* note, const char* what, int64_t count) {
  if (count > 0) *note += Formatted(64, "%s%s: %lld", note->empty() ? "" : "; ", what, static_cast<long long>(count));
}

void DescribeDamage(const RecordingScan& scan, const QorixState& state, SourceTimeline* source) {
  std::string note;
  if (scan.openState == OpenState::kRecovered) {
    note = WasClosed(scan) ? "index missing or damaged" : "not closed properly (no index at its end)";
    AddCount(&note, "chunks found by searching the file", int64_t(scan.records.size()));
  }
  uint64_t damagedBytes = 0;
  for (const ByteRange& area : scan.damaged) damagedBytes += area.end - area.begin;
  AddCount(&note, "unusable areas", int64_t(scan.damaged.size()));
  if (damagedBytes > 0) note += Formatted(64, " (%llu bytes)", static_cast<unsigned long long>(damagedBytes));
  AddCount(&note, "chunks of another recording in them", int64_t(scan.counters.foreignChunks));
  AddCount(&note, "index entries that do not hold", int64_t(scan.unverified.size()));
  AddCount(&note, "frames lost", state.framesLostHere);
  AddCount(&note, "frames cut off", state.truncatedFrames);
  source->damageNote = note;
}

// The first of the leading frames that sets up gives the recording's camera data.
void FillFirstFrame(SourceTimeline* source, QorixState* state) {
  const int32_t tried = int32_t(std::min<size_t>(source->frames.size(), kFramesTriedFirst));
  for (int32_t i = 0; i < tried; ++i) {
    DecodedFrame& frame = state->firstFrame;
    const int result = frame_setup(&state->scan, i, &state->tables, &state->modules, state->pool.get(), &frame);
    if (result == 0 && frame.decodable && frame.hasTags) {
      source->hasFirstDng = true;
      source->firstDng = frame.dng;
      source->largestFrameBytes = std::max(source->largestFrameBytes, frame.sliceDataSize);
      state->frameBytes = uint64_t(frame.head.width) * frame.head.height * 2;
      state->firstFrameMessage.clear();
      return;
    }
    if (i == 0 || state->firstFrameMessage.empty()) state->firstFrameMessage = Formatted(256, "frame %d: %s", i, frame.message.text());
  }
  source->openMessage = state->firstFrameMessage;
}

int OpenInto(SourceTimeline* source, QorixState* state, const ByteSource& file, Message message) {
  MessageBuffer<256> scanMessage;
  if (recording_scan(&state->scan, file, scanMessage) != 0) return message.Fail(".qorix: %s", scanMessage.text());
  const RecordingScan& scan = state->scan;
  if (scan.frames.empty()) {
    return message.Fail(".qorix: no whole frames (records %d, damaged areas %d)%s%s", int(scan.records.size()), int(scan.damaged.size()),
                        scan.warning.empty() ? "" : "; ", scan.warning.c_str());
  }
  state->pool = worker_pool_create(kPoolThreads);
  if (state->pool == nullptr) return message.Fail("out of memory");
  source->openMessage = scan.warning;
  FillRates(scan, source);
  FillFrames(scan, source, state);
  FillTimes(scan, source);
  FillTimecode(scan, source);
  FillLevel(scan.header, source, state);
  FillRawType(scan, state);
  FillTotals(scan, state);
  DescribeDamage(scan, *state, source);
  FillFirstFrame(source, state);
  DescribeQorixSound(source, state);
  return 0;
}

}  // namespace

bool WasClosed(const RecordingScan& scan) {
  return std::ranges::any_of(scan.records, [](const ChunkRecord& record) { return record.tag == kTagTrailer; });
}

RecordingRates RatesOf(const RecordingHeader& header) {
  RecordingRates rates;
  if (!header.present) return rates;
  rates.fpsFromHeader = header.playbackNumerator != 0 && header.playbackDenominator != 0;
  if (rates.fpsFromHeader) rates.fps = double(header.playbackNumerator) / header.playbackDenominator;
  const bool hasCapture = header.captureNumerator != 0 && header.captureDenominator != 0;
  rates.captureFps = hasCapture ? double(header.captureNumerator) / header.captureDenominator : rates.fps;
  // Compared as products, so that 60/2 and 30/1 are the same rate.
  if (hasCapture && rates.fpsFromHeader) {
    rates.speedChanged =
        uint64_t(header.captureNumerator) * header.playbackDenominator != uint64_t(header.playbackNumerator) * header.captureDenominator;
  } else {
    rates.speedChanged = rates.captureFps != rates.fps;
  }
  return rates;
}

int64_t OneHourOfFrames(double fps) {
  return int64_t(fps + 0.5) * 3600;
}

QorixState& qorix_state(SourceTimeline& source) {
  return static_cast<QorixState&>(*source.container);
}

int qorix_source_open(SourceTimeline* source, const ByteSource& file, Message message) {
  qorix_source_close(source);
  source->kind = ContainerKind::kQorix;
  try {
    auto state = std::make_unique<QorixState>();
    if (OpenInto(source, state.get(), file, message) == 0) {
      source->container = std::move(state);
      return 0;
    }
  } catch (const std::bad_alloc&) {
    message.Fail("out of memory");
  }
  qorix_source_close(source);
  return -1;
}

void qorix_source_close(SourceTimeline* source) {
  *source = SourceTimeline();
}

}  // namespace qx
