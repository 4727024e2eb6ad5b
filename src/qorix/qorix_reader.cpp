// Reading frames of a `.qorix` recording, with damaged slices filled from the last good frame.
#include <algorithm>
#include <memory>
#include <new>

#include "base/lock.h"
#include "media/dng_parser.h"
#include "qorix/direct_output.h"
#include "qorix/qorix_source.h"

namespace qx {

namespace {

// Far above any sensor; a head that claims more is not believed.
constexpr uint64_t kMostSamples = uint64_t(1) << 28;

size_t RowBytes(const DecodedFrame& frame) {
  return size_t(frame.head.width) * sizeof(uint16_t);
}

QorixReadStats StatsOf(const DecodedFrame& frame) {
  return {frame.badSlices, frame.substitutedSlices, frame.outsideSlices};
}

class QorixFrameSource final : public FrameSource {
 public:
  int Open(const ByteSource& file, Message message) {
    if (qorix_source_open(&source_, file, message) != 0) return -1;
    if (!source_.frames.empty() && source_.hasFirstDng) return 0;
    const char* reason = source_.openMessage.c_str();
    return message.Fail("%s", *reason != '\0' ? reason : "no frames in the recording");
  }

  int32_t FrameCount() const override { return int32_t(source_.frames.size()); }
  double FramesPerSecond() const override { return source_.fps; }
  const DngInfo* CameraData() const override { return source_.hasFirstDng ? &source_.firstDng : nullptr; }
  const char* LastMessage() const override { return message_.text(); }
  const char* LastDamage() const override { return damage_.text(); }
  int ReadFrame(int32_t frame, RawFrame* out, uint32_t flags) override;

  QorixReadStats stats() const { return stats_; }
  void SetDirectOutput(DirectOutput* output) EXCLUDES(directLock_);

 private:
  /// Head, tables and tags of a frame, and room for its samples. False with a message.
  bool SetUp(int32_t frame, DecodedFrame* decoded);
  bool ReadSliceData(DecodedFrame* decoded);
  /// SetUp, slice data and all slices.
  bool Decode(int32_t frame, DecodedFrame* decoded);
  /// Says which slices of frame_ are bad and what stands in their place.
  void DescribeDamage();
  /// Fills bad slices from the last good frame, where that can still be read and has the same geometry.
  void FillBadSlices();
  /// The way through the registered interface; false: take the usual one.
  bool ReadDirect(int32_t frame, DirectOutput* output);
  bool DecodeForSlot(DirectOutput* output, int32_t slot);
  bool LeadingSlicesAreWhole(int32_t count) const;
  void Fill(int32_t frame, RawFrame* out, const uint16_t* samples);

  DirectOutput* EnterDirect() EXCLUDES(directLock_);
  void LeaveDirect() EXCLUDES(directLock_);

  QorixState& state() { return qorix_state(source_); }
  Bytes SliceData(const DecodedFrame& decoded) const {
    return {decoded.sliceData.data(), size_t(std::min(decoded.sliceDataSize, decoded.availableSize))};
  }

  SourceTimeline source_;
  DecodedFrame frame_;
  int32_t referenceFrame_ = -1;  // the last frame without bad slices
  DecodedFrame reference_;       // holds heldFrame_
  int32_t heldFrame_ = -1;
  QorixReadStats stats_;
  MessageBuffer<256> message_, damage_;

