#include <algorithm>

#include "base/checked.h"
#include "media/dng_parser.h"
#include "rawzip/archive_member.h"
#include "rawzip/archive_source.h"
#include "rawzip/archive_state.h"
#include "rawzip/lj92.h"
#include "rawzip/warp_cache.h"
#include "rawzip/warp_reader.h"

namespace qx {

namespace {

constexpr uint32_t kUncompressed = 1, kLosslessJpeg = 7;

/// No camera has half a billion photosites; beyond it a frame counts as too large for memory.
constexpr uint64_t kMaxFrameSamples = uint64_t(1) << 29;

class ArchiveFrameSource final : public FrameSource {
 public:
  /// 0, or -1 with a message; the source is then of no use.
  [[nodiscard]] int Open(const ByteSource& file, Message message);

  int32_t FrameCount() const override { return int32_t(source_.frames.size()); }
  double FramesPerSecond() const override { return source_.fps; }
  const DngInfo* CameraData() const override;
  [[nodiscard]] int ReadFrame(int32_t frame, RawFrame* out, uint32_t flags) override;
  const char* LastMessage() const override { return message_.text(); }

 private:
  bool FindFallbackCameraData();
  [[nodiscard]] int ReadRecord(int32_t frame, RawFrame* out, Bytes* record);
  void DecideWarp(int32_t frame, RawFrame* out);
  [[nodiscard]] int DescribeSamples(Bytes record, RawFrame* out, uint32_t flags);
  [[nodiscard]] int Unpack(Bytes record, RawFrame* out);
  [[nodiscard]] int DecodeLosslessJpeg(Bytes record, RawFrame* out);

