#include "rawzip/frame_index.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>
#include <optional>

#include "base/message.h"
#include "rawzip/number_text.h"

namespace qx {

namespace {

constexpr size_t kMaxColumns = 16;
constexpr size_t kMaxNameBytes = 255;
constexpr size_t kMaxNumberBytes = 31;
constexpr int kNoColumn = -1;

/// Takes the text up to the separator off the front of `rest`; the last part ends with the text.
std::string_view TakeUntil(std::string_view* rest, char separator) {
  const size_t end = std::min(rest->find(separator), rest->size());
  const std::string_view part = rest->substr(0, end);
  rest->remove_prefix(std::min(end + 1, rest->size()));
  return part;
}

std::string_view TrimEnd(std::string_view text) {
  return text.substr(0, text.find_last_not_of(" \r") + 1);
}

struct Columns {
  int name = kNoColumn, timestamp = kNoColumn, slot = kNoColumn;
  bool complete() const { return name != kNoColumn && timestamp != kNoColumn && slot != kNoColumn; }
};

Columns ReadHeader(std::string_view line) {
  Columns columns;
  for (int i = 0; i < int(kMaxColumns) && !line.empty(); ++i) {
    const std::string_view column = TakeUntil(&line, ',');
    if (column.size() > kMaxNameBytes) break;
    const std::string_view title = TrimEnd(column);
    if (title == "name" && columns.name == kNoColumn) columns.name = i;
    if (title == "sensor_timestamp_ns" && columns.timestamp == kNoColumn) columns.timestamp = i;
    if (title == "slot" && columns.slot == kNoColumn) columns.slot = i;
  }
  return columns;
}

/// The whole text as a base-10 integer, leading blanks and a sign allowed.
std::optional<int64_t> WholeInteger(std::string_view text) {
  text = SkipBlanksAndPlus(text);
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

struct Row {
  std::string_view name;
  FrameIndexEntry entry;
};

std::optional<Row> ReadRow(std::string_view line, const Columns& columns) {
  std::optional<std::string_view> name, timestamp, slot;
  const int last = std::max({columns.name, columns.timestamp, columns.slot});
  for (int i = 0; i <= last && !line.empty(); ++i) {
    const std::string_view field = TrimEnd(TakeUntil(&line, ','));
    if (i == columns.name) name = field;
    if (i == columns.timestamp) timestamp = field;
    if (i == columns.slot) slot = field;
  }
  if (!name || !timestamp || !slot) return std::nullopt;
  if (name->size() > kMaxNameBytes || timestamp->size() > kMaxNumberBytes || slot->size() > kMaxNumberBytes) return std::nullopt;
  const auto timestampNs = WholeInteger(*timestamp);
  const auto slotNumber = WholeInteger(*slot);
  if (!timestampNs || *timestampNs < 1 || !slotNumber) return std::nullopt;
  return Row{*name, {*timestampNs, *slotNumber}};
}

/// A foreign name for a note: printable ASCII only, at most 63 bytes.
std::string Printable(std::string_view name) {
  std::string text(name.substr(0, 63));
  for (char& c : text) {
    if (c < 0x20 || c > 0x7E) c = '?';
  }
  return text;
}

/// Finds frames by the name of their member.
class FrameLookup {
 public:
  explicit FrameLookup(std::span<const std::string_view> names) : names_(names), order_(names.size()) {
    std::iota(order_.begin(), order_.end(), size_t(0));
    std::sort(order_.begin(), order_.end(), [&](size_t a, size_t b) { return names_[a] != names_[b] ? names_[a] < names_[b] : a < b; });
  }
  std::optional<size_t> Find(std::string_view name) const {
    const auto found =
        std::lower_bound(order_.begin(), order_.end(), name, [&](size_t frame, std::string_view wanted) { return names_[frame] < wanted; });
    if (found == order_.end() || names_[*found] != name) return std::nullopt;
    return *found;
  }

 private:
  std::span<const std::string_view> names_;
  std::vector<size_t> order_;
};

/// Collects the rows and what is wrong with them.
class IndexReader {
 public:
  explicit IndexReader(std::span<const std::string_view> frameNames) : lookup_(frameNames), entries_(frameNames.size()) {}

  void ReadRows(std::string_view text, const Columns& columns) {
    while (!text.empty()) {
      const std::string_view line = TakeUntil(&text, '\n');
      if (line.empty() || line == "\r") continue;
      if (const auto row = ReadRow(line, columns)) {
        Record(*row);
      } else if (badRows_++ == 0) {
        firstBadLine_ = rows_ + 2;
      }
    }
  }

  FrameIndex Verdict() && {
    FrameIndex index;
    index.rows = rows_;
    MessageBuffer<256> note;
    index.state = Judge(note);
    index.note = note.text();
    if (index.state == 1) index.entries = std::move(entries_);
    return index;
  }

 private:
  void Record(const Row& row) {
    ++rows_;
    const auto frame = lookup_.Find(row.name);
    if (!frame) {
      if (unknownNames_++ == 0) firstUnknown_ = Printable(row.name);
    } else if (entries_[*frame].timestampNs != 0) {
      ++repeats_;
    } else {
      entries_[*frame] = row.entry;
    }
  }

  int32_t Judge(Message note) const {
    if (badRows_ > 0) {
      note.Set("frame index: %d bad rows (first — line %d)", badRows_, firstBadLine_);
      return -1;
    }
    const auto missing = std::count_if(entries_.begin(), entries_.end(), [](const FrameIndexEntry& e) { return e.timestampNs == 0; });
    if (unknownNames_ > 0 || repeats_ > 0 || missing > 0) {
      note.Set("frame index does not match the archive: rows %d, unknown names %d%s%s, repeats %d, frames without a row %d of %d", rows_,
               unknownNames_, unknownNames_ > 0 ? ", first " : "", firstUnknown_.c_str(), repeats_, int(missing), int(entries_.size()));
      return -2;
    }
    if (const int equal = EqualTimestamps(); equal > 0) {
      note.Set("frame index: %d repeated sensor timestamps", equal);
      return -3;
    }
    note.Set("frame index: %d rows, timeline by sensor timestamps", rows_);
    return 1;
  }

  int EqualTimestamps() const {
    std::vector<int64_t> sorted;
    sorted.reserve(entries_.size());
    for (const FrameIndexEntry& entry : entries_) sorted.push_back(entry.timestampNs);
    std::sort(sorted.begin(), sorted.end());
    int equal = 0;
    for (size_t i = 1; i < sorted.size(); ++i) equal += sorted[i] == sorted[i - 1];
    return equal;
  }

  FrameLookup lookup_;
  std::vector<FrameIndexEntry> entries_;  // time stamp 0: no row yet
  int32_t rows_ = 0, badRows_ = 0, firstBadLine_ = 0;
  int32_t unknownNames_ = 0, repeats_ = 0;
  std::string firstUnknown_;
};

}  // namespace

FrameIndex ParseFrameIndex(std::string_view csv, std::span<const std::string_view> frameNames) {
  const Columns columns = ReadHeader(TakeUntil(&csv, '\n'));
  if (!columns.complete()) {
    FrameIndex index;
    index.state = -1;
    index.note = "frame index: no header name,sensor_timestamp_ns,slot";
    return index;
  }
  IndexReader reader(frameNames);
  reader.ReadRows(csv, columns);
  return std::move(reader).Verdict();
}

}  // namespace qx
