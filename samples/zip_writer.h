// A streaming ZIP writer: members go out as they come and nothing is ever written twice, the way a phone records. It can also write the odd
// forms that such recordings have (data descriptors, sizes unknown in the local header, ZIP64, no directory because the phone died).
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qx {

/// Takes the archive's bytes in order; false when they could not be written.
using ZipSink = std::function<bool(std::span<const uint8_t>)>;

/// Sinks that append to a vector or write to a stream, which must outlive the writer.
ZipSink ZipSinkTo(std::vector<uint8_t>* bytes);
ZipSink ZipSinkTo(std::ostream* stream);

enum class ZipMethod : uint16_t { kStore = 0, kDeflate = 8, kZstd = 93 };

/// What follows a member's data. With a descriptor the local header has no CRC: it is written before the data.
enum class ZipDescriptor { kNone, kSigned, kUnsigned };

/// Which sizes the local header of a member with a descriptor has; a size that is not known is 0 there.
enum class ZipLocalSizes { kBoth, kUncompressedOnly, kNone };

struct ZipMemberOptions {
  ZipMethod method = ZipMethod::kStore;
  int level = 0;  // of the compressor, 0: its default
  ZipDescriptor descriptor = ZipDescriptor::kNone;
  ZipLocalSizes localSizes = ZipLocalSizes::kBoth;  // looked at only with a descriptor
  bool forceZip64 = false;                          // 64-bit sizes (descriptor included) where 32 bits would do
  std::vector<uint8_t> extra = {};                  // further extra-field items for the local header, ready encoded
};

/// A member that is compressed already, or whose fields shall say something else than the truth.
struct ZipRawMember {
  uint16_t method = 0;
  std::span<const uint8_t> data;  // as it goes into the archive
  uint64_t uncompressedSize = 0;
  uint32_t crc32 = 0;
};

struct ZipFinishOptions {
  std::string_view comment = {};  // at most 65,535 bytes
  bool forceZip64 = false;        // a ZIP64 end record where the plain one would do
};

/// Writes one archive. Memory: the compressed form of the current member (kept for the next one) and one directory record a member.
/// A writer that is destroyed without Finish() leaves an archive without a directory, like a recording that was cut off between two
/// members. Time stamps are 1980-01-01, so equal input gives equal bytes. One thread.
class ZipWriter {
 public:
  explicit ZipWriter(ZipSink sink);
  ~ZipWriter();
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;

  /// Compresses and writes one member. False when the sink or a compressor failed (now or before), or the name is longer than 65,535 bytes.
  bool Add(std::string_view name, std::span<const uint8_t> data, const ZipMemberOptions& options = {});
  /// Writes one member as it is. The method and level of `options` are not used.
  bool AddRaw(std::string_view name, const ZipRawMember& member, const ZipMemberOptions& options = {});

  /// Writes the central directory and the end record (ZIP64 ones too when a value needs them). The writer takes no members afterwards.
  bool Finish(const ZipFinishOptions& options = {});

  /// Bytes written so far: where the next local header, or the directory, will be.
  uint64_t offset() const { return offset_; }
  uint64_t memberCount() const { return memberCount_; }
  bool ok() const { return ok_; }

 private:
  class Compressors;
  struct Layout;

  bool Put(std::span<const uint8_t> bytes);
  void PutDescriptor(const ZipRawMember& member, const Layout& layout);
  void AppendDirectoryRecord(std::string_view name, const ZipRawMember& member, const Layout& layout, uint64_t headerOffset);

  ZipSink sink_;
  std::unique_ptr<Compressors> compressors_;
  std::vector<uint8_t> directory_;  // central records, ready encoded
  uint64_t offset_ = 0;
  uint64_t memberCount_ = 0;
  bool ok_ = true;
  bool finished_ = false;
};

}  // namespace qx
