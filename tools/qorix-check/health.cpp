#include "health.h"

#include <fmt/core.h>
#include <libdeflate.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "file_areas.h"
#include "media/frame_timeline.h"
#include "pipeline/source_open.h"
#include "qorix/qorix_source.h"
#include "rawzip/archive_member.h"
#include "rawzip/archive_state.h"
#include "rawzip/zip_recovery.h"

namespace tool {

namespace {

using namespace qx;

std::string TagText(uint32_t tag) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) text[size_t(i)] = char(tag >> (8 * i));
  return text;
}

const char* ChunkName(uint32_t tag) {
  switch (tag) {
    case kTagHeader:
      return "recording headers";
    case kTagTable:
      return "decoding tables";
    case kTagFrame:
      return "frames";
    case kTagMetadata:
      return "frame metadata";
    case kTagBlob:
      return "blobs";
    case kTagSound:
      return "sound";
    case kTagMotion:
      return "motion sensor";
    case kTagPeriodicIndex:
      return "periodic indexes";
    case kTagWholeIndex:
      return "index of the file";
    case kTagTrailer:
      return "trailer";
    default:
      return "unknown";
  }
}

// Gaps in the numbers of the frames that are there: frames which were recorded between them.
int64_t LostBetweenFrames(const RecordingScan& scan) {
  int64_t lost = 0;
  for (size_t i = 1; i < scan.frames.size(); ++i) {
    lost += std::max<int64_t>(0, int64_t(scan.frames[i].key) - int64_t(scan.frames[i - 1].key) - 1);
  }
  return lost;
}

// The readers' messages say some things in numbers.
std::string InWords(std::string message) {
  struct Row {
    const char* number;
    const char* words;
  };
  const auto replaceEnd = [&message](const std::string& end, const std::string& words) {
    if (message.ends_with(end)) message.replace(message.size() - end.size(), end.size(), words);
  };
  for (int code = kZipOutOfMemory; code <= kZipOk; ++code) {
    replaceEnd(fmt::format("not read ({})", code), fmt::format("not read: {}", MemberFailureText(code)));
  }
  for (const Row& row : {Row{"(state 0)", "(there is none)"}, Row{"(state -1)", "(it cannot be read)"},
                         Row{"(state -2)", "(it does not name the frames that are there)"}, Row{"(state -3)", "(its time stamps repeat)"},
                         Row{"(state -4)", "(the frames' own time codes contradict it)"}}) {
    replaceEnd(row.number, row.words);
  }
  return message;
}

// "frame 13: …" loses its number where the number stands before it anyway.
std::string WithoutFrameNumber(const std::string& message, int32_t frame) {
  for (const std::string& prefix : {fmt::format("frame {}: ", frame), fmt::format("frame {} ", frame)}) {
    if (message.starts_with(prefix)) return message.substr(prefix.size());
  }
  return message;
}

void DescribeRecording(SourceTimeline& source, Health* health) {
  QorixState& state = qorix_state(source);
  const RecordingScan& scan = state.scan;
  health->kind = ".qorix RAW" + (state.levelName.empty() ? "" : " " + state.levelName);
  const bool throughIndex = scan.openState == OpenState::kWholeIndex;
  health->openState = throughIndex      ? "closed properly, opened through its index"
                      : WasClosed(scan) ? "closed properly, but its index cannot be used: found by searching the file"
                                        : "not closed properly: found by searching the file";
  std::map<uint32_t, uint64_t> counts;
  for (const ChunkRecord& record : scan.records) ++counts[record.tag];
  for (const auto& [tag, count] : counts) health->chunks.emplace_back(fmt::format("{} {}", TagText(tag), ChunkName(tag)), count);
  FileAreas areas = SortAreas(scan);
  health->damagedAreas = std::move(areas.damaged);
  health->foreignAreas = std::move(areas.foreign);
  health->foreignChunks = areas.foreignChunks;
  health->crcMismatches = scan.counters.crcMismatches;
  health->unverifiedEntries = scan.unverified.size();
  health->lost = state.framesLostHere;
  health->missing = std::max<int64_t>(0, source.missingFrames - LostBetweenFrames(scan));
  health->truncated = state.truncatedFrames;
  health->repeated = source.duplicates;
  if (scan.sessionByVote) health->notes.push_back("no header or index names the session: the one with the most chunks was taken");
  if (!scan.warning.empty()) health->notes.push_back(scan.warning);
  if (!state.firstFrameMessage.empty()) health->notes.push_back(state.firstFrameMessage);
  if (throughIndex && scan.unverified.empty() && health->damagedAreas.empty()) return;
  health->reindex = fmt::format("a new index and trailer would list {} chunks with {} frames", scan.records.size(), scan.frames.size());
}

// Members behind a damaged record of the directory are not opened. A copy that ends before the directory is opened by its members' own
// headers instead.
void DescribeShortDirectory(const ZipArchive& zip, Health* health) {
  const uint64_t unlisted = zip.declaredCount - std::min<uint64_t>(zip.declaredCount, zip.entries.size());
  if (unlisted == 0) return;
  health->openState = fmt::format("directory damaged: {} of its {} members cannot be found through it", unlisted, zip.declaredCount);
  health->unverifiedEntries += unlisted;
  ZipArchive walked;
  walked.file = zip.file;
  walked.fileSize = zip.fileSize;
  MessageBuffer<256> unused;
  if (RecoverZipEntries(&walked, unused) != 0 || walked.entries.size() <= zip.entries.size()) return;
  health->reindex =
      fmt::format("a copy of the first {} bytes, without the directory, opens with {} members", zip.directoryOffset, walked.entries.size());
}

