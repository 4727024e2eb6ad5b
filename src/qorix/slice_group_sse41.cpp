#include <algorithm>
#include <cstring>

#include "qorix/slice_kernels.h"
#include "qorix/slice_variants.h"

#if defined(__x86_64__)

namespace qx {

namespace {

constexpr uint64_t ResidualBytes(uint32_t width) {
  return CellsPerRow(width) * kCellSamples * sizeof(uint16_t);
}

bool SameCoding(const SliceFormat& a, const SliceFormat& b) {
  return a.width == b.width && a.coder == b.coder && a.layout == b.layout && a.predictor == b.predictor &&
         a.flatThreshold == b.flatThreshold;
}

/// Up to four slices that differ in nothing but their number of rows.
class SliceGroup {
 public:
  /// `scratch`: SliceScratchBytesSse41(width), aligned to 16 bytes.
  SliceGroup(std::span<SliceJob> jobs, uint8_t* scratch, size_t strideBytes)
      : jobs_(jobs), format_(jobs[0].format), strideBytes_(strideBytes) {
    // The row that lanes without a slice read from and the one they write to.
    unused_ = reinterpret_cast<uint16_t*>(scratch);
    std::memset(unused_, 0, ResidualBytes(format_.width));
    scratch += ResidualBytes(format_.width);
    for (SliceStream& stream : streams_) {
      stream.residuals = reinterpret_cast<uint16_t*>(scratch);
      scratch += ResidualBytes(format_.width);
    }
    for (FourPairs*& history : history_) {
      history = reinterpret_cast<FourPairs*>(scratch);
      scratch += FourPairEntries(format_.width) * sizeof(FourPairs);
    }
  }

  void Decode() {
    uint32_t rows = 0;
    for (size_t s = 0; s < jobs_.size(); ++s) {
      jobs_[s].good = Start(jobs_[s], streams_[s]);
      if (jobs_[s].good) rows = std::max(rows, jobs_[s].format.rows);
    }
    for (uint32_t y = 0; y < rows; ++y) {
      ReadRow(y);
      Reconstruct(y);
    }
    for (size_t s = 0; s < jobs_.size(); ++s) jobs_[s].good = jobs_[s].good && AtEnd(streams_[s]);
  }

 private:
  /// False for a slice that cannot be good.
  bool Start(const SliceJob& job, SliceStream& stream) const {
    const SliceCodes codes = ReadSliceCodes(job.bytes, job.format);
    if (!codes.complete) return false;
    const uint64_t left = job.bytes.size() - codes.dataBegin;
    if (job.format.coder == 0 ? codes.fixedBytes != left : codes.fixedBytes > left) return false;
    stream.begin = job.bytes.data();
    stream.end = stream.begin + job.bytes.size();
    stream.codes = codes.codes;
    stream.fixed = stream.begin + codes.dataBegin;
    stream.nextBit = (codes.dataBegin + codes.fixedBytes) * 8;
    return true;
  }

  bool AtEnd(const SliceStream& stream) const { return (stream.nextBit + 7) / 8 == uint64_t(stream.end - stream.begin); }

  bool TakesPart(size_t s, uint32_t y) const { return s < jobs_.size() && jobs_[s].good && y < jobs_[s].format.rows; }

  void ReadRow(uint32_t y) {
    const uint64_t cells = CellsPerRow(format_.width);
    SliceStream* streams[kGroupSlices];
    for (size_t s = 0; s < kGroupSlices; ++s) streams[s] = TakesPart(s, y) ? &streams_[s] : nullptr;
    if (format_.coder == 1) {
      return format_.layout == SliceLayout::kTwoPart ? ReadTwoPartRowSse41(streams, cells) : ReadRiceRowBmi2(streams, cells);
    }
    for (SliceStream* stream : streams) {
      if (stream == nullptr) continue;
      format_.layout == SliceLayout::kPlain ? ReadPlainRowSse41(*stream, cells) : ReadInterleavedRowSse41(*stream, cells);
    }
  }

  void Reconstruct(uint32_t y) {
    uint16_t* residuals[kGroupSlices];
    uint16_t* rows[kGroupSlices];
    for (size_t s = 0; s < kGroupSlices; ++s) {
      residuals[s] = TakesPart(s, y) ? streams_[s].residuals : unused_;
      rows[s] = TakesPart(s, y) ? RowAt(jobs_[s], y) : unused_;
    }
    if (format_.predictor == 1 && y >= 2) {
      return ReconstructFourRowsSse41(residuals, history_[y % 2], format_.width, format_.flatThreshold, rows);
    }
    for (size_t s = 0; s < kGroupSlices; ++s) {
      if (TakesPart(s, y)) ReconstructFromLeftSse41(residuals[s], format_.width, rows[s]);
    }
    if (format_.predictor == 1) InterleaveFourRowsSse41(rows, format_.width, history_[y % 2]);
  }

  uint16_t* RowAt(const SliceJob& job, uint32_t y) const {
    return reinterpret_cast<uint16_t*>(reinterpret_cast<uint8_t*>(job.out) + strideBytes_ * y);
  }

  std::span<SliceJob> jobs_;
  const SliceFormat& format_;
  size_t strideBytes_;
  SliceStream streams_[kGroupSlices];
  uint16_t* unused_;
  FourPairs* history_[2];
};

}  // namespace

uint64_t SliceScratchBytesSse41(uint32_t width) {
  return (1 + kGroupSlices) * ResidualBytes(width) + 2 * FourPairEntries(width) * sizeof(FourPairs);
}

void DecodeSliceGroupSse41(std::span<SliceJob> jobs, SliceScratch& scratch, size_t strideBytes) {
  for (size_t first = 0; first < jobs.size();) {
    size_t count = 1;
    while (count < kGroupSlices && first + count < jobs.size() && SameCoding(jobs[first].format, jobs[first + count].format)) ++count;
    const std::span<SliceJob> group = jobs.subspan(first, count);
    first += count;
    const uint32_t width = group[0].format.width;
    if (width == 0) {
      DecodeSliceGroupGeneric(group, scratch, strideBytes);
    } else if (ReserveSliceScratch(width, scratch)) {
      SliceGroup(group, scratch.bytes.data(), strideBytes).Decode();
    } else {
      for (SliceJob& job : group) job.good = false;
    }
  }
}

bool DecodeSliceSse41(Bytes bytes, const SliceFormat& format, SliceScratch& scratch, uint16_t* out, size_t strideBytes) {
  SliceJob job = {bytes, format, out, false};
  DecodeSliceGroupSse41({&job, 1}, scratch, strideBytes);
  return job.good;
}

}  // namespace qx

#endif