  SourceTimeline source_;
  DngInfo fallback_;  // camera data of a later frame when the first has none
  bool hasFallback_ = false;
  WarpCache warps_;
  MemberBuffer warpReadBuffer_;
  MessageBuffer<256> message_;
};

int ArchiveFrameSource::Open(const ByteSource& file, Message message) {
  if (archive_source_open(&source_, file, kSkipWarpScan, message) < 0) return -1;
  source_.container->CompleteNumbers(source_);
  if (!source_.hasFirstDng && !FindFallbackCameraData()) return message.Fail("no frames in the archive");
  // Without the cache every frame keeps the warp that it carries itself.
  (void)warps_.Reset(FrameCount());
  return 0;
}

bool ArchiveFrameSource::FindFallbackCameraData() {
  MemberBuffer buffer;
  for (int32_t frame = 1; frame < FrameCount() && !hasFallback_; ++frame) {
    hasFallback_ = ReadFrameDng(source_, frame, &buffer, &fallback_);
  }
  return hasFallback_;
}

const DngInfo* ArchiveFrameSource::CameraData() const {
  if (source_.hasFirstDng) return &source_.firstDng;
  return hasFallback_ ? &fallback_ : nullptr;
}

int ArchiveFrameSource::ReadFrame(int32_t frame, RawFrame* out, uint32_t flags) {
  message_.Clear();
  out->hasOwnDng = false;
  out->described = nullptr;
  out->data = {};
  out->samples = nullptr;
  if (frame < 0 || frame >= FrameCount()) return message_.view().Fail("frame %d missing", frame);
  Bytes record;
  if (ReadRecord(frame, out, &record) < 0) return -1;
  out->frame = frame;
  out->timeSeconds = frame_time_seconds(source_, frame);
  out->number = frame_number(source_, frame);
  DecideWarp(frame, out);
  return DescribeSamples(record, out, flags);
}

int ArchiveFrameSource::ReadRecord(int32_t frame, RawFrame* out, Bytes* record) {
  ArchiveState& archive = archive_state(source_);
  const int32_t entry = source_.frames[size_t(frame)].entry;
  int64_t result = ReserveMember(archive, entry, &out->memberBuffer);
  if (result == kZipOutOfMemory) return message_.view().Fail("out of memory");
  if (result == kZipOk) result = ReadReservedMember(archive, entry, &out->memberBuffer);
  if (result < 1) {
    dng_free(&out->dng);
    return message_.view().Fail("frame %d not read (%lld)", frame, static_cast<long long>(result));
  }
  *record = out->memberBuffer.first(size_t(result));
  if (dng_parse(*record, &out->dng, message_) < 0) return -1;
  message_.Clear();
  out->hasOwnDng = true;
  return 0;
}

void ArchiveFrameSource::DecideWarp(int32_t frame, RawFrame* out) {
  out->warp = out->dng.warp;
  out->warpKey = out->warp.valid ? frame : -1;
  out->warpDecided = true;
  if (!warps_.ready()) return;
  if (!warps_.Entered(frame)) warps_.Enter(frame, out->warp);
  const int32_t supplier = warps_.Supplier(frame, [this](int32_t earlier) { return ReadFrameWarp(source_, earlier, &warpReadBuffer_); });
  if (supplier == WarpCache::kNoSupplier || supplier == frame) return;
  warps_.Complete(&out->warp, supplier);
  out->warpKey = supplier;
}

int ArchiveFrameSource::DescribeSamples(Bytes record, RawFrame* out, uint32_t flags) {
  const DngInfo& dng = out->dng;
  const bool plainStrips = dng.contiguous && !dng.stripOffsets.empty() && dng.samplesPerPixel == 1;
  if (dng.compression == kLosslessJpeg) return DecodeLosslessJpeg(record, out);
  if (dng.compression != kUncompressed || !plainStrips) {
    return message_.view().Fail("compression %u, strips %u (contiguous %d) — not supported", dng.compression,
                                uint32_t(dng.stripOffsets.size()), int(dng.contiguous));
  }
  out->described = &dng;
  out->data = record;
  return flags & kReadUnpacked ? Unpack(record, out) : 0;
}

int ArchiveFrameSource::Unpack(Bytes record, RawFrame* out) {
  const DngInfo& dng = out->dng;
  const uint64_t samples = uint64_t(dng.width) * dng.height;
  // Samples are allocated only when the strips hold their bits.
  const uint64_t needed = CheckedMul(dng.bytesPerRow, dng.height).value_or(UINT64_MAX);
  const bool plausible = samples <= kMaxFrameSamples && needed <= std::min<uint64_t>(dng.totalStripBytes, record.size());
  if (!plausible || !out->sampleBuffer.Reserve(samples) || dng_unpack_strips(dng, record, out->sampleBuffer.data()) < 0) {
    return message_.view().Fail("unpacking not supported (bps %u)", dng.bitsPerSample);
  }
  out->samples = out->sampleBuffer.data();
  return 0;
}

int ArchiveFrameSource::DecodeLosslessJpeg(Bytes record, RawFrame* out) {
  const uint64_t samples = uint64_t(out->dng.width) * out->dng.height;
  int result = lj92_check_layout(out->dng);
  // A sample takes a bit at least, so a record that claims more samples than it has bits is not even tried.
  if (result == kLj92Ok && samples / 8 > std::min<uint64_t>(out->dng.totalStripBytes, record.size())) result = kLj92Truncated;
  if (result == kLj92Ok) {
    if (samples > kMaxFrameSamples || !out->sampleBuffer.Reserve(samples)) return message_.view().Fail("out of memory");
    result = lj92_decode_dng(out->dng, record, out->sampleBuffer.data());
  }
  if (result != kLj92Ok) return message_.view().Fail("LJ92: %s", lj92_error_text(result));
  dng_describe_decoded(out->dng, &out->decoded);
  out->described = &out->decoded;
  out->samples = out->sampleBuffer.data();
  out->data = Bytes(reinterpret_cast<const uint8_t*>(out->samples), size_t(samples) * sizeof(uint16_t));
  return 0;
}

}  // namespace

FrameSourcePtr archive_frame_source_open(const ByteSource& file, Message message) {
  auto source = std::make_unique<ArchiveFrameSource>();
  if (source->Open(file, message) < 0) return nullptr;
  return source;
}

}  // namespace qx
