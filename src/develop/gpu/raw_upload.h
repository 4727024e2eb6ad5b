// RAW samples on their way to the graphics card.
#pragma once

#include <vector>

#include "develop/gpu/gl_objects.h"
#include "media/raw_frame.h"

namespace qx {

/// How samples lie in memory, as the unpack pass reads them: `width` × `height` of the frame's description, top row first.
struct SampleLayout {
  uint32_t rowBytes = 0;
  uint32_t bits = 16;      // 8 … 16 a sample; widths other than 8 and 16 run from the most significant bit
  bool bigEndian = false;  // byte order of 16-bit samples
};

/// The stored bytes of the frame's samples and their layout. False when they cannot be uploaded as they are: not one sample per pixel, not
/// a single plane, no data, an unusual width.
[[nodiscard]] bool FindStoredSamples(const RawFrame& raw, Bytes* bytes, SampleLayout* layout);

/// Samples that somebody else has put into a buffer already.
struct UploadedSamples {
  GLuint buffer = 0;
  uint64_t bytes = 0;
  SampleLayout layout;
};

/// Bytes of the storage buffer for `bytes` of samples: the unpack pass reads whole words, and a few bytes past the last sample.
constexpr uint64_t SampleBufferBytes(uint64_t bytes) {
  return (bytes + 19) & ~uint64_t(15);
}

/// The RAW bytes (storage buffer 0) and the linearisation table (storage buffer 1) of a developer.
class RawBuffers {
 public:
  /// False when the driver gives no buffers.
  [[nodiscard]] bool Create();
  /// Copies the samples into the developer's own buffer and binds it.
  [[nodiscard]] bool Upload(Bytes samples);
  /// Binds a buffer that holds the samples already.
  void Bind(const UploadedSamples& samples);
  /// Makes `table` the one at binding 1. Only uploaded when it differs from the last one.
  [[nodiscard]] bool SetLinearization(const std::vector<uint16_t>& table);

 private:
  GlGrowBuffer samples_{GL_SHADER_STORAGE_BUFFER, GL_STREAM_DRAW};
  GlGrowBuffer table_{GL_SHADER_STORAGE_BUFFER, GL_STATIC_DRAW};
  std::vector<uint16_t> uploadedTable_;
};

}  // namespace qx
