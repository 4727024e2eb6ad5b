#include "samples/recording_writer.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace qx {

namespace {

constexpr int64_t kFirstTimestampNs = 81'234'567'890;  // the sensor clock counts from the phone's start
constexpr uint64_t kHoleBytes = 64;                    // enough for the head of a DNG and of any compressed stream

template <typename... Values>
std::string Format(const char* pattern, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, values...);
  return text;
}

bool Contains(const std::vector<int64_t>& values, int64_t value) {
  return std::find(values.begin(), values.end(), value) != values.end();
}

/// When the sensor took the frame of a slot: whole nanoseconds, rounded.
int64_t TimestampNs(const RecordingOptions& options, int64_t slot) {
  const SampleRate rate = options.captureFps != 0 ? SampleRate{options.captureFps, 1} : options.fps;
  return kFirstTimestampNs + (slot * 1'000'000'000 * rate.denominator + rate.numerator / 2) / rate.numerator;
}

}  // namespace

std::string CheckRecording(const RecordingOptions& options) {
  if (options.fps.numerator == 0 || options.fps.denominator == 0 || options.fps.value() > 1000) {
    return "the frame rate must be above 0 and at most 1000";
  }
  if (options.fps.denominator > 1001) return "the denominator of the frame rate must be at most 1001";
  if (options.name.empty()) return "the recording needs a name";
  size_t size = 0;
  for (const auto& [key, value] : options.comment) {
    size += key.size() + value.size() + 2;
    if (key.empty() || key.find_first_of(":\n") != std::string::npos || value.find('\n') != std::string::npos) {
      return "comment lines are KEY:VALUE, without a line break";
    }
  }
  return size > 60000 ? "the comment is too long for a ZIP file" : "";
}

RecordingWriter::RecordingWriter(RecordingOptions options, ZipSink sink)
    : options_(std::move(options)), sink_(std::move(sink)), zip_([this](std::span<const uint8_t> bytes) { return Write(bytes); }) {}

bool RecordingWriter::AddFrame(int64_t slot, std::span<const uint8_t> dng) {
  const std::string name = MemberName(options_.name + Format("_%06" PRId64 ".dng", slot));
  if (Contains(options_.corruptSlots, slot)) {
    constexpr uint64_t kLocalHeaderBytes = 30;
    holeBegin_ = zip_.offset() + kLocalHeaderBytes + name.size();
    holeEnd_ = holeBegin_ + kHoleBytes;
  }
  if (!Contains(options_.unindexedSlots, slot)) AppendIndexRow(slot, name);
  slotCount_ = std::max(slotCount_, slot + 1);
  return zip_.Add(name, dng, MemberOptions());
}

bool RecordingWriter::AddMember(std::string_view name, std::span<const uint8_t> bytes) {
  return zip_.Add(MemberName(name), bytes, MemberOptions());
}

bool RecordingWriter::AddSound(std::string_view name, std::span<const uint8_t> bytes) {
  ZipMemberOptions stored = MemberOptions();
  stored.method = ZipMethod::kStore;
  return zip_.Add(MemberName(name), bytes, stored);
}

bool RecordingWriter::Finish() {
  if (options_.index) {
    const std::string text = std::string("name,sensor_timestamp_ns,slot") + (options_.indexCrlf ? "\r\n" : "\n") + indexRows_;
    AddMember(options_.name + ".frames.csv", {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  }
  return options_.directory ? zip_.Finish({.comment = Comment()}) : zip_.ok();
}

bool RecordingWriter::Write(std::span<const uint8_t> bytes) {
  const uint64_t begin = std::max(position_, holeBegin_), end = std::min(position_ + bytes.size(), holeEnd_);
  const uint64_t start = position_;
  position_ += bytes.size();
  if (begin >= end) return sink_(bytes);
  std::vector<uint8_t> damaged(bytes.begin(), bytes.end());
  std::fill(damaged.begin() + ptrdiff_t(begin - start), damaged.begin() + ptrdiff_t(end - start), uint8_t(0));
  return sink_(damaged);
}

std::string RecordingWriter::MemberName(std::string_view name) const {
  return options_.folder.empty() ? std::string(name) : options_.folder + "/" + std::string(name);
}

ZipMemberOptions RecordingWriter::MemberOptions() const {
  ZipMemberOptions member;
  member.method = options_.method;
  member.descriptor = options_.descriptors ? ZipDescriptor::kSigned : ZipDescriptor::kNone;
  return member;
}

void RecordingWriter::AppendIndexRow(int64_t slot, const std::string& memberName) {
  indexRows_ += memberName + Format(",%" PRId64 ",%" PRId64, TimestampNs(options_, slot), slot) + (options_.indexCrlf ? "\r\n" : "\n");
}

std::string RecordingWriter::Comment() const {
  const double seconds = double(slotCount_) / options_.fps.value();
  std::vector<std::pair<std::string, std::string>> lines = {{"FrameRate", Format("%.6f", options_.fps.value())}};
  if (slotCount_ > 0) {
    lines.emplace_back("DurationMS", Format("%.0f", seconds * 1000));
    lines.emplace_back("AvgBitrateBps", Format("%.0f", double(zip_.offset()) * 8 / seconds));
  }
  if (options_.sensorNumbering) lines.emplace_back("DngNumbering", "sensor");
  std::string text;
  const auto append = [&text](const auto& line) { text += line.first + ":" + line.second + "\n"; };
  for (const auto& line : lines) {
    const auto sameKey = [&line](const auto& own) { return own.first == line.first; };
    if (std::none_of(options_.comment.begin(), options_.comment.end(), sameKey)) append(line);
  }
  for (const auto& line : options_.comment) append(line);
  return text;
}

}  // namespace qx
