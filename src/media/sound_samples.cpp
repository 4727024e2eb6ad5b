#include "media/sound_samples.h"

#include <bit>

#include "base/byte_reader.h"

namespace qx {

namespace {

std::optional<SampleEncoding> EncodingOf(uint32_t formatTag, uint32_t bits) {
  constexpr uint32_t kPcm = 1, kFloat = 3;
  if (formatTag == kFloat) {
    if (bits == 32) return SampleEncoding::kFloat32;
    if (bits == 64) return SampleEncoding::kFloat64;
    return std::nullopt;
  }
  if (formatTag != kPcm || bits < 1 || bits > 32) return std::nullopt;
  static constexpr SampleEncoding kByBytes[] = {SampleEncoding::kUnsigned8, SampleEncoding::kSigned16, SampleEncoding::kSigned24,
                                                SampleEncoding::kSigned32};
  return kByBytes[(bits - 1) / 8];
}

uint32_t BytesOf(SampleEncoding encoding) {
  switch (encoding) {
    case SampleEncoding::kUnsigned8:
      return 1;
    case SampleEncoding::kSigned16:
      return 2;
    case SampleEncoding::kSigned24:
      return 3;
    case SampleEncoding::kFloat64:
      return 8;
    default:
      return 4;
  }
}

constexpr float kScale8 = 0x1p-7f, kScale16 = 0x1p-15f, kScale32 = 0x1p-31f;

float FromU8(const uint8_t* p) {
  return float(int(*p) - 128) * kScale8;
}
float FromS16(const uint8_t* p) {
  return float(int16_t(LoadU16Le(p))) * kScale16;
}
float FromS24(const uint8_t* p) {
  return float(int32_t(uint32_t(LoadU16Le(p)) << 8 | uint32_t(p[2]) << 24)) * kScale32;
}
float FromS32(const uint8_t* p) {
  return float(int32_t(LoadU32Le(p))) * kScale32;
}
float FromF32(const uint8_t* p) {
  return LoadF32Le(p);
}
float FromF64(const uint8_t* p) {
  return float(std::bit_cast<double>(LoadU64Le(p)));
}

template <float (*Sample)(const uint8_t*)>
void ConvertChannel(const uint8_t* samples, int64_t count, uint32_t step, float* out) {
  for (int64_t i = 0; i < count; ++i) out[i] = Sample(samples + size_t(i) * step);
}

using ChannelConverter = void (*)(const uint8_t*, int64_t, uint32_t, float*);

ChannelConverter ConverterOf(SampleEncoding encoding) {
  switch (encoding) {
    case SampleEncoding::kUnsigned8:
      return ConvertChannel<FromU8>;
    case SampleEncoding::kSigned16:
      return ConvertChannel<FromS16>;
    case SampleEncoding::kSigned24:
      return ConvertChannel<FromS24>;
    case SampleEncoding::kSigned32:
      return ConvertChannel<FromS32>;
    case SampleEncoding::kFloat32:
      return ConvertChannel<FromF32>;
    default:
      return ConvertChannel<FromF64>;
  }
}

}  // namespace

std::optional<SampleFormat> FindSampleFormat(uint32_t formatTag, uint32_t bitsPerSample, uint32_t channels, uint32_t blockAlign) {
  const std::optional<SampleEncoding> encoding = EncodingOf(formatTag, bitsPerSample);
  if (!encoding || channels < 1) return std::nullopt;
  const uint32_t stride = blockAlign / channels;
  if (stride < BytesOf(*encoding)) return std::nullopt;
  return SampleFormat{*encoding, channels, stride, blockAlign};
}

void ConvertSamples(const SampleFormat& format, const uint8_t* samples, int64_t count, float* const* out, int64_t offset) {
  if (count <= 0) return;  // `samples` may be null then
  const ChannelConverter convert = ConverterOf(format.encoding);
  for (uint32_t c = 0; c < format.channels; ++c)
    convert(samples + size_t(c) * format.sampleStride, count, format.blockAlign, out[c] + offset);
}

}  // namespace qx
