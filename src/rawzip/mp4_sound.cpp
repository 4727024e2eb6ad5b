#include "rawzip/mp4_sound.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "base/checked.h"
#include "base/grow_buffer.h"
#include "rawzip/aac_config.h"
#include "rawzip/mp4_boxes.h"
#include "rawzip/read_ahead.h"

namespace qx {

namespace {

constexpr int kMaxTopLevelBoxes = 1 << 16;  // fragments of a recording have a few a second
constexpr uint64_t kFullBoxBytes = 4;       // version and flags
constexpr uint64_t kAacLcDelay = 2048;      // what encoders put before the sound when the file does not tell

struct Track {
  uint32_t timeScale = 0;  // of the sound track: units a second
  double duration = 0;     // in these units
};

/// Scale of a "mvhd" or "mdhd" box.
uint32_t TimeScaleOf(Bytes box) {
  ByteReader in(box);
  const bool longTimes = in.U8() == 1;
  in.Skip(3 + (longTimes ? 16 : 8));
  return in.U32Be();
}

bool IsSoundTrack(Bytes media) {
  const std::optional<Bytes> handler = FindBox(media, BoxType("hdlr"));
  if (!handler) return false;
  ByteReader in(*handler);
  in.Skip(kFullBoxBytes + 4);
  return in.U32Be() == BoxType("soun");
}

/// "stsd" with an "mp4a" entry: channels, rate and the decoder's configuration.
void ParseSampleEntry(Bytes descriptions, Mp4Sound* sound) {
  constexpr uint64_t kEntryCountBytes = 4, kVersionAt = 8, kChannelsAt = 16, kRateAt = 24;
  if (descriptions.size() < kFullBoxBytes + kEntryCountBytes) return;
  const std::optional<Bytes> entry = FindBox(descriptions.subspan(kFullBoxBytes + kEntryCountBytes), BoxType("mp4a"));
  if (!entry || entry->size() < kRateAt + 4) return;
  const uint8_t* p = entry->data();
  const uint16_t version = LoadU16Be(p + kVersionAt);
  sound->channels = LoadU16Be(p + kChannelsAt);
  sound->sampleRate = LoadU32Be(p + kRateAt) >> 16;
  // QuickTime's versions put fields of their own before the child boxes.
  const uint64_t children = version == 1 ? 44 : version == 2 ? 64 : 28;
  if (entry->size() < children) return;
  const Bytes boxes = entry->subspan(size_t(children));
  std::optional<Bytes> esds = FindBox(boxes, BoxType("esds"));
  if (!esds) {
    if (const std::optional<Bytes> wave = FindBox(boxes, BoxType("wave"))) esds = FindBox(*wave, BoxType("esds"));
  }
  if (esds) ParseEsds(*esds, sound);
}

/// Packets that the size table lists, 0 when it cannot be true.
uint64_t CountPackets(Bytes table, uint64_t fileBytes) {
  if (const std::optional<Bytes> sizes = FindBox(table, BoxType("stsz"))) {
    ByteReader in(*sizes);
    in.Skip(kFullBoxBytes);
    const uint64_t size = in.U32Be(), count = in.U32Be();
    const bool there = size != 0 ? count <= fileBytes / size : count <= in.remaining() / 4;
    return in.ok() && there ? count : 0;
  }
  if (const std::optional<Bytes> sizes = FindBox(table, BoxType("stz2"))) {
    ByteReader in(*sizes);
    in.Skip(kFullBoxBytes + 3);
    const uint64_t bits = in.U8(), count = in.U32Be();
    const bool known = bits == 4 || bits == 8 || bits == 16;
    return in.ok() && known && (count * bits + 7) / 8 <= in.remaining() ? count : 0;
  }
  return 0;
}

/// Sum of the "stts" run lengths; runs that are not there do not count.
double TotalDuration(Bytes table) {
  const std::optional<Bytes> times = FindBox(table, BoxType("stts"));
  if (!times) return 0;
  ByteReader in(*times);
  in.Skip(kFullBoxBytes);
  const uint64_t runs = std::min<uint64_t>(in.U32Be(), in.remaining() / 8);
  double total = 0;
  for (uint64_t i = 0; i < runs; ++i) {
    const double count = in.U32Be();
    total += count * in.U32Be();
  }
  return total;
}

uint64_t ToSamples(double units, uint32_t scale, uint32_t rate) {
  const double samples = scale > 0 ? units * rate / scale : 0;
  return samples >= 1 && samples < 0x1p62 ? uint64_t(std::llround(samples)) : 0;
}

/// An edit list that starts the sound at one place of the track. True when it tells delay and padding.
bool ReadEditList(Bytes trackBox, uint32_t movieScale, const Track& track, Mp4Sound* sound) {
  const std::optional<Bytes> edits = FindBox(trackBox, BoxType("edts"));
  const std::optional<Bytes> list = edits ? FindBox(*edits, BoxType("elst")) : std::nullopt;
  if (!list) return false;
  ByteReader in(*list);
  const bool longTimes = in.U8() == 1;
  in.Skip(3);
  const uint64_t count = std::min<uint64_t>(in.U32Be(), in.remaining() / (longTimes ? 20 : 12));
  int used = 0;
  int64_t start = 0;
  uint64_t length = 0;
  for (uint64_t i = 0; i < count; ++i) {
    const uint64_t duration = longTimes ? in.U64Be() : in.U32Be();
    const int64_t mediaTime = longTimes ? int64_t(in.U64Be()) : int32_t(in.U32Be());
    in.Skip(4);
    if (mediaTime < 0) continue;  // an empty edit
    ++used;
    start = mediaTime;
    length = duration;
  }
  if (used != 1) return false;
  sound->delay = ToSamples(double(start), track.timeScale, sound->sampleRate);
  const uint64_t total = sound->packets * sound->samplesPerPacket;
  // An edit of length 0 plays to the track's end.
  const uint64_t end = length > 0 ? CheckedAdd(sound->delay, ToSamples(double(length), movieScale, sound->sampleRate)).value_or(total)
                                  : ToSamples(track.duration, track.timeScale, sound->sampleRate);
  sound->padding = total > end ? total - end : 0;
  return true;
}

/// The value of iTunes' "iTunSMPB" item: zero, delay, padding and more, in hexadecimal.
bool ReadItunesItem(Bytes item, Mp4Sound* sound) {
  constexpr uint64_t kDataHeadBytes = 8;
  const std::optional<Bytes> name = FindBox(item, BoxType("name")), data = FindBox(item, BoxType("data"));
  if (!name || !data || name->size() < kFullBoxBytes || data->size() < kDataHeadBytes) return false;
  const Bytes title = name->subspan(kFullBoxBytes), value = data->subspan(kDataHeadBytes);
  if (std::string(title.begin(), title.end()) != "iTunSMPB") return false;
  const std::string text(value.begin(), value.begin() + ptrdiff_t(std::min<size_t>(value.size(), 200)));
  uint64_t numbers[3] = {};
  const char* at = text.c_str();
  for (uint64_t& number : numbers) {
    char* end = nullptr;
    number = std::strtoull(at, &end, 16);
    if (end == at) return false;
    at = end;
  }
  sound->delay = numbers[1];
  sound->padding = numbers[2];
  return true;
}

bool ReadItunesGap(Bytes moov, Mp4Sound* sound) {
  const std::optional<Bytes> user = FindBox(moov, BoxType("udta"));
  const std::optional<Bytes> meta = user ? FindBox(*user, BoxType("meta")) : std::nullopt;
  if (!meta || meta->size() < kFullBoxBytes) return false;
  std::optional<Bytes> list = FindBox(meta->subspan(kFullBoxBytes), BoxType("ilst"));
  if (!list) return false;
  while (const std::optional<Box> item = NextBox(&*list)) {
    if (item->type == BoxType("----") && ReadItunesItem(item->contents, sound)) return true;
  }
  return false;
}

void ParseTrack(Bytes moov, Bytes trackBox, Bytes media, uint64_t fileBytes, Mp4Sound* sound) {
  Track track;
  if (const std::optional<Bytes> header = FindBox(media, BoxType("mdhd"))) track.timeScale = TimeScaleOf(*header);
  const std::optional<Bytes> information = FindBox(media, BoxType("minf"));
  const std::optional<Bytes> table = information ? FindBox(*information, BoxType("stbl")) : std::nullopt;
  if (!table) return;
  if (const std::optional<Bytes> descriptions = FindBox(*table, BoxType("stsd"))) ParseSampleEntry(*descriptions, sound);
  sound->packets = CountPackets(*table, fileBytes);
  track.duration = TotalDuration(*table);
  if (track.timeScale > 0) sound->durationSeconds = track.duration / track.timeScale;
  const std::optional<Bytes> movieHeader = FindBox(moov, BoxType("mvhd"));
  const uint32_t movieScale = movieHeader ? TimeScaleOf(*movieHeader) : 0;
  if (ReadEditList(trackBox, movieScale, track, sound) || ReadItunesGap(moov, sound)) return;
  if (sound->objectType == 2) sound->delay = kAacLcDelay;
}

}  // namespace

uint64_t Mp4Sound::frames() const {
  const uint64_t total = packets * samplesPerPacket;  // packets are below 2^32
  const uint64_t cut = CheckedAdd(delay, padding).value_or(total);
  return total > cut ? total - cut : 0;
}

bool ParseMoov(Bytes moov, uint64_t fileBytes, Mp4Sound* sound) {
  Bytes rest = moov;
  while (const std::optional<Box> box = NextBox(&rest)) {
    if (box->type != BoxType("trak")) continue;
    const std::optional<Bytes> media = FindBox(box->contents, BoxType("mdia"));
    if (!media || !IsSoundTrack(*media)) continue;
    *sound = Mp4Sound();
    ParseTrack(moov, box->contents, *media, fileBytes, sound);
    return true;
  }
  return false;
}

bool ReadMp4Sound(const ByteSource& file, uint64_t offset, uint64_t size, Mp4Sound* sound) {
  if (!RangeFits(offset, size, file.size())) return false;
  ReadAhead heads(file);
  if (!heads.Allocate()) return false;
  uint64_t at = 0;
  for (int i = 0; i < kMaxTopLevelBoxes && at < size; ++i) {
    constexpr uint64_t kLongestHead = 16;
    const Bytes bytes = heads.From(offset + at, std::min(kLongestHead, size - at));
    const std::optional<BoxHead> head = ReadBoxHead(bytes.first(size_t(std::min<uint64_t>(bytes.size(), size - at))), size - at);
    if (!head) return false;
    if (head->type == BoxType("moov")) {
      const uint64_t contents = head->totalBytes - head->headBytes;
      GrowBuffer<uint8_t> moov;
      if (contents > kMaxMoovBytes || !moov.Reserve(std::max<uint64_t>(contents, 1))) return false;
      if (!file.ReadExactly(offset + at + head->headBytes, moov.data(), contents)) return false;
      return ParseMoov(moov.first(size_t(contents)), size, sound);
    }
    at += head->totalBytes;
  }
  return false;
}

}  // namespace qx
