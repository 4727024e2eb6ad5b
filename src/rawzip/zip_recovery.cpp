#include "rawzip/zip_recovery.h"

#include <algorithm>
#include <optional>

#include "base/checked.h"
#include "rawzip/read_ahead.h"
#include "rawzip/zip_format.h"
#include "rawzip/zip_member_end.h"

namespace qx {

namespace {

class LocalHeaderWalk {
 public:
  explicit LocalHeaderWalk(const ByteSource& file) : file_(file), ends_(&file_) {}

  [[nodiscard]] bool Allocate() { return file_.Allocate(); }
  /// Where the next local header is expected.
  uint64_t position() const { return position_; }
  /// Whether a member begins at position() that Next() refused, and its name as far as it is there.
  bool StopsInsideMember(std::string* name);
  /// Reads the member at position() and moves behind it; false, without moving, where there is no whole member.
  bool Next(ZipEntry* entry);

 private:
  bool ReadHeader(ZipEntry* entry);
  bool ResolveCompressedSize(ZipEntry* entry);
  uint64_t SkipDescriptor(ZipEntry* entry);

  ReadAhead file_;
  ZipMemberEndFinder ends_;
  uint64_t position_ = 0;
  bool zip64_ = false;      // of the current member: its descriptor has 64-bit sizes
  bool sizeFound_ = false;  // of the current member: the size comes from its descriptor
};

bool LocalHeaderWalk::Next(ZipEntry* entry) {
  if (!ReadHeader(entry) || !ResolveCompressedSize(entry)) return false;
  if (!RangeFits(entry->dataOffset, entry->compressedSize, file_.fileSize())) return false;
  const bool hasDescriptor = (entry->flags & kZipHasDescriptor) != 0;
  position_ = hasDescriptor ? SkipDescriptor(entry) : entry->dataOffset + entry->compressedSize;
  return true;
}

bool LocalHeaderWalk::StopsInsideMember(std::string* name) {
  ByteReader header(file_.From(position_, kZipLocalHeaderSize));
  if (header.U32Le() != kZipLocalHeader) return false;
  header.Skip(22);
  const uint64_t nameLength = header.U16Le();
  if (!header.ok()) return true;
  const Bytes present = file_.From(position_ + kZipLocalHeaderSize, nameLength);
  name->assign(present.begin(), present.begin() + ptrdiff_t(std::min<uint64_t>(nameLength, present.size())));
  return true;
}

bool LocalHeaderWalk::ReadHeader(ZipEntry* entry) {
  ByteReader header(file_.From(position_, kZipLocalHeaderSize));
  if (header.U32Le() != kZipLocalHeader) return false;
  header.Skip(2);  // version
  entry->flags = header.U16Le();
  entry->method = header.U16Le();
  header.Skip(4);  // time and date
  entry->crc32 = header.U32Le();
  entry->compressedSize = header.U32Le();
  entry->uncompressedSize = header.U32Le();
  const uint64_t nameLength = header.U16Le();
  const uint64_t extraLength = header.U16Le();
  if (!header.ok()) return false;

  const uint64_t nameOffset = position_ + kZipLocalHeaderSize;
  ByteReader tail(file_.From(nameOffset, nameLength + extraLength));
  const Bytes name = tail.Take(nameLength);
  const Bytes extra = tail.Take(extraLength);
  if (!tail.ok()) return false;
  entry->name.assign(name.begin(), name.end());
  entry->localHeaderOffset = position_;
  entry->dataOffset = nameOffset + nameLength + extraLength;
  zip64_ = ApplyZip64Extra(extra, &entry->uncompressedSize, &entry->compressedSize, nullptr);
  return true;
}

bool LocalHeaderWalk::ResolveCompressedSize(ZipEntry* entry) {
  sizeFound_ = false;
  if (entry->compressedSize != 0 || entry->uncompressedSize == 0) return true;
  if (entry->method == kZipStore) {
    entry->compressedSize = entry->uncompressedSize;
    return true;
  }
  if ((entry->flags & kZipHasDescriptor) == 0) return false;
  const bool zstd = entry->method == kZipZstd;
  const std::optional<MemberEnd> end = ends_.Find({entry->dataOffset, entry->uncompressedSize, zstd, zip64_});
  if (!end) return false;
  entry->compressedSize = end->compressedSize;
  entry->crc32 = end->crc32;
  sizeFound_ = true;
  return true;
}

// The offset behind the descriptor. Its signature is optional; with one, the CRC there is worth taking (the local header was written
// first).
uint64_t LocalHeaderWalk::SkipDescriptor(ZipEntry* entry) {
  const uint64_t at = entry->dataOffset + entry->compressedSize;
  ByteReader start(file_.From(at, 8));
  const bool hasSignature = start.remaining() >= 8 && start.U32Le() == kZipDescriptor;
  if (hasSignature && !sizeFound_) entry->crc32 = start.U32Le();
  return at + (hasSignature ? 4 : 0) + (zip64_ ? 20 : 12);
}

}  // namespace

int RecoverZipEntries(ZipArchive* archive, Message message) {
  archive->entries = {};
  archive->compressedCount = 0;
  archive->declaredCount = 0;
  LocalHeaderWalk walk(*archive->file);
  const bool complete = walk.Allocate() && CollectEntries(archive, 0, [&walk](ZipEntry* entry) { return walk.Next(entry); });
  if (!complete) archive->entries = {};
  if (archive->entries.empty()) return message.Fail("not ZIP or no whole record");
  archive->recovered = true;
  archive->directoryOffset = walk.position();
  archive->cutOff = walk.StopsInsideMember(&archive->cutOffName);
  return 0;
}

}  // namespace qx
