#include "samples/zip_writer.h"

#include <libdeflate.h>
#include <zstd.h>

#include <algorithm>
#include <optional>
#include <ostream>
#include <utility>

namespace qx {

namespace {

constexpr uint32_t kMax32 = 0xFFFFFFFF;
constexpr uint16_t kMax16 = 0xFFFF;
constexpr uint16_t kDescriptorFlag = 1 << 3, kUtf8Flag = 1 << 11;
constexpr uint16_t kDate1980 = 1 << 5 | 1;
constexpr uint16_t kPlainVersion = 20, kZip64Version = 45, kZstdVersion = 63;

/// Little-endian fields, appended one after the other.
class Fields {
 public:
  Fields& U16(uint64_t value) { return Append(value, 2); }
  Fields& U32(uint64_t value) { return Append(value, 4); }
  Fields& U64(uint64_t value) { return Append(value, 8); }
  Fields& Raw(std::span<const uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  Fields& Text(std::string_view text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  Fields& Append(uint64_t value, int count) {
    for (int i = 0; i < count; ++i) bytes_.push_back(uint8_t(value >> (8 * i)));
    return *this;
  }
  std::vector<uint8_t> bytes_;
};

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

uint64_t Clamp32(uint64_t value) {
  return std::min<uint64_t>(value, kMax32);
}
uint64_t Clamp16(uint64_t value) {
  return std::min<uint64_t>(value, kMax16);
}

}  // namespace

/// The compressors of both methods with the buffer that takes their output.
class ZipWriter::Compressors {
 public:
  Compressors() = default;
  Compressors(const Compressors&) = delete;
  Compressors& operator=(const Compressors&) = delete;
  ~Compressors() {
    libdeflate_free_compressor(deflate_);
    ZSTD_freeCCtx(zstd_);
  }

  /// Valid until the next call; absent when the library fails.
  std::optional<std::span<const uint8_t>> Deflate(std::span<const uint8_t> data, int level) {
    constexpr int kDefaultLevel = 6;
    if (level == 0) level = kDefaultLevel;
    if (deflate_ == nullptr || level != deflateLevel_) {
      libdeflate_free_compressor(deflate_);
      deflate_ = libdeflate_alloc_compressor(level);
      deflateLevel_ = level;
    }
    if (deflate_ == nullptr) return std::nullopt;
    output_.resize(libdeflate_deflate_compress_bound(deflate_, data.size()));
    const size_t size = libdeflate_deflate_compress(deflate_, data.data(), data.size(), output_.data(), output_.size());
    if (size == 0) return std::nullopt;
    return std::span<const uint8_t>(output_).first(size);
  }

  std::optional<std::span<const uint8_t>> Zstd(std::span<const uint8_t> data, int level) {
    if (zstd_ == nullptr) zstd_ = ZSTD_createCCtx();
    if (zstd_ == nullptr) return std::nullopt;
    output_.resize(ZSTD_compressBound(data.size()));
    const size_t size = ZSTD_compressCCtx(zstd_, output_.data(), output_.size(), data.data(), data.size(), level);
    if (ZSTD_isError(size)) return std::nullopt;
    return std::span<const uint8_t>(output_).first(size);
  }

 private:
  libdeflate_compressor* deflate_ = nullptr;
  int deflateLevel_ = 0;
  ZSTD_CCtx* zstd_ = nullptr;
  std::vector<uint8_t> output_;
};

/// How one member is laid out, decided before its first byte is written.
struct ZipWriter::Layout {
  Layout(std::string_view name, const ZipRawMember& member, const ZipMemberOptions& options);

