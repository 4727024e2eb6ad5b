#include "qorix/slice_codec.h"

#include <algorithm>
#include <array>

#include "platform/cpu_features.h"
#include "platform/environment.h"
#include "qorix/slice_variants.h"

namespace qx {

namespace {

using VariantList = std::array<SliceVariant, 2>;

VariantList MakeVariants() {
  VariantList variants = {
      {{"generic", true, DecodeSliceGeneric, DecodeSliceGroupGeneric}, {"sse41", false, DecodeSliceGeneric, DecodeSliceGroupGeneric}}};
#if defined(__x86_64__)
  const CpuFeatures& cpu = GetCpuFeatures();
  variants[1] = {"sse41", cpu.sse41 && cpu.bmi, DecodeSliceSse41, DecodeSliceGroupSse41};
#endif
  return variants;
}

const VariantList& Variants() {
  static const VariantList variants = MakeVariants();
  return variants;
}

bool GenericIsAskedFor() {
  const auto value = ReadEnvironment("QXDEC_GENERIC", 1024);
  return value && value->starts_with('1');
}

const SliceVariant& Selected() {
  static const SliceVariant& selected = Variants()[Variants()[1].usable && !GenericIsAskedFor() ? 1 : 0];
  return selected;
}

/// Of all cells; `skipZeroRice`: without those that say "zeros" for coder 1. Two at a time, in a loop that compilers vectorise.
uint64_t SumOfCodes(const uint8_t* codes, uint64_t cells, bool skipZeroRice) {
  constexpr uint64_t kBlock = 4096;  // bytes, whose sum fits 32 bits
  const uint32_t skipped = skipZeroRice ? kZeroRiceCode : kZeroRiceCode + 1;
  uint64_t total = cells % 2 == 0 || CellCode(codes, cells - 1) == skipped ? 0 : CellCode(codes, cells - 1);
  for (uint64_t at = 0; at < cells / 2; at += kBlock) {
    const uint64_t end = std::min(cells / 2, at + kBlock);
    uint32_t sum = 0;
    for (uint64_t i = at; i < end; ++i) {
      const uint32_t low = codes[i] & 15, high = codes[i] >> 4;
      sum += (low == skipped ? 0 : low) + (high == skipped ? 0 : high);
    }
    total += sum;
  }
  return total;
}

}  // namespace

SliceCodes ReadSliceCodes(Bytes bytes, const SliceFormat& format) {
  const uint64_t cells = CellsPerRow(format.width) * format.rows;
  SliceCodes result;
  result.dataBegin = (cells + 1) / 2;
  result.codes = bytes.data();
  result.complete = result.dataBegin <= bytes.size();
  const bool hasFixedData = format.coder == 0 || format.layout == SliceLayout::kTwoPart;
  if (result.complete && hasFixedData) result.fixedBytes = FixedBytes(1) * SumOfCodes(bytes.data(), cells, format.coder == 1);
  return result;
}

bool ReserveSliceScratch(uint32_t width, SliceScratch& scratch) {
  uint64_t bytes = CellsPerRow(width) * kCellSamples * sizeof(uint16_t);
#if defined(__x86_64__)
  bytes = std::max(bytes, SliceScratchBytesSse41(width));
#endif
  return scratch.bytes.Reserve(bytes);
}

bool decode_slice(Bytes bytes, const SliceFormat& format, SliceScratch& scratch, uint16_t* out, size_t strideBytes) {
  return Selected().decode(bytes, format, scratch, out, strideBytes);
}

void decode_slice_group(std::span<SliceJob> jobs, SliceScratch& scratch, size_t strideBytes) {
  Selected().decodeGroup(jobs, scratch, strideBytes);
}

std::span<const SliceVariant> slice_variants() {
  return Variants();
}

}  // namespace qx
