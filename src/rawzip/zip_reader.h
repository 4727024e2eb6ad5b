// ZIP archives written by a phone while it records: directory, ZIP64, recovery of cut-off files, members read into memory.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_source.h"
#include "base/grow_buffer.h"
#include "base/message.h"

struct ZSTD_DCtx_s;
struct libdeflate_decompressor;

namespace qx {

struct ZipEntry {
  std::string name;  // exactly as stored
  uint16_t method = 0;
  uint16_t flags = 0;
  uint32_t crc32 = 0;  // of the uncompressed data as recorded, 0: not recorded
  uint64_t compressedSize = 0, uncompressedSize = 0;
  uint64_t localHeaderOffset = 0;
  uint64_t dataOffset = 0;  // 0 until resolved, then cached
};

/// Filled by zip_open. The byte source is not owned and must outlive the archive. One user at a time (data offsets are cached).
struct ZipArchive {
  const ByteSource* file = nullptr;
  uint64_t fileSize = 0;
  std::vector<ZipEntry> entries;  // in the order of the directory, or of the walk
  std::string comment;
  bool recovered = false;  // the table was rebuilt from local headers
  bool zip64 = false;
  uint64_t directoryOffset = 0;  // after a walk: where it stopped
  uint64_t declaredCount = 0;    // entries that the directory should have; 0 after a walk
  bool cutOff = false;           // the walk stopped inside a member
  std::string cutOffName;        // of that member, as far as it is there
  int32_t compressedCount = 0;   // entries whose method is not STORE
};

enum ZipResult : int32_t {
  kZipOk = 0,
  kZipReadFailed = -1,
  kZipUnsupportedMethod = -2,
  kZipCorrupt = -3,
  kZipSizeMismatch = -4,
  kZipOutOfMemory = -5,
};

/// Buffers and decoder contexts that reads reuse; one reader at a time.
struct ZipReadScratch {
  ZipReadScratch() = default;
  ~ZipReadScratch();
  ZipReadScratch(const ZipReadScratch&) = delete;
  ZipReadScratch& operator=(const ZipReadScratch&) = delete;

  GrowBuffer<uint8_t> buffer;  // compressed data of the last member
  ZSTD_DCtx_s* zstdContext = nullptr;
  libdeflate_decompressor* deflateContext = nullptr;
  double readMs = 0, decodeMs = 0;  // of the last read
  uint64_t bytesRead = 0;
};

/// Reads the central directory, or rebuilds the table from the local headers when the directory is missing or useless (`recovered`).
/// 0, or -1 with a message and no entries. On 0 the message may hold a warning (and is empty otherwise):
/// "the directory has %d records of %llu declared", "central directory outside the file (%llu+%llu > %llu)", "central directory not read".
/// Time and memory are linear in the size of the directory, or of the file when it is walked.
[[nodiscard]] int zip_open(ZipArchive* archive, const ByteSource& file, Message message);
/// Forgets everything; the byte source stays open.
void zip_close(ZipArchive* archive);

/// Offset of a member's data, 0 when its local header is bad, its data would pass the end of the file, or the index is outside the table.
uint64_t zip_entry_data_offset(ZipArchive* archive, int32_t index);

/// Reads a whole member into `destination`: its uncompressed size, or a negative ZipResult. The CRC is not checked. A failed read leaves
/// the first `capacity` bytes undefined, the archive as it was, and the scratch usable.
///
/// `uncompressedSize` is what the archive claims and nothing bounds it: before making a buffer of that size, the caller compares it with
/// the most that this kind of member may have. (The compressed size is checked here against the file.)
[[nodiscard]] int64_t zip_read_entry(ZipArchive* archive, int32_t index, uint8_t* destination, uint64_t capacity, ZipReadScratch* scratch);

/// Constant texts; "?" for what they do not know.
const char* zip_result_text(int64_t code);
const char* zip_method_name(uint16_t method);
/// Frees buffer and decoder contexts; the scratch can be used again.
void zip_scratch_free(ZipReadScratch* scratch);

}  // namespace qx
