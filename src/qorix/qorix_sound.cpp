#include "qorix/qorix_sound.h"

#include <algorithm>
#include <cstring>

#include "base/checked.h"
#include "qorix/sound_chunk.h"

namespace qx {

namespace {

constexpr size_t kMostPairs = 8, kMostOddChunks = 16;

const ChunkRecord& RecordAt(const RecordingScan& scan, size_t i) {
  return scan.records[size_t(scan.sound[i].record)];
}
SoundChunk ChunkAt(const RecordingScan& scan, size_t i) {
  return SoundChunkOf(RecordAt(scan, i));
}

void NotePair(QorixSoundInfo* info, const SoundFormat& format) {
  const std::pair<uint8_t, uint32_t> pair(format.format, format.rate);
  auto& pairs = info->formatsAndRates;
  if (pairs.size() < kMostPairs && std::find(pairs.begin(), pairs.end(), pair) == pairs.end()) pairs.push_back(pair);
}

void NoteLength(QorixSoundInfo* info, const SoundChunk& chunk, uint32_t seq) {
  const uint64_t promised = uint64_t(chunk.frames) * chunk.format.bytesPerSample() * chunk.format.channels;
  if (chunk.bodyBytes == promised) return;
  if (info->oddChunkSeqs.size() < kMostOddChunks) info->oddChunkSeqs.push_back(seq);
  ++info->oddChunks;
}

void ReadItems(const RecordingScan& scan, QorixSoundInfo* info) {
  if (const auto audio = recording_find_meta(scan, Item::AUDIO); audio && audio->size() >= 16) {
    info->hasAudioItem = true;
    info->clockSync = (*audio)[12];
  }
  if (const auto play = recording_find_meta(scan, Item::AUDIO_PLAY); play && play->size() >= 8) {
    info->hasPlayItem = true;
    info->recordedRate = LoadU32Le(play->data());
    info->playbackRate = LoadU32Le(play->data() + 4);
  }
}

void Summarise(const RecordingScan& scan, QorixSoundInfo* info) {
  const SoundChunk first = ChunkAt(scan, 0), last = ChunkAt(scan, scan.sound.size() - 1);
  info->present = scan.soundSummary.present;
  info->format = first.format.format;
  info->rate = first.format.rate;
  info->channels = first.format.channels;
  info->chunks = int32_t(scan.sound.size());
  for (size_t i = 0; i < scan.sound.size(); ++i) {
    const SoundChunk chunk = ChunkAt(scan, i);
    NotePair(info, chunk.format);
    NoteLength(info, chunk, RecordAt(scan, i).seq);
    info->totalFrames += chunk.frames;
  }
  std::sort(info->formatsAndRates.begin(), info->formatsAndRates.end());
  info->durationSeconds = double(info->totalFrames) / (info->rate < 2 ? 1 : info->rate);
  const double start = double(scan.header.sensorStartNs);
  info->startMs = (double(RecordAt(scan, 0).timestamp) - start) / 1e6;
  const double lastNs = double(last.frames) * 1e9 / std::max<uint32_t>(last.format.rate, 1);
  info->endMs = (double(RecordAt(scan, scan.sound.size() - 1).timestamp) + lastNs - start) / 1e6;
  info->deliveryRate = info->hasPlayItem && info->recordedRate == info->rate ? info->playbackRate : info->rate;
}

/// Sample frames that a chunk can give, counted from the recording's first, as a range.
ByteRange PlayedRange(const SoundChunk& chunk, const ScanSound& summary) {
  const uint64_t begin = std::max(chunk.firstSample, summary.firstSample) - summary.firstSample;
  const uint64_t frames = std::min<uint64_t>(chunk.frames, chunk.bodyBytes / summary.bytesPerFrame);
  const uint64_t end = CheckedAdd(chunk.firstSample, frames).value_or(UINT64_MAX);
  return {begin, std::max(end, summary.firstSample) - summary.firstSample};
}

void CountGaps(const RecordingScan& scan, QorixSoundInfo* info) {
  const ScanSound& summary = scan.soundSummary;
  const SoundFormat format = ChunkAt(scan, 0).format;
  std::vector<ByteRange> played;
  played.reserve(scan.sound.size());
  for (size_t i = 0; i < scan.sound.size(); ++i) {
    const SoundChunk chunk = ChunkAt(scan, i);
    if (chunk.format == format) {
      played.push_back(PlayedRange(chunk, summary));
    } else {
      ++info->foreignChunks;
    }
  }
  std::sort(played.begin(), played.end(), [](const ByteRange& a, const ByteRange& b) { return a.begin < b.begin; });
  played.push_back({summary.totalFrames, summary.totalFrames});
  uint64_t reached = 0;
  for (const ByteRange& range : played) {
    if (range.begin > reached) {
      ++info->gaps;
      info->gapFrames += range.begin - reached;
    }
    reached = std::max(reached, range.end);
  }
}

template <typename... Values>
void SetNote(SoundDescription* sound, const char* format, Values... values) {
  MessageBuffer<kSoundNoteBytes> note;
  note.view().Set(format, values...);
  sound->note = note.text();
}

// The sound clock and the sensor clock are the same unless the recording says otherwise; an offset outside a plausible window is not used.
void DecideOffset(const RecordingScan& scan, const QorixSoundInfo& info, SoundDescription* sound) {
  if (info.hasAudioItem && info.clockSync == 0) {
    SetNote(sound, "%s", "ts of .qorix chunks: sound clock not synced (clockSync 0)");
    return;
  }
  const double stretch = sound->stretch > 0 ? sound->stretch : 1;
  const double soundNs = double(RecordAt(scan, 0).timestamp);
  const double frameNs = double(scan.records[size_t(scan.frames[0].record)].timestamp);
  const double offset = stretch * (soundNs - frameNs) / 1e9;
  const double window = std::max(stretch, 1.0);
  if (offset >= -2 * window && offset <= 10 * window) {
    sound->offsetSeconds = offset;
    sound->offsetSource = SoundOffsetSource::kSensorClock;
    SetNote(sound, "ts of the first .qorix chunk (%+.3f s)", offset);
  } else {
    SetNote(sound, "ts of the first .qorix chunk -> %.3f s — not trusted", offset);
  }
}

}  // namespace

void DescribeQorixSound(SourceTimeline* source, QorixState* state) {
  const RecordingScan& scan = state->scan;
  QorixSoundInfo* info = &state->soundInfo;
  ReadItems(scan, info);
  if (scan.sound.empty()) return;
  Summarise(scan, info);
  const ScanSound& summary = scan.soundSummary;
  if (!summary.present) return;
  CountGaps(scan, info);
  SoundDescription& sound = source->sound;
  // Slow motion whose sound has a rate of its own to go with it.
  const bool stretched = source->speedChanged && info->hasPlayItem && info->recordedRate == info->rate && info->playbackRate != 0;
  sound.kind = SoundKind::kQorix;
  sound.reader = state;
  sound.formatTag = summary.format == 4 ? kWaveFloat : kWavePcm;
  sound.channels = summary.channels;
  sound.sampleRate = stretched ? info->playbackRate : info->rate;
  sound.stretch = stretched ? source->captureFps / source->fps : 0;
  sound.bitsPerSample = 8 * summary.bytesPerSample;
  sound.blockAlign = summary.bytesPerFrame;
  sound.frames = summary.totalFrames;
  DecideOffset(scan, *info, &sound);
}

int64_t QorixState::ReadSound(uint64_t first, uint64_t count, uint8_t* out) {
  return qorix_read_sound(&scan, first, count, out);
}

int64_t qorix_read_sound(RecordingScan* scan, uint64_t first, uint64_t count, uint8_t* buffer) {
  const ScanSound& summary = scan->soundSummary;
  if (!summary.present || first >= summary.totalFrames) return 0;
  count = std::min(count, summary.totalFrames - first);
  const uint64_t frameBytes = summary.bytesPerFrame;
  std::memset(buffer, 0, size_t(count * frameBytes));
  const uint64_t begin = first + summary.firstSample, end = begin + count;
  const SoundFormat format = ChunkAt(*scan, 0).format;

  size_t at = 0;
  if (summary.monotonic && scan->sound.size() >= 2) {
    const auto after = std::upper_bound(scan->sound.begin(), scan->sound.end(), begin, [&](uint64_t sample, const ChunkListEntry& entry) {
      return sample < scan->records[size_t(entry.record)].extra0;
    });
    at = after == scan->sound.begin() ? 0 : size_t(after - scan->sound.begin()) - 1;
  }
  for (; at < scan->sound.size(); ++at) {
    const SoundChunk chunk = ChunkAt(*scan, at);
    if (summary.monotonic && chunk.firstSample >= end) break;
    if (chunk.format != format) continue;
    const uint64_t frames = std::min<uint64_t>(chunk.frames, chunk.bodyBytes / frameBytes);
    const uint64_t chunkEnd = CheckedAdd(chunk.firstSample, frames).value_or(UINT64_MAX);
    const uint64_t from = std::max(begin, chunk.firstSample), to = std::min(end, chunkEnd);
    if (from >= to) continue;
    const uint64_t offset = chunk.bodyOffset + (from - chunk.firstSample) * frameBytes;
    if (!scan->file->ReadExactly(offset, buffer + (from - begin) * frameBytes, (to - from) * frameBytes)) return -1;
  }
  return int64_t(count);
}

}  // namespace qx
