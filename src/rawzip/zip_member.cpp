// Members of an archive: where their data begins, and their bytes in memory.
#include <libdeflate.h>
#include <zstd.h>
#include <zstd_errors.h>

#include "base/byte_reader.h"
#include "base/checked.h"
#include "platform/clock.h"
#include "rawzip/zip_format.h"
#include "rawzip/zip_reader.h"

namespace qx {

namespace {

constexpr uint64_t kLargestCompressedMember = uint64_t(1) << 40;

ZipEntry* EntryAt(ZipArchive* archive, int32_t index) {
  return index >= 0 && size_t(index) < archive->entries.size() ? &archive->entries[size_t(index)] : nullptr;
}

// True when all `count` bytes came. Notes time and bytes in the scratch.
bool TimedRead(const ByteSource& file, uint64_t offset, uint8_t* out, uint64_t count, ZipReadScratch* scratch) {
  const double start = MonotonicMs();
  scratch->bytesRead = file.ReadAt(offset, out, count);
  scratch->readMs = MonotonicMs() - start;
  return scratch->bytesRead == count;
}

int64_t Inflate(Bytes compressed, std::span<uint8_t> out, ZipReadScratch* scratch) {
  if (scratch->deflateContext == nullptr) scratch->deflateContext = libdeflate_alloc_decompressor();
  if (scratch->deflateContext == nullptr) return kZipOutOfMemory;
  // Without a place for the actual size, libdeflate takes the output size as exact.
  switch (libdeflate_deflate_decompress(scratch->deflateContext, compressed.data(), compressed.size(), out.data(), out.size(), nullptr)) {
    case LIBDEFLATE_SUCCESS:
      return int64_t(out.size());
    case LIBDEFLATE_BAD_DATA:
      return kZipCorrupt;
    default:
      return kZipSizeMismatch;
  }
}

int64_t DecompressZstd(Bytes compressed, std::span<uint8_t> out, ZipReadScratch* scratch) {
  if (scratch->zstdContext == nullptr) scratch->zstdContext = ZSTD_createDCtx();
  if (scratch->zstdContext == nullptr) return kZipOutOfMemory;
  const size_t produced = ZSTD_decompressDCtx(scratch->zstdContext, out.data(), out.size(), compressed.data(), compressed.size());
  if (ZSTD_isError(produced)) return ZSTD_getErrorCode(produced) == ZSTD_error_dstSize_tooSmall ? kZipSizeMismatch : kZipCorrupt;
  return produced == out.size() ? int64_t(produced) : int64_t(kZipSizeMismatch);
}

int64_t ReadCompressed(const ByteSource& file, const ZipEntry& entry, std::span<uint8_t> out, ZipReadScratch* scratch) {
  if (entry.compressedSize > kLargestCompressedMember) return kZipSizeMismatch;
  GrowBuffer<uint8_t>& buffer = scratch->buffer;
  if (buffer.capacity() < entry.compressedSize || buffer.data() == nullptr) {
    // Room to spare, so that a clip of similar frames allocates once.
    if (!buffer.Reserve(entry.compressedSize + entry.compressedSize / 16 + 4096)) return kZipOutOfMemory;
  }
  if (!TimedRead(file, entry.dataOffset, buffer.data(), entry.compressedSize, scratch)) return kZipReadFailed;

  const Bytes compressed = buffer.first(size_t(entry.compressedSize));
  const double start = MonotonicMs();
  const int64_t result = entry.method == kZipDeflate ? Inflate(compressed, out, scratch) : DecompressZstd(compressed, out, scratch);
  scratch->decodeMs = MonotonicMs() - start;
  return result;
}

}  // namespace

uint64_t zip_entry_data_offset(ZipArchive* archive, int32_t index) {
  ZipEntry* entry = EntryAt(archive, index);
  if (entry == nullptr) return 0;
  if (entry->dataOffset != 0) return entry->dataOffset;
  uint8_t header[kZipLocalHeaderSize];
  if (!RangeFits(entry->localHeaderOffset, sizeof(header), archive->fileSize)) return 0;
  if (!archive->file->ReadExactly(entry->localHeaderOffset, header, sizeof(header)) || LoadU32Le(header) != kZipLocalHeader) return 0;
  // The directory's copies of these two lengths may differ from the local ones.
  const uint64_t nameLength = LoadU16Le(header + 26), extraLength = LoadU16Le(header + 28);
  const uint64_t dataOffset = entry->localHeaderOffset + kZipLocalHeaderSize + nameLength + extraLength;
  if (!RangeFits(dataOffset, entry->compressedSize, archive->fileSize)) return 0;
  entry->dataOffset = dataOffset;
  return dataOffset;
}

int64_t zip_read_entry(ZipArchive* archive, int32_t index, uint8_t* destination, uint64_t capacity, ZipReadScratch* scratch) {
  scratch->readMs = scratch->decodeMs = 0;
  scratch->bytesRead = 0;
  if (zip_entry_data_offset(archive, index) == 0) return kZipReadFailed;
  const ZipEntry& entry = archive->entries[size_t(index)];
  if (entry.uncompressedSize > capacity) return kZipSizeMismatch;
  const std::span<uint8_t> out(destination, size_t(entry.uncompressedSize));
  switch (entry.method) {
    case kZipStore:
      if (entry.compressedSize != entry.uncompressedSize) return kZipSizeMismatch;
      return TimedRead(*archive->file, entry.dataOffset, out.data(), out.size(), scratch) ? int64_t(out.size()) : int64_t(kZipReadFailed);
    case kZipDeflate:
    case kZipZstd:
      return ReadCompressed(*archive->file, entry, out, scratch);
    default:
      return kZipUnsupportedMethod;
  }
}

const char* zip_result_text(int64_t code) {
  switch (code) {
    case kZipOk:
      return "OK";
    case kZipReadFailed:
      return "record not read completely";
    case kZipUnsupportedMethod:
      return "ZIP compression method not supported (only STORE, DEFLATE, ZSTD)";
    case kZipCorrupt:
      return "compressed record data is corrupt";
    case kZipSizeMismatch:
      return "record size does not match";
    case kZipOutOfMemory:
      return "out of memory";
    default:
      return "?";
  }
}

const char* zip_method_name(uint16_t method) {
  switch (method) {
    case kZipStore:
      return "STORE";
    case kZipDeflate:
      return "DEFLATE";
    case kZipBzip2:
      return "BZIP2";
    case kZipLzma:
      return "LZMA";
    case kZipZstd:
      return "ZSTD";
    default:
      return "?";
  }
}

void zip_scratch_free(ZipReadScratch* scratch) {
  scratch->buffer.Free();
  ZSTD_freeDCtx(scratch->zstdContext);
  libdeflate_free_decompressor(scratch->deflateContext);
  scratch->zstdContext = nullptr;
  scratch->deflateContext = nullptr;
  scratch->readMs = scratch->decodeMs = 0;
  scratch->bytesRead = 0;
}

ZipReadScratch::~ZipReadScratch() {
  zip_scratch_free(this);
}

}  // namespace qx
