// Interleaved samples as files store them, turned into one buffer of floats per channel.
#pragma once

#include <cstdint>
#include <optional>

namespace qx {

enum class SampleEncoding { kUnsigned8, kSigned16, kSigned24, kSigned32, kFloat32, kFloat64 };

/// How the samples of one sample frame lie in it; all little-endian.
struct SampleFormat {
  SampleEncoding encoding = SampleEncoding::kSigned16;
  uint32_t channels = 1;
  uint32_t sampleStride = 2;  // bytes from one channel's sample to the next one's
  uint32_t blockAlign = 2;    // bytes of a sample frame
};

/// The format of WAVE data, nothing when it is none that can be read. Integers of other sizes take the next whole number of bytes, which
/// they fill from the top. Where a sample frame is larger than its samples, each sample stands at the start of an equal share of it.
std::optional<SampleFormat> FindSampleFormat(uint32_t formatTag, uint32_t bitsPerSample, uint32_t channels, uint32_t blockAlign);

/// Converts `count` sample frames: channel c goes to out[c][offset] … out[c][offset + count − 1]. Full scale is −1 … 1.
void ConvertSamples(const SampleFormat& format, const uint8_t* samples, int64_t count, float* const* out, int64_t offset);

}  // namespace qx
