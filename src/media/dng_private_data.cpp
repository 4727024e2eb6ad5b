#include "media/dng_private_data.h"

#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

#include "base/checked.h"
#include "media/dng_parser.h"
#include "media/tiff_value.h"

namespace qx {

namespace {

constexpr std::string_view kSignature("qorixcam\0", 9);
constexpr size_t kMaxLineBytes = 63;
constexpr uint16_t kTagDngPrivateData = 50740;
constexpr uint32_t kMaxIfdEntries = 4096;
constexpr uint64_t kEntryBytes = 12;
constexpr uint64_t kMaxPrivateBytes = 256;

/// The whole text as a decimal number.
std::optional<int64_t> ParseNumber(std::string_view text) {
  int64_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return number;
}

/// Takes the next line off the front of `text`; a NUL ends the line early.
std::string_view NextLine(std::string_view* text) {
  const size_t end = text->find('\n');
  std::string_view line = text->substr(0, end);
  text->remove_prefix(end == text->npos ? text->size() : end + 1);
  line = line.substr(0, line.find('\0'));
  return line.substr(0, kMaxLineBytes);
}

/// The value of a "key:value" line with that key.
std::optional<int64_t> ValueOf(std::string_view line, std::string_view key) {
  if (!line.starts_with(key) || line.size() == key.size() || line[key.size()] != ':') return std::nullopt;
  return ParseNumber(line.substr(key.size() + 1));
}

/// One IFD entry in the record at `offset` of the source, or nothing when the value is not private data of an acceptable form.
bool ReadPrivateEntry(const ByteSource& source, uint64_t offset, uint64_t recordSize, ByteReader entry, uint64_t entryOffset,
                      DngInfo* info) {
  const uint16_t type = entry.U16();
  const uint64_t bytes = entry.U32();
  if ((type != kTiffByte && type != kTiffUndefined) || bytes > kMaxPrivateBytes) return false;
  const uint64_t valueOffset = bytes <= 4 ? entryOffset + 8 : entry.U32();
  uint8_t value[kMaxPrivateBytes];
  if (!RangeFits(valueOffset, bytes, recordSize) || !source.ReadExactly(offset + valueOffset, value, bytes)) return false;
  return TakePrivateTimecode(Bytes(value, size_t(bytes)), valueOffset, info);
}

}  // namespace

bool TakePrivateTimecode(Bytes value, uint64_t offset, DngInfo* info) {
  std::string_view text(reinterpret_cast<const char*>(value.data()), value.size());
  if (!text.starts_with(kSignature)) return false;
  text.remove_prefix(kSignature.size());
  std::optional<int64_t> clock, start;
  while (!text.empty()) {
    const std::string_view line = NextLine(&text);
    if (const auto number = ValueOf(line, "TimecodeSource"); number && *number >= 0 && *number <= 2) clock = number;
    if (const auto number = ValueOf(line, "TimecodeStart"); number && *number >= 0) start = number;
  }
  if (!clock || !start) return false;
  info->hasPrivateTimecode = true;
  info->timecodeSource = int32_t(*clock);
  info->timecodeStart = *start;
  info->privateDataOffset = offset;
  info->privateDataLength = value.size();
  return true;
}

int dng_read_private_timecode(const ByteSource& source, uint64_t offset, uint64_t recordSize, DngInfo* info) {
  uint8_t header[8];
  if (recordSize < sizeof(header) || !source.ReadExactly(offset, header, sizeof(header))) return 0;
  const bool big = header[0] == 'M';
  if (header[0] != header[1] || (!big && header[0] != 'I')) return 0;
  ByteReader head(header, big ? ByteOrder::kBig : ByteOrder::kLittle);
  head.Skip(2);
  const uint16_t version = head.U16();
  const uint64_t ifdOffset = head.U32();

  uint8_t counted[2];
  if (version != 42 || !RangeFits(ifdOffset, sizeof(counted), recordSize)) return 0;
  if (!source.ReadExactly(offset + ifdOffset, counted, sizeof(counted))) return 0;
  const uint64_t count = ByteReader(counted, head.order()).U16();
  const uint64_t entriesOffset = ifdOffset + sizeof(counted);
  if (count < 1 || count > kMaxIfdEntries || !RangeFits(entriesOffset, count * kEntryBytes, recordSize)) return 0;

  std::vector<uint8_t> entries(size_t(count * kEntryBytes));
  if (!source.ReadExactly(offset + entriesOffset, entries.data(), entries.size())) return 0;
  for (uint64_t i = 0; i < count; ++i) {
    ByteReader entry(Bytes(entries).subspan(size_t(i * kEntryBytes), kEntryBytes), head.order());
    const uint16_t tag = entry.U16();
    if (tag > kTagDngPrivateData) return 0;
    if (tag == kTagDngPrivateData) {
      return ReadPrivateEntry(source, offset, recordSize, entry, entriesOffset + i * kEntryBytes, info) ? 1 : 0;
    }
  }
  return 0;
}

}  // namespace qx
