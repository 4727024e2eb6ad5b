#include "rawzip/timecode_check.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

#include "media/frame_arithmetic.h"

namespace qx {

namespace {

using LongLong = long long;

/// Two binary-coded digits, the tens masked to the bits they have; -1 when the units are no digit.
int Digits(uint8_t byte, int tensMask) {
  const int units = byte & 0x0F;
  return units > 9 ? -1 : (byte >> 4 & tensMask) * 10 + units;
}

/// Seconds since midnight from a name like "V240131-142530_…"; the clock is that of the recording's start.
std::optional<int64_t> WallClockFromName(std::string_view name) {
  constexpr size_t kDash = 7, kDigits = 6;
  if (name.size() < kDash + 1 + kDigits || name[0] != 'V' || name.find('-') != kDash) return std::nullopt;
  int value[3] = {};
  for (size_t i = 0; i < kDigits; ++i) {
    const char c = name[kDash + 1 + i];
    if (c < '0' || c > '9') return std::nullopt;
    value[i / 2] = value[i / 2] * 10 + (c - '0');
  }
  if (value[0] > 23 || value[1] > 59 || value[2] > 59) return std::nullopt;
  return (value[0] * 60 + value[1]) * 60 + value[2];
}

/// True when TimeCodes that put the recording's start at `start` agree with the wall clock in the name. Whole quarter hours may lie between
/// them, the granularity of time zones; half a minute either way is what starting takes.
bool AgreesWithName(const SourceTimeline& source, std::string_view name, int64_t start) {
  constexpr int64_t kTwoDays = 172800;
  constexpr double kThreeDays = 259200;  // keeps the remainder positive
  const auto clock = WallClockFromName(name);
  if (!clock || source.timecodeSource >= 0 || !(source.fps > 0) || start < 0 || double(start) > kTwoDays * source.fps) return false;
  const double remainder = std::fmod(double(start) / source.fps - double(*clock) + kThreeDays, 900);
  return remainder < 30 || remainder > 870;
}

bool Reject(SourceTimeline& source, const MessageBuffer<256>& note) {
  source.indexState = -4;
  source.indexNote = note.text();
  return false;
}

bool CheckFirstFrame(SourceTimeline& source, int64_t firstTimeCodes) {
  const FrameRecord& first = source.frames.front();
  const int64_t start = SaturatingSub(firstTimeCodes, first.number);
  if (firstTimeCodes < 0 || start == source.timecodeStart) return true;
  if (AgreesWithName(source, archive_state(source).EntryOf(first).name, start)) {
    source.timecodeStart = start;
    return true;
  }
  MessageBuffer<256> note;
  note.view().Set("frame index: first frame slot %lld, but TimeCodes %lld%s", LongLong(first.number),
                  LongLong(SaturatingSub(firstTimeCodes, source.timecodeStart)),
                  source.timecodeSource >= 0 ? " (start from the timecode mark)" : "");
  return Reject(source, note);
}

bool CheckLastFrame(SourceTimeline& source, MemberBuffer* buffer) {
  const int64_t number = source.frames.back().number;
  const int64_t timeCodes = ReadTimeCodes(source, int32_t(source.frames.size()) - 1, buffer);
  if (timeCodes >= 0 && timeCodes == SaturatingAdd(number, source.timecodeStart)) return true;
  MessageBuffer<256> note;
  note.view().Set("frame index: last frame slot %lld, but TimeCodes %lld (start from the first %lld)", LongLong(number),
                  LongLong(SaturatingSub(timeCodes, source.timecodeStart)), LongLong(source.timecodeStart));
  return Reject(source, note);
}

void NoteTimeOfDay(SourceTimeline& source) {
  if (source.timecodeSource != 1 && source.timecodeSource != 2) return;
  MessageBuffer<256> note;
  note.view().Set("%s; time-of-day timecode (%s) — from the mark", source.indexNote.c_str(), source.timecodeSource == 1 ? "local" : "UTC");
  source.indexNote = note.text();
}

}  // namespace

int64_t TimeCodesToFrames(const std::array<uint8_t, 8>& timeCodes, int64_t rate) {
  // Above 30 frames per second the tens of frames take the two flag bits as well.
  const int frames = Digits(timeCodes[0], rate < 31 ? 0x3 : 0xF);
  const int seconds = Digits(timeCodes[1], 0x7);
  const int minutes = Digits(timeCodes[2], 0x7);
  const int hours = Digits(timeCodes[3], 0x3);
  if (frames < 0 || seconds < 0 || minutes < 0 || hours < 0 || frames > 99 || seconds > 59 || minutes > 59) return -1;
  return frames + rate * (seconds + 60 * (minutes + 60 * int64_t(hours)));
}

int64_t TimeCodesOf(const SourceTimeline& source, const DngInfo& dng) {
  return dng.hasTimeCodes ? TimeCodesToFrames(dng.timeCodes, RoundToInt64(source.fps)) : -1;
}

int64_t ReadTimeCodes(SourceTimeline& source, int32_t frame, MemberBuffer* buffer) {
  DngInfo dng;
  return ReadFrameDng(source, frame, buffer, &dng) ? TimeCodesOf(source, dng) : -1;
}

bool CheckIndexByTimeCodes(SourceTimeline& source, MemberBuffer* buffer) {
  if (!source.hasFirstDng || !source.firstDng.hasTimeCodes || !(source.fps < kMaxTimeCodesFps)) return true;
  const int64_t firstTimeCodes = TimeCodesOf(source, source.firstDng);
  if (!CheckFirstFrame(source, firstTimeCodes)) return false;
  source.timeCodesAvailable = firstTimeCodes >= 0;
  if (source.frames.size() > 1) {
    if (!CheckLastFrame(source, buffer)) return false;
    source.timeCodesAvailable = true;
  }
  source.timeCodesConsistent = true;
  NoteTimeOfDay(source);
  return true;
}

void CheckNumbering(SourceTimeline& source) {
  const int32_t asked = archive_state(source).comment.dngNumbering;
  if (asked == 0) return;
  MessageBuffer<160> note;
  const auto& frames = source.frames;
  source.numberingResult = -1;
  if (asked < 0) {
    note.view().Set("mark value is not «sensor»");
  } else if (source.indexState != 1) {
    note.view().Set("frame index not accepted (state %d)", source.indexState);
  } else {
    int64_t expected = frames[0].nameNumber;
    size_t i = 1;
    for (; i < frames.size(); ++i) {
      const int64_t steps = FramesBetween(frames[i - 1].timestampNs, frames[i].timestampNs, CaptureRate(source));
      expected = SaturatingAdd(expected, std::max<int64_t>(1, steps));
      if (frames[i].nameNumber != expected) break;
    }
    if (i < frames.size()) {
      note.view().Set("frame %d: number %lld, by timestamp step %lld", int(i), LongLong(frames[i].nameNumber), LongLong(expected));
    } else {
      source.numberingResult = 1;
      note.view().Set("numbers = timestamp step for %d frames, first %lld", int(frames.size()), LongLong(frames[0].nameNumber));
    }
  }
  source.numberingNote = note.text();
}

}  // namespace qx
