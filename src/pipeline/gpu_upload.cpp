#include "pipeline/gpu_upload.h"

#include <algorithm>
#include <cstring>

#include "base/log.h"
#include "pipeline/clip_impl.h"

namespace qx {

namespace {

constexpr uint32_t kFewestBits = 8, kMostBits = 16;
constexpr uint32_t kLargestRecordingSample = 16383, kLargestArchiveSample = 65535;

/// What packing may limit samples to. With a linearisation table the white level speaks of the table's output; all samples from its last
/// entry on mean the same.
uint32_t LargestSample(const Clip& clip, const DngInfo& info) {
  if (!info.linearization.empty()) return uint32_t(std::min<size_t>(info.linearization.size(), 65536)) - 1;
  if (info.white >= 2) return uint32_t(std::min(info.white, 65536.0f)) - 1;
  return clip.source.kind == ContainerKind::kQorix ? kLargestRecordingSample : kLargestArchiveSample;
}

uint32_t BitsFor(uint32_t largest) {
  uint32_t bits = kFewestBits;
  while (bits < kMostBits && largest >> bits != 0) ++bits;
  return bits;
}

/// Decoded 16-bit samples of the clip's usual size.
bool CanBePacked(const Clip& clip, const RawFrame& raw) {
  return raw.samples != nullptr && raw.described->width == clip.camera->width && raw.described->height == clip.camera->height;
}

/// The clip's width, settled by its first frame.
uint32_t SettleBits(Clip& clip, uint32_t bits, bool packed) {
  int32_t settled = 0;
  if (!clip.uploadBits.compare_exchange_strong(settled, int32_t(bits))) return uint32_t(settled);
  LogPipeline("upload: %d-bit samples for the clip%s", int(bits), packed ? " (packed)" : " (as stored)");
  return bits;
}

/// Groups of four samples of `Bits` bits make whole bytes.
template <uint32_t Bits>
void PackGroups(const uint16_t* samples, uint32_t groups, uint16_t largest, uint8_t* out) {
  for (uint32_t i = 0; i < groups; ++i, samples += 4, out += Bits / 2) {
    uint64_t four = 0;
    for (int k = 0; k < 4; ++k) four = four << Bits | std::min(samples[k], largest);
    four <<= 64 - 4 * Bits;
    for (uint32_t k = 0; k < Bits / 2; ++k) out[k] = uint8_t(four >> (56 - 8 * k));
  }
}

void PackBitByBit(const uint16_t* samples, uint32_t width, uint32_t bits, uint16_t largest, uint8_t* out) {
  uint32_t pending = 0, pendingBits = 0;
  for (uint32_t x = 0; x < width; ++x) {
    pending = pending << bits | std::min(samples[x], largest);
    pendingBits += bits;
    for (; pendingBits >= 8; pendingBits -= 8) *out++ = uint8_t(pending >> (pendingBits - 8));
  }
  if (pendingBits > 0) *out = uint8_t(pending << (8 - pendingBits));
}

}  // namespace

UploadPlan PlanUpload(Clip& clip, const RawFrame& raw, const GpuSwitches& switches) {
  UploadPlan plan;
  if (!switches.readerUpload || !FindStoredSamples(raw, &plan.stored, &plan.layout)) return plan;
  const DngInfo& info = *raw.described;
  plan.byReader = true;
  plan.bytes = plan.stored.size();
  plan.width = info.width;
  plan.height = info.height;
  if (!switches.packing || !CanBePacked(clip, raw)) {
    (void)SettleBits(clip, plan.layout.bits, false);
    return plan;
  }
  const uint32_t largest = LargestSample(clip, info), needed = BitsFor(largest);
  const uint32_t bits = SettleBits(clip, needed, true);
  if (needed > bits) return plan;
  plan.packs = true;
  plan.largest = uint16_t(largest);
  plan.layout = {(info.width * bits + 7) / 8, bits, true};
  plan.bytes = uint64_t(plan.layout.rowBytes) * info.height;
  return plan;
}

void WriteUpload(const UploadPlan& plan, uint8_t* destination) {
  if (!plan.packs) {
    std::memcpy(destination, plan.stored.data(), plan.stored.size());
    return;
  }
  const auto* samples = reinterpret_cast<const uint16_t*>(plan.stored.data());
  for (uint32_t y = 0; y < plan.height; ++y, samples += plan.width, destination += plan.layout.rowBytes) {
    PackSampleRow(samples, plan.width, plan.layout.bits, plan.largest, destination);
  }
}

void PackSampleRow(const uint16_t* samples, uint32_t width, uint32_t bits, uint16_t largest, uint8_t* out) {
  if (bits == 8) {
    for (uint32_t x = 0; x < width; ++x) out[x] = uint8_t(std::min(samples[x], largest));
    return;
  }
  uint32_t grouped = 0;
  if (bits == 10 || bits == 12 || bits == 14) {
    const uint32_t groups = width / 4;
    grouped = groups * 4;
    if (bits == 10) PackGroups<10>(samples, groups, largest, out);
    if (bits == 12) PackGroups<12>(samples, groups, largest, out);
    if (bits == 14) PackGroups<14>(samples, groups, largest, out);
  }
  PackBitByBit(samples + grouped, width - grouped, bits, largest, out + uint64_t(grouped) * bits / 8);
}

}  // namespace qx