  ZipDescriptor descriptor;
  bool zip64;                         // 64-bit sizes
  uint16_t flags, version;            // of both headers
  uint32_t crc32;                     // in the local header
  uint64_t compressed, uncompressed;  // in the local header
};

ZipWriter::Layout::Layout(std::string_view name, const ZipRawMember& member, const ZipMemberOptions& options)
    : descriptor(options.descriptor),
      zip64(options.forceZip64 || member.data.size() >= kMax32 || member.uncompressedSize >= kMax32),
      flags(uint16_t((IsAscii(name) ? 0 : kUtf8Flag) | (descriptor == ZipDescriptor::kNone ? 0 : kDescriptorFlag))),
      version(zip64 ? kZip64Version : kPlainVersion),
      crc32(descriptor == ZipDescriptor::kNone ? member.crc32 : 0),
      compressed(member.data.size()),
      uncompressed(member.uncompressedSize) {
  if (member.method == uint16_t(ZipMethod::kZstd)) version = kZstdVersion;
  if (descriptor == ZipDescriptor::kNone) return;
  if (options.localSizes != ZipLocalSizes::kBoth) compressed = 0;
  if (options.localSizes == ZipLocalSizes::kNone) uncompressed = 0;
}

ZipSink ZipSinkTo(std::vector<uint8_t>* bytes) {
  return [bytes](std::span<const uint8_t> part) {
    bytes->insert(bytes->end(), part.begin(), part.end());
    return true;
  };
}

ZipSink ZipSinkTo(std::ostream* stream) {
  return [stream](std::span<const uint8_t> part) {
    stream->write(reinterpret_cast<const char*>(part.data()), std::streamsize(part.size()));
    return stream->good();
  };
}

ZipWriter::ZipWriter(ZipSink sink) : sink_(std::move(sink)), compressors_(std::make_unique<Compressors>()) {}

ZipWriter::~ZipWriter() = default;

bool ZipWriter::Add(std::string_view name, std::span<const uint8_t> data, const ZipMemberOptions& options) {
  std::optional<std::span<const uint8_t>> packed = data;
  if (options.method == ZipMethod::kDeflate) packed = compressors_->Deflate(data, options.level);
  if (options.method == ZipMethod::kZstd) packed = compressors_->Zstd(data, options.level);
  if (!packed) return ok_ = false;
  return AddRaw(name, {uint16_t(options.method), *packed, data.size(), libdeflate_crc32(0, data.data(), data.size())}, options);
}

bool ZipWriter::AddRaw(std::string_view name, const ZipRawMember& member, const ZipMemberOptions& options) {
  const Layout layout(name, member, options);
  Fields extra;
  if (layout.zip64) extra.U16(1).U16(16).U64(layout.uncompressed).U64(layout.compressed);
  extra.Raw(options.extra);
  if (finished_ || name.size() > kMax16 || extra.bytes().size() > kMax16) return ok_ = false;

  const uint64_t headerOffset = offset_;
  Fields header;
  header.U32(0x04034b50).U16(layout.version).U16(layout.flags).U16(member.method).U16(0).U16(kDate1980).U32(layout.crc32);
  header.U32(layout.zip64 ? kMax32 : layout.compressed).U32(layout.zip64 ? kMax32 : layout.uncompressed);
  header.U16(name.size()).U16(extra.bytes().size()).Text(name).Raw(extra.bytes());
  Put(header.bytes());
  Put(member.data);
  PutDescriptor(member, layout);
  AppendDirectoryRecord(name, member, layout, headerOffset);
  ++memberCount_;
  return ok_;
}

void ZipWriter::PutDescriptor(const ZipRawMember& member, const Layout& layout) {
  if (layout.descriptor == ZipDescriptor::kNone) return;
  Fields fields;
  if (layout.descriptor == ZipDescriptor::kSigned) fields.U32(0x08074b50);
  fields.U32(member.crc32);
  if (layout.zip64) {
    fields.U64(member.data.size()).U64(member.uncompressedSize);
  } else {
    fields.U32(member.data.size()).U32(member.uncompressedSize);
  }
  Put(fields.bytes());
}

void ZipWriter::AppendDirectoryRecord(std::string_view name, const ZipRawMember& member, const Layout& layout, uint64_t headerOffset) {
  // The ZIP64 item holds just the values whose 32-bit fields say 0xFFFFFFFF.
  Fields values;
  if (layout.zip64) values.U64(member.uncompressedSize).U64(member.data.size());
  if (headerOffset >= kMax32) values.U64(headerOffset);
  Fields extra;
  if (!values.bytes().empty()) extra.U16(1).U16(values.bytes().size()).Raw(values.bytes());

  Fields record;
  record.U32(0x02014b50).U16(layout.version).U16(layout.version).U16(layout.flags).U16(member.method).U16(0).U16(kDate1980);
  record.U32(member.crc32).U32(layout.zip64 ? kMax32 : member.data.size()).U32(layout.zip64 ? kMax32 : member.uncompressedSize);
  record.U16(name.size()).U16(extra.bytes().size()).U16(0).U16(0).U16(0).U32(0).U32(Clamp32(headerOffset));
  record.Text(name).Raw(extra.bytes());
  directory_.insert(directory_.end(), record.bytes().begin(), record.bytes().end());
}

bool ZipWriter::Finish(const ZipFinishOptions& options) {
  if (finished_ || options.comment.size() > kMax16) return ok_ = false;
  finished_ = true;
  const uint64_t directoryOffset = offset_;
  const uint64_t directorySize = directory_.size();
  Put(directory_);

  const uint64_t zip64Offset = offset_;
  Fields end;
  if (options.forceZip64 || memberCount_ >= kMax16 || directorySize >= kMax32 || directoryOffset >= kMax32) {
    end.U32(0x06064b50).U64(44).U16(kZip64Version).U16(kZip64Version).U32(0).U32(0);
    end.U64(memberCount_).U64(memberCount_).U64(directorySize).U64(directoryOffset);
    end.U32(0x07064b50).U32(0).U64(zip64Offset).U32(1);
  }
  end.U32(0x06054b50).U16(0).U16(0).U16(Clamp16(memberCount_)).U16(Clamp16(memberCount_));
  end.U32(Clamp32(directorySize)).U32(Clamp32(directoryOffset)).U16(options.comment.size()).Text(options.comment);
  return Put(end.bytes());
}

bool ZipWriter::Put(std::span<const uint8_t> bytes) {
  ok_ = ok_ && (bytes.empty() || sink_(bytes));
  if (ok_) offset_ += bytes.size();
  return ok_;
}

}  // namespace qx
