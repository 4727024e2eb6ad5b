#include <algorithm>
#include <array>
#include <cstring>

#include "base/checked.h"
#include "platform/clock.h"
#include "qorix/crc32c.h"
#include "qorix/decoded_frame.h"
#include "qorix/frame_head.h"

namespace qx {

namespace {

constexpr uint32_t kGroup = 4;  // slices that decode_slice_group takes in lock step

void ShiftRow(uint16_t* row, uint32_t width, uint32_t shift) {
  shift = std::min(shift, 16u);
  const uint32_t limit = 65535u >> shift;
  for (uint32_t x = 0; x < width; ++x) row[x] = row[x] > limit ? 65535 : uint16_t(row[x] << shift);
}

void LookUpRow(uint16_t* row, uint32_t width, const std::vector<uint16_t>& lut) {
  const uint32_t last = uint32_t(lut.size() - 1);
  for (uint32_t x = 0; x < width; ++x) row[x] = lut[std::min<uint32_t>(row[x], last)];
}

Bytes BytesOfSlice(const DecodedFrame& frame, Bytes sliceData, uint32_t slice) {
  return sliceData.subspan(size_t(frame.sliceOffsets[slice]), frame.sliceSizes[slice]);
}

/// One call of decode_slices. Tasks touch the rows, statuses and scratch of their own slices only.
class FrameDecode {
 public:
  FrameDecode(DecodedFrame* frame, Bytes sliceData, uint16_t* out, size_t strideBytes, const uint16_t* substitute, uint32_t flags)
      : frame_(*frame),
        head_(frame->head),
        data_(sliceData),
        out_(out),
        strideBytes_(strideBytes),
        substitute_(substitute),
        flags_(flags) {}

  /// Slices [first, end).
  void DecodeTask(uint32_t first, uint32_t end, SliceScratch& scratch) const {
    const bool hasMemory = ReserveSliceScratch(head_.width, scratch);
    Group group;
    for (uint32_t slice = first; slice < end; ++slice) {
      frame_.sliceStatus[slice] = hasMemory ? CheckSlice(frame_, data_, slice, (flags_ & kDecodeSkipCrc) == 0) : kSliceInconsistent;
      if (frame_.sliceStatus[slice] != kSliceGood) continue;
      if (group.count > 0 && EffectiveLayout(head_, group.slices[0]) != EffectiveLayout(head_, slice)) DecodeGroup(group, scratch);
      group.slices[group.count] = slice;
      group.jobs[group.count++] = {BytesOf(slice), SliceFormatOf(head_, slice), RowOf(out_, slice * head_.rowsPerSlice), false};
      if (group.count == kGroup) DecodeGroup(group, scratch);
    }
    DecodeGroup(group, scratch);
    ReplaceBad(first, end);
  }

  /// The bad ones of slices [first, end): their rows from the substitute, or zeros.
  void ReplaceBad(uint32_t first, uint32_t end) const {
    for (uint32_t slice = first; slice < end; ++slice) {
      if ((frame_.sliceStatus[slice] & kSliceStatusMask) != kSliceGood) Replace(slice);
    }
  }

 private:
  struct Group {
    uint32_t count = 0;
    std::array<uint32_t, kGroup> slices;
    std::array<SliceJob, kGroup> jobs;
  };

  void DecodeGroup(Group& group, SliceScratch& scratch) const {
    const std::span<SliceJob> jobs = std::span(group.jobs).first(group.count);
    decode_slice_group(jobs, scratch, strideBytes_);
    for (uint32_t i = 0; i < group.count; ++i) {
      if (jobs[i].good) {
        MapValues(group.slices[i]);
      } else {
        frame_.sliceStatus[group.slices[i]] = kSliceInconsistent;
      }
    }
    group.count = 0;
  }

  void MapValues(uint32_t slice) const {
    if ((flags_ & kDecodeUnmapped) != 0) return;
    if (frame_.tableMode == 0 && head_.sampleShift > 0) {
      ForEachRow(slice, [this](uint32_t y) { ShiftRow(RowOf(out_, y), head_.width, head_.sampleShift); });
    } else if (frame_.tableMode == 2 && (flags_ & kDecodeShiftOnly) == 0 && frame_.table != nullptr && !frame_.table->lut.empty()) {
      ForEachRow(slice, [this](uint32_t y) { LookUpRow(RowOf(out_, y), head_.width, frame_.table->lut); });
    }
  }

