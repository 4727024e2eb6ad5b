#include "rawzip/archive_member.h"

#include <algorithm>

#include "base/checked.h"
#include "media/dng_parser.h"
#include "rawzip/zip_format.h"

namespace qx {

namespace {

/// DEFLATE's longest match gives 258 bytes for two bits (RFC 1951).
constexpr uint64_t kDeflateMaxExpansion = 1032;
/// Zstandard's densest form is a run-length block, four bytes for at most 128 KiB (RFC 8878). Black frames really come near it.
constexpr uint64_t kZstdMaxExpansion = (128 << 10) / 4;
/// Four times a 16-bit frame of 128 megapixels: a compressed member beyond it is no frame.
constexpr uint64_t kMaxExpandedBytes = uint64_t(1) << 30;

bool CanExpandTo(uint64_t compressedSize, uint64_t uncompressedSize, uint64_t maxExpansion) {
  return uncompressedSize <= std::min(CheckedMul(compressedSize, maxExpansion).value_or(UINT64_MAX), kMaxExpandedBytes);
}

ZipResult CheckMember(ArchiveState& archive, int32_t entry) {
  // Besides finding the data, this proves that the compressed bytes lie inside the file.
  if (zip_entry_data_offset(&archive.zip, entry) == 0) return kZipReadFailed;
  const ZipEntry& member = archive.zip.entries[size_t(entry)];
  bool plausible = false;
  switch (member.method) {
    case kZipStore:
      plausible = member.compressedSize == member.uncompressedSize;
      break;
    case kZipDeflate:
      plausible = CanExpandTo(member.compressedSize, member.uncompressedSize, kDeflateMaxExpansion);
      break;
    case kZipZstd:
      plausible = CanExpandTo(member.compressedSize, member.uncompressedSize, kZstdMaxExpansion);
      break;
    default:
      return kZipUnsupportedMethod;
  }
  return plausible ? kZipOk : kZipSizeMismatch;
}

}  // namespace

ZipResult ReserveMember(ArchiveState& archive, int32_t entry, MemberBuffer* buffer) {
  const ZipResult result = CheckMember(archive, entry);
  if (result != kZipOk) return result;
  const uint64_t size = archive.zip.entries[size_t(entry)].uncompressedSize;
  return buffer->Reserve(std::max<uint64_t>(size, 1)) ? kZipOk : kZipOutOfMemory;
}

int64_t ReadMember(ArchiveState& archive, int32_t entry, MemberBuffer* buffer) {
  const ZipResult ready = ReserveMember(archive, entry, buffer);
  if (ready != kZipOk) return ready;
  return ReadReservedMember(archive, entry, buffer);
}

int64_t ReadReservedMember(ArchiveState& archive, int32_t entry, MemberBuffer* buffer) {
  return zip_read_entry(&archive.zip, entry, buffer->data(), buffer->capacity(), &archive.scratch);
}

const char* MemberFailureText(int64_t result) {
  return result < 0 ? zip_result_text(result) : "shorter than the record";
}

bool ReadFrameDng(SourceTimeline& source, int32_t frame, MemberBuffer* buffer, DngInfo* info) {
  const int64_t size = ReadMember(archive_state(source), source.frames[size_t(frame)].entry, buffer);
  if (size > 0) return dng_parse(buffer->first(size_t(size)), info, Message()) == 0;
  dng_free(info);
  return false;
}

}  // namespace qx