  Mutex directLock_;
  CondVar directLeft_;
  DirectOutput* direct_ GUARDED_BY(directLock_) = nullptr;
  int directUsers_ GUARDED_BY(directLock_) = 0;
};

int QorixFrameSource::ReadFrame(int32_t frame, RawFrame* out, uint32_t) {
  message_.Clear();
  damage_.Clear();
  stats_ = {};
  if (frame < 0 || frame >= FrameCount()) return message_.view().Fail("frame %d missing", frame);
  if (DirectOutput* output = EnterDirect()) {
    const bool direct = ReadDirect(frame, output);
    LeaveDirect();
    if (direct) {
      referenceFrame_ = frame;
      Fill(frame, out, nullptr);
      return 0;
    }
  }
  if (!Decode(frame, &frame_)) return -1;
  stats_ = StatsOf(frame_);
  const int32_t slices = int32_t(frame_.sliceSizes.size());
  if (slices > 0 && frame_.badSlices == slices) {
    return message_.view().Fail("frame %d: all slices bad (%d)", frame, slices);
  }
  if (frame_.badSlices > 0 && referenceFrame_ >= 0) FillBadSlices();
  stats_ = StatsOf(frame_);
  if (frame_.badSlices == 0) referenceFrame_ = frame;
  if (frame_.badSlices > 0) DescribeDamage();
  Fill(frame, out, frame_.samples.data());
  return 0;
}

bool QorixFrameSource::SetUp(int32_t frame, DecodedFrame* decoded) {
  const int result = frame_setup(&state().scan, frame, &state().tables, &state().modules, state().pool.get(), decoded);
  if (result != 0 || !decoded->decodable || !decoded->hasTags) {
    message_.view().Fail("frame %d: %s", frame, decoded->message.empty() ? "cannot be read" : decoded->message.text());
    return false;
  }
  const uint64_t samples = uint64_t(decoded->head.width) * decoded->head.height;
  if (samples <= kMostSamples && decoded->samples.Reserve(samples)) return true;
  message_.view().Fail("out of memory for frame %d", frame);
  return false;
}

bool QorixFrameSource::ReadSliceData(DecodedFrame* decoded) {
  const uint64_t wanted = std::min(decoded->sliceDataSize, decoded->availableSize);
  if (!decoded->sliceData.Reserve(wanted + 1)) {
    message_.view().Fail("out of memory for frame %d", decoded->frameIndex);
    return false;
  }
  // What cannot be read lies outside: its slices are bad, the others are not.
  const uint64_t got = state().scan.file->ReadAt(decoded->sliceDataOffset, decoded->sliceData.data(), wanted);
  decoded->availableSize = std::min(decoded->availableSize, got);
  return true;
}

bool QorixFrameSource::Decode(int32_t frame, DecodedFrame* decoded) {
  if (!SetUp(frame, decoded) || !ReadSliceData(decoded)) return false;
  decode_slices(state().pool.get(), decoded, SliceData(*decoded), decoded->samples.data(), RowBytes(*decoded), 0,
                int32_t(decoded->sliceSizes.size()) - 1, nullptr, 0);
  return true;
}

void QorixFrameSource::DescribeDamage() {
  const int slices = int(frame_.sliceSizes.size());
  if (frame_.substitutedSlices > 0) {
    damage_.view().Set("%d of %d slices damaged, %d filled from frame %d", frame_.badSlices, slices, frame_.substitutedSlices,
                       referenceFrame_);
  } else {
    damage_.view().Set("%d of %d slices damaged, none filled (no whole frame of this size was read before)", frame_.badSlices, slices);
  }
}

void QorixFrameSource::FillBadSlices() {
  if (heldFrame_ != referenceFrame_) {
    heldFrame_ = -1;
    // It was good when it was read; bad slices now mean that memory or the file failed.
    if (!Decode(referenceFrame_, &reference_) || reference_.badSlices > 0) {
      message_.Clear();
      return;
    }
    heldFrame_ = referenceFrame_;
  }
  if (reference_.head.width != frame_.head.width || reference_.head.height != frame_.head.height) return;
  SubstituteBadSlices(&frame_, frame_.samples.data(), RowBytes(frame_), reference_.samples.data());
}

bool QorixFrameSource::LeadingSlicesAreWhole(int32_t count) const {
  for (uint32_t slice = 0; slice < uint32_t(count); ++slice) {
    if (CheckSlice(frame_, SliceData(frame_), slice, true) != kSliceGood) return false;
  }
  return true;
}

bool QorixFrameSource::DecodeForSlot(DirectOutput* output, int32_t slot) {
  const int32_t slices = int32_t(frame_.sliceSizes.size());
  const int32_t leading = std::clamp(output->LeadingSlices(slot, frame_), 0, slices);
  if (!ReadSliceData(&frame_) || !LeadingSlicesAreWhole(leading)) return false;
  uint16_t* const slotSamples = output->SlotSamples(slot);
  uint16_t* const samples = slotSamples != nullptr ? slotSamples : frame_.samples.data();
  const uint32_t flags = slotSamples != nullptr ? kDecodeShiftOnly : kDecodeUnmapped;
  if (leading < slices &&
      decode_slices(state().pool.get(), &frame_, SliceData(frame_), samples, RowBytes(frame_), leading, slices - 1, nullptr, flags) != 0) {
    return false;
  }
  output->HandOver(slot, frame_, SliceData(frame_), samples);
  return true;
}

bool QorixFrameSource::ReadDirect(int32_t frame, DirectOutput* output) {
  if (!SetUp(frame, &frame_)) {
    message_.Clear();
    return false;
  }
  const int32_t slot = output->ReserveSlot(frame_);
  if (slot < 0) return false;
  if (DecodeForSlot(output, slot)) return true;
  output->ReleaseSlot(slot);
  message_.Clear();
  return false;
}

void QorixFrameSource::Fill(int32_t frame, RawFrame* out, const uint16_t* samples) {
  out->frame = frame;
  out->timeSeconds = frame_time_seconds(source_, frame);
  out->number = frame_number(source_, frame);
  out->dng = frame_.dng;
  out->hasOwnDng = true;
  out->warp = out->dng.warp;
  out->warpKey = out->dng.warp.valid ? frame : -1;
  out->warpDecided = true;
  dng_describe_decoded(out->dng, &out->decoded);
  out->described = &out->decoded;
  out->samples = samples;
  const size_t bytes = size_t(frame_.head.width) * frame_.head.height * sizeof(uint16_t);
  out->data = samples != nullptr ? Bytes(reinterpret_cast<const uint8_t*>(samples), bytes) : Bytes();
}

DirectOutput* QorixFrameSource::EnterDirect() {
  LockGuard guard(directLock_);
  if (direct_ != nullptr) ++directUsers_;
  return direct_;
}

void QorixFrameSource::LeaveDirect() {
  LockGuard guard(directLock_);
  if (--directUsers_ == 0) directLeft_.WakeAll();
}

void QorixFrameSource::SetDirectOutput(DirectOutput* output) {
  LockGuard guard(directLock_);
  while (directUsers_ > 0) directLeft_.Wait(directLock_);
  direct_ = output;
}

}  // namespace

FrameSourcePtr qorix_reader_open(const ByteSource& file, Message message) {
  std::unique_ptr<QorixFrameSource> reader(new (std::nothrow) QorixFrameSource);
  if (reader == nullptr) {
    message.Fail("out of memory");
    return nullptr;
  }
  return reader->Open(file, message) == 0 ? std::move(reader) : nullptr;
}

QorixReadStats qorix_read_stats(const FrameSource& reader) {
  return static_cast<const QorixFrameSource&>(reader).stats();
}

void qorix_set_direct_output(FrameSource& reader, DirectOutput* output) {
  static_cast<QorixFrameSource&>(reader).SetDirectOutput(output);
}

}  // namespace qx
