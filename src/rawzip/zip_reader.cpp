#include "rawzip/zip_reader.h"

#include <algorithm>
#include <optional>

#include "base/checked.h"
#include "rawzip/zip_format.h"
#include "rawzip/zip_recovery.h"

namespace qx {

namespace {

constexpr uint64_t kEndRecordSize = 22;
constexpr uint64_t kZip64LocatorSize = 20;
constexpr uint64_t kZip64EndRecordSize = 56;
constexpr uint64_t kLongestTail = 65535 + kEndRecordSize + kZip64LocatorSize;  // the longest comment, its record, the locator before it
constexpr uint64_t kLargestDirectory = 0x80000000;

using ULongLong = unsigned long long;  // what %llu takes

/// What the end-of-central-directory record says, or its ZIP64 form where there is one.
struct DirectoryPlace {
  uint64_t count = 0, size = 0, offset = 0;
};

// Index of the end record in the last bytes of the file. It counts only when its comment reaches exactly to the end of the file: four equal
// bytes inside a comment or a member are then not taken for it.
std::optional<size_t> FindEndRecord(Bytes tail) {
  for (size_t commentLength = 0; commentLength + kEndRecordSize <= tail.size(); ++commentLength) {
    const size_t at = tail.size() - kEndRecordSize - commentLength;
    if (LoadU32Le(&tail[at]) == kZipEndRecord && LoadU16Le(&tail[at + 20]) == commentLength) return at;
  }
  return std::nullopt;
}

// The ZIP64 end record that a locator right before the end record (at `endIndex` of the tail) points to. Absent when anything is odd.
std::optional<DirectoryPlace> ReadZip64Place(const ByteSource& file, Bytes tail, size_t endIndex) {
  if (endIndex < kZip64LocatorSize) return std::nullopt;
  const uint8_t* locator = &tail[endIndex - kZip64LocatorSize];
  if (LoadU32Le(locator) != kZip64Locator) return std::nullopt;
  const uint64_t offset = LoadU64Le(locator + 8);
  uint8_t record[kZip64EndRecordSize];
  if (!RangeFits(offset, sizeof(record), file.size()) || !file.ReadExactly(offset, record, sizeof(record))) return std::nullopt;
  if (LoadU32Le(record) != kZip64EndRecord) return std::nullopt;
  return DirectoryPlace{.count = LoadU64Le(record + 32), .size = LoadU64Le(record + 40), .offset = LoadU64Le(record + 48)};
}

// Takes comment and ZIP64 flag into the archive.
std::optional<DirectoryPlace> LocateDirectory(ZipArchive* archive, Bytes tail) {
  const std::optional<size_t> endIndex = FindEndRecord(tail);
  if (!endIndex) return std::nullopt;
  const Bytes record = tail.subspan(*endIndex);
  const Bytes comment = record.subspan(kEndRecordSize);
  archive->comment.assign(comment.begin(), comment.end());
  if (const auto zip64 = ReadZip64Place(*archive->file, tail, *endIndex)) {
    archive->zip64 = true;
    return zip64;
  }
  return DirectoryPlace{.count = LoadU16Le(&record[10]), .size = LoadU32Le(&record[12]), .offset = LoadU32Le(&record[16])};
}

// False where the directory ends or a record is cut off.
bool ReadCentralRecord(ByteReader* directory, ZipEntry* entry) {
  if (directory->remaining() < kZipCentralRecordSize || directory->U32Le() != kZipCentralRecord) return false;
  directory->Skip(4);  // versions
  entry->flags = directory->U16Le();
  entry->method = directory->U16Le();
  directory->Skip(4);  // time and date
  entry->crc32 = directory->U32Le();
  entry->compressedSize = directory->U32Le();
  entry->uncompressedSize = directory->U32Le();
  const uint16_t nameLength = directory->U16Le();
  const uint16_t extraLength = directory->U16Le();
  const uint16_t commentLength = directory->U16Le();
  directory->Skip(8);  // disk, attributes
  entry->localHeaderOffset = directory->U32Le();
  const Bytes name = directory->Take(nameLength);
  const Bytes extra = directory->Take(extraLength);
  directory->Skip(commentLength);
  if (!directory->ok()) return false;
  entry->name.assign(name.begin(), name.end());
  ApplyZip64Extra(extra, &entry->uncompressedSize, &entry->compressedSize, &entry->localHeaderOffset);
  return true;
}

// False when memory is short. The declared count reserves no more entries than the directory has room for.
bool ReadRecords(ZipArchive* archive, Bytes directory, uint64_t declaredCount) {
  ByteReader records(directory);
  const uint64_t expected = std::min<uint64_t>(declaredCount, directory.size() / kZipCentralRecordSize);
  return CollectEntries(archive, expected, [&records](ZipEntry* entry) { return ReadCentralRecord(&records, entry); });
}

// True when the directory gave at least one entry. The message may hold a warning in both cases.
bool ReadDirectory(ZipArchive* archive, const DirectoryPlace& place, Message message) {
  if (place.size > kLargestDirectory || !RangeFits(place.offset, place.size, archive->fileSize)) {
    message.Set("central directory outside the file (%llu+%llu > %llu)", ULongLong(place.offset), ULongLong(place.size),
                ULongLong(archive->fileSize));
    return false;
  }
  GrowBuffer<uint8_t> directory;
  if (!directory.Reserve(place.size + 1)) return false;
  if (!archive->file->ReadExactly(place.offset, directory.data(), place.size)) {
    message.Set("central directory not read");
    return false;
  }
  if (!ReadRecords(archive, directory.first(size_t(place.size)), place.count)) return false;
  if (archive->entries.size() != place.count) {
    message.Set("the directory has %d records of %llu declared", int(archive->entries.size()), ULongLong(place.count));
  }
  archive->directoryOffset = place.offset;
  archive->declaredCount = place.count;
  return !archive->entries.empty();
}

}  // namespace

int zip_open(ZipArchive* archive, const ByteSource& file, Message message) {
  *archive = ZipArchive{};
  message.Clear();
  archive->file = &file;
  archive->fileSize = file.size();
  if (archive->fileSize < kZipLocalHeaderSize) return message.Fail("file too small (%llu bytes)", ULongLong(archive->fileSize));

  const uint64_t tailSize = std::min(archive->fileSize, kLongestTail);
  GrowBuffer<uint8_t> tail;
  if (!tail.Reserve(tailSize) || !file.ReadExactly(archive->fileSize - tailSize, tail.data(), tailSize)) {
    return message.Fail("error reading the end of the file");
  }
  const std::optional<DirectoryPlace> place = LocateDirectory(archive, tail.first(size_t(tailSize)));
  if (place && ReadDirectory(archive, *place, message)) return 0;
  return RecoverZipEntries(archive, message);
}

void zip_close(ZipArchive* archive) {
  *archive = ZipArchive{};
}

}  // namespace qx
