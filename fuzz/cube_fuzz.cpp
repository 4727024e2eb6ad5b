// `.cube` texts: whatever the bytes, the parser ends, a refused text leaves an empty LUT with a message, and an accepted one can be
// applied.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "develop/encoding.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void CheckRefused(const qx::CubeLut& lut, const char* message) {
  Require(message[0] != '\0' && lut.size1D == 0 && lut.size3D == 0 && lut.contentHash == 0 && lut.title.empty());
}

void CheckAccepted(const qx::CubeLut& lut) {
  Require(lut.size1D != 0 || lut.size3D != 0);
  Require(lut.size1D <= qx::kMaxLut1DSize && lut.size3D <= qx::kMaxLut3DSize);
  Require(lut.contentHash != 0 && lut.title.size() <= 127);
  for (const float level : {-1.0f, 0.0f, 0.3f, 0.999f, 1.0f, 1e30f, std::nanf("")}) {
    float rgb[3] = {level, 1 - level, level * level};
    qx::ApplyLut(lut, rgb);
    for (const float value : rgb) Require(value >= 0 && value <= 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qx::CubeLut lut;
  qx::MessageBuffer<128> message;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (qx::ParseCubeLut(text, &lut, message) == 0) {
    CheckAccepted(lut);
  } else {
    CheckRefused(lut, message.text());
  }
  return 0;
}
