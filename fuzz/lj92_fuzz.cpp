// Feeds bytes to the lossless JPEG decoder, with the size of the wanted picture in the first four: width and height, little-endian.
// Every build of the row routines must give the same samples and the same result.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/byte_reader.h"
#include "rawzip/lj92.h"
#include "rawzip/lj92_scan.h"

namespace {

struct Decoded {
  int result = 0;
  std::vector<uint16_t> samples;
  bool operator==(const Decoded&) const = default;
};

Decoded DecodeWith(const qx::Lj92RowKernels& kernels, const qx::Lj92Header& header, int32_t width, int32_t height) {
  Decoded decoded;
  decoded.samples.resize(size_t(width) * height);
  bool category16ReadsBits = false;
  decoded.result = qx::DecodeLj92Scan(header, {decoded.samples.data(), width, width, height}, kernels, category16ReadsBits);
  return decoded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  const qx::Bytes input(data, size);
  const int32_t width = qx::LoadU16Le(data) & 0x3FF, height = qx::LoadU16Le(data + 2) & 0x3FF;

  std::vector<uint16_t> out(size_t(width) * height);
  const int result = qx::lj92_decode(input.subspan(4), out.data(), width, width, height, nullptr);

  qx::Lj92Header header;
  if (qx::ParseLj92Header(input.subspan(4), header) != qx::kLj92Ok) return 0;
  if (header.LineSamples() < uint32_t(width) || header.lines < uint32_t(height)) return 0;
  for (const qx::Lj92RowKernels* kernels : qx::Lj92RowKernelsForThisProcessor()) {
    if (DecodeWith(*kernels, header, width, height) != Decoded{result, out}) std::abort();
  }
  return 0;
}