  void Replace(uint32_t slice) const {
    const size_t rowBytes = size_t(head_.width) * sizeof(uint16_t);
    ForEachRow(slice, [this, rowBytes](uint32_t y) {
      if (substitute_ != nullptr) {
        std::memcpy(RowOf(out_, y), RowOf(substitute_, y), rowBytes);
      } else {
        std::memset(RowOf(out_, y), 0, rowBytes);
      }
    });
    if (substitute_ != nullptr) frame_.sliceStatus[slice] |= kSliceSubstituted;
  }

  template <typename Visit>
  void ForEachRow(uint32_t slice, Visit&& visit) const {
    const uint32_t first = slice * head_.rowsPerSlice, end = std::min<uint32_t>(head_.height, first + head_.rowsPerSlice);
    for (uint32_t y = first; y < end; ++y) visit(y);
  }

  Bytes BytesOf(uint32_t slice) const { return BytesOfSlice(frame_, data_, slice); }
  template <typename Sample>
  Sample* RowOf(Sample* samples, uint32_t y) const {
    using Byte = std::conditional_t<std::is_const_v<Sample>, const uint8_t, uint8_t>;
    return reinterpret_cast<Sample*>(reinterpret_cast<Byte*>(samples) + strideBytes_ * y);
  }

  DecodedFrame& frame_;
  const FrameHead& head_;
  Bytes data_;
  uint16_t* out_;
  size_t strideBytes_;
  const uint16_t* substitute_;
  uint32_t flags_;
};

/// A multiple of whole groups; several tasks a thread, so that the slow ones even out.
uint32_t SlicesPerTask(const WorkerPool* pool, uint32_t slices) {
  const auto workers = uint32_t(worker_pool_threads(pool));
  if (workers == 0) return slices;
  const uint32_t tasks = std::min(workers * 4 + 4, slices);
  const uint32_t perTask = (slices + tasks - 1) / tasks;
  return (perTask + kGroup - 1) / kGroup * kGroup;
}

void CountSlices(DecodedFrame* frame, uint32_t first, uint32_t end) {
  frame->badSlices = frame->substitutedSlices = frame->outsideSlices = 0;
  for (uint32_t slice = first; slice < end; ++slice) {
    const uint8_t status = frame->sliceStatus[slice];
    frame->badSlices += (status & kSliceStatusMask) != kSliceGood ? 1 : 0;
    frame->outsideSlices += (status & kSliceStatusMask) == kSliceOutside ? 1 : 0;
    frame->substitutedSlices += (status & kSliceSubstituted) != 0 ? 1 : 0;
  }
}

}  // namespace

SliceStatus CheckSlice(const DecodedFrame& frame, Bytes sliceData, uint32_t slice, bool checkCrc) {
  const uint64_t available = std::min<uint64_t>(sliceData.size(), frame.availableSize);
  if (!RangeFits(frame.sliceOffsets[slice], frame.sliceSizes[slice], available)) return kSliceOutside;
  if (!frame.head.hasSliceCrcs || !checkCrc) return kSliceGood;
  return crc32c_update(0, BytesOfSlice(frame, sliceData, slice)) == frame.sliceCrcs[slice] ? kSliceGood : kSliceCrcMismatch;
}

int32_t decode_slices(WorkerPool* pool, DecodedFrame* frame, Bytes sliceData, uint16_t* out, size_t strideBytes, int32_t firstSlice,
                      int32_t lastSlice, const uint16_t* substitute, uint32_t flags) {
  const double start = MonotonicMs();
  const auto first = uint32_t(std::max(firstSlice, 0));
  const auto end =
      uint32_t(std::clamp<int64_t>(int64_t(lastSlice) + 1, first, std::max<int64_t>(int64_t(frame->sliceSizes.size()), first)));
  frame->sliceStatus.resize(frame->sliceSizes.size());
  if (first < end) {
    const uint32_t perTask = SlicesPerTask(pool, end - first);
    const uint32_t tasks = (end - first + perTask - 1) / perTask;
    if (frame->scratch.size() < tasks) frame->scratch.resize(tasks);
    const FrameDecode decode(frame, sliceData, out, strideBytes, substitute, flags);
    RunParts(pool, int(tasks), [&](int task) {
      const uint32_t begin = first + uint32_t(task) * perTask;
      decode.DecodeTask(begin, std::min(begin + perTask, end), frame->scratch[size_t(task)]);
      return 0;
    });
  }
  CountSlices(frame, first, end);
  frame->decodeMs = MonotonicMs() - start;
  return frame->badSlices;
}

void SubstituteBadSlices(DecodedFrame* frame, uint16_t* out, size_t strideBytes, const uint16_t* substitute) {
  const auto slices = uint32_t(frame->sliceStatus.size());
  FrameDecode(frame, {}, out, strideBytes, substitute, 0).ReplaceBad(0, slices);
  CountSlices(frame, 0, slices);
}

}  // namespace qx
