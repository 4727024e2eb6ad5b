#include "rawzip/comment_metadata.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "base/message.h"
#include "rawzip/number_text.h"

namespace qx {

namespace {

constexpr size_t kMaxLineBytes = 159;

/// The decimal integer that the text begins with; what follows it (a CR, a unit) is ignored.
std::optional<int64_t> LeadingInteger(std::string_view text) {
  text = SkipBlanksAndPlus(text);
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) {
    return text[0] == '-' ? std::numeric_limits<int64_t>::min() : std::numeric_limits<int64_t>::max();
  }
  if (error != std::errc()) return std::nullopt;
  return value;
}

std::optional<double> LeadingNumber(std::string_view text) {
  text = SkipBlanksAndPlus(text);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
  return value;
}

void SetInteger(std::string_view text, int32_t* field) {
  const auto value = LeadingInteger(text);
  if (value) *field = int32_t(std::clamp<int64_t>(*value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

void SetInteger(std::string_view text, int64_t* field) {
  *field = LeadingInteger(text).value_or(*field);
}

void SetText(std::string_view text, size_t maxBytes, std::string* field) {
  *field = text.substr(0, Utf8CutLength(text, maxBytes));
}

void SetAudioOffset(std::string_view text, CommentMetadata* metadata) {
  const auto value = LeadingInteger(text);
  if (!value) return;
  metadata->audioOffsetUs = *value;
  metadata->hasAudioOffset = true;
}

void SetAudioStretch(std::string_view text, CommentMetadata* metadata) {
  const auto value = LeadingNumber(text);
  if (value && *value > 0 && *value < 1000000) metadata->audioStretch = *value;
}

void ApplyLine(std::string_view key, std::string_view value, CommentMetadata* metadata) {
  if (key == "Width") return SetInteger(value, &metadata->width);
  if (key == "Height") return SetInteger(value, &metadata->height);
  if (key == "BitsPerSample") return SetInteger(value, &metadata->bitsPerSample);
  if (key == "RawDebayer") return SetInteger(value, &metadata->rawDebayer);
  if (key == "DurationMS") return SetInteger(value, &metadata->durationMs);
  if (key == "AvgBitrateBps") return SetInteger(value, &metadata->avgBitrateBps);
  if (key == "RawType") return SetText(value, 31, &metadata->rawType);
  if (key == "RawQuantizationType") return SetText(value, 31, &metadata->rawQuantizationType);
  if (key == "AppVersion") return SetText(value, 127, &metadata->appVersion);
  if (key == "AudioOffsetUs") return SetAudioOffset(value, metadata);
  if (key == "AudioStretch") return SetAudioStretch(value, metadata);
  if (key == "FrameRate") metadata->frameRate = LeadingNumber(value).value_or(metadata->frameRate);
  if (key == "DngNumbering") metadata->dngNumbering = value == "sensor" ? 1 : -1;
}

}  // namespace

CommentMetadata ParseCommentMetadata(std::string_view comment) {
  CommentMetadata metadata;
  while (!comment.empty()) {
    const size_t end = std::min(comment.find('\n'), comment.size());
    const std::string_view line = comment.substr(0, std::min(end, kMaxLineBytes));
    comment.remove_prefix(std::min(end + 1, comment.size()));
    const size_t colon = line.find(':');
    if (colon != std::string_view::npos) ApplyLine(line.substr(0, colon), line.substr(colon + 1), &metadata);
  }
  return metadata;
}

}  // namespace qx