void DescribeArchive(SourceTimeline& source, Health* health) {
  const ArchiveState& state = archive_state(source);
  health->kind = "CinemaDNG RAW-ZIP";
  health->openState = state.zip.recovered ? "no usable directory: rebuilt from the members themselves" : "directory whole";
  std::map<std::string, uint64_t> counts;
  for (const ZipEntry& entry : state.zip.entries) ++counts[zip_method_name(entry.method)];
  for (const auto& [method, count] : counts) health->chunks.emplace_back("members, " + method, count);
  if (state.zip.recovered && state.zip.directoryOffset < state.zip.fileSize) {
    health->damagedAreas.emplace_back(state.zip.directoryOffset, state.zip.fileSize);
  }
  health->missing = source.missingFrames;
  health->repeated = source.duplicates;
  health->truncated = source.emptyFrames + (state.zip.cutOffName.ends_with(".dng") ? 1 : 0);
  if (!source.openMessage.empty()) health->notes.push_back(source.openMessage);
  if (!source.indexNote.empty()) health->notes.push_back(InWords(source.indexNote));
  if (!source.numberingNote.empty()) health->notes.push_back(InWords(source.numberingNote));
  if (source.indexState < 0) ++health->unverifiedEntries;
  DescribeShortDirectory(state.zip, health);
  if (state.zip.recovered)
    health->reindex = fmt::format("a new directory would list {} members with {} frames", state.zip.entries.size(), source.frames.size());
}

// Players do not look at the checksums of members. `raw` holds the member as it was read.
bool HasWrongChecksum(SourceTimeline& source, int32_t frame, const RawFrame& raw) {
  const ZipEntry& entry = archive_state(source).EntryOf(source.frames[size_t(frame)]);
  const bool recorded = entry.crc32 != 0;
  return recorded && libdeflate_crc32(0, raw.memberBuffer.data(), size_t(entry.uncompressedSize)) != entry.crc32;
}

void DecodeFrames(FrameSource* frames, SourceTimeline& source, const HealthProgress& progress, Health* health) {
  RawFrame raw;
  const int32_t count = frames->FrameCount();
  for (int32_t i = 0; i < count; ++i) {
    FrameFault fault{.frame = i};
    const bool isRead = frames->ReadFrame(i, &raw, kReadUnpacked) == 0;
    if (!isRead) fault.message = WithoutFrameNumber(InWords(frames->LastMessage()), i);
    if (!health->isQorix) {
      fault.wrongChecksum = isRead && HasWrongChecksum(source, i, raw);
    } else {
      const QorixReadStats stats = qorix_read_stats(*frames);
      fault.badSlices = stats.badSlices;
      fault.substitutedSlices = stats.substitutedSlices;
    }
    if (fault.badSlices > 0 || fault.wrongChecksum || !fault.message.empty()) health->frameFaults.push_back(fault);
    ++health->framesChecked;
    progress(size_t(i) + 1, size_t(count));
  }
}

}  // namespace

Verdict Health::verdict() const {
  if (!opened) return Verdict::kNotOpened;
  if (!reason.empty() ||
      (framesChecked > 0 && framesChecked == int64_t(std::count_if(frameFaults.begin(), frameFaults.end(),
                                                                   [](const FrameFault& f) { return !f.message.empty(); })))) {
    return Verdict::kUnreadable;
  }
  const bool whole = reindex.empty() && damagedAreas.empty() && frameFaults.empty() && crcMismatches == 0 && unverifiedEntries == 0 &&
                     lost == 0 && truncated == 0 && repeated == 0 && sound.faults() == 0;
  return whole ? Verdict::kWhole : Verdict::kDamaged;
}

void NoteWrongName(const std::string& path, Health* health) {
  if (health->kind.empty()) return;
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  const char* const right = health->isQorix ? ".qorix" : ".zip";
  const char* const other = health->isQorix ? ".zip" : ".qorix";
  if (extension == right) return;
  health->notes.push_back(extension == other
                              ? fmt::format("the name ends in {}, but this is a {}: an editing host does not open it before it is renamed",
                                            other, health->isQorix ? ".qorix recording" : "RAW-ZIP archive")
                              : fmt::format("the name does not end in {}: an editing host does not offer it to the plug-in", right));
}

Health CheckHealth(const ByteSource& file, bool decode, const HealthProgress& progress) {
  Health health;
  SourceTimeline source;
  MessageBuffer<512> message;
  FrameTimeline timeline;
  FrameSourcePtr frames;
  if (source_timeline_open(&source, file, message) != 0 || frame_timeline_build(&timeline, source, message) != 0) {
    health.reason = message.text();
    return health;
  }
  const bool isQorix = source.kind == ContainerKind::kQorix;
  health.isQorix = isQorix;
  isQorix ? DescribeRecording(source, &health) : DescribeArchive(source, &health);
  health.frames = int64_t(source.frames.size());
  health.slots = timeline.length;
  health.sound = DescribeSound(source, timeline);
  if (frame_source_open(&frames, file, message) != 0) {
    health.reason = message.text();
    return health;
  }
  if (decode) DecodeFrames(frames.get(), source, progress, &health);
  return health;
}

}  // namespace tool
